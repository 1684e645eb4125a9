// SPDX-License-Identifier: Apache-2.0
// A table and operations on it from bytes, most of them batches in room mode, beside the plain model: refused for more
// than 64 bits, a wrong delete, memory or the move limit and for nothing else; right after every step; as it was after
// a refused one; every entry where it was or where the moves say. Now and then the mode changes, the table is
// compressed anew, or a query is made. The first byte says whether memory may be refused, and the mode of the full
// compression.
#include "checked_library.h"
#include "fuzz_target.h"
#include "test_host.h"

using namespace instance_model;
using fuzz_target::expect;
using fuzz_target::expect_none;

namespace {

constexpr place here = {1, 0};

struct session {
  checked_library &library;
  byte_source &bytes;
  change_reader &reader;
  bool refuses_memory;

  // What `request` does, with an allocation refused on the way when that is wanted.
  template <class Request>
  void with_refusal(Request request) {
    library.expect_refusals(refuses_memory);
    if (refuses_memory && bytes.below(2) == 0) {
      test_host::fail_heap_allocation(bytes.below(24));
    } else if (refuses_memory) {
      test_host::fail_pool_element(bytes.next() * 2u);
    }
    const std::string fault = request();
    test_host::fail_heap_allocation(0);
    test_host::fail_pool_element(0);
    expect_none(fault);
  }

  void batch() {
    const std::vector<change> changes = reader.next_changes(1 + bytes.below(16));
    answer a;
    with_refusal([&] { return library.request(here, changes, &a); });
    if (a.status == 0) {
      expect_none(library.memory_check());
    }
  }

  void change_mode() {
    static constexpr update_mode modes[] = {update_mode::room, update_mode::room, update_mode::safe,
                                            update_mode::compatible};
    library.set_mode(modes[bytes.below(4)]);
  }

  void step() {
    switch (bytes.below(16)) {
      case 0:
        expect_none(library.reset(here));
        break;
      case 1:
        change_mode();
        break;
      case 2:
        expect_none(library.attach(here, reader.next_prefix(false), bytes.next_word()));
        break;
      case 3:
        expect_none(library.query(here, reader.next_prefix(false)));
        break;
      case 4:
        expect_none(library.lookup_address(here, reader.next_prefix(false).key));
        break;
      case 5:
        with_refusal([&] { return library.recompress(here); });
        break;
      case 6: {
        const uint32_t limit = bytes.below(16);
        library.set_move_limit(limit < 8 ? limit : UINT32_MAX);
        break;
      }
      case 7:
        expect_none(library.dump(here));
        break;
      default:
        batch();
    }
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static checked_library library;
  if (size == 0 || size > 4096) {
    return 0;
  }
  byte_source bytes(data, size);
  change_reader reader(bytes);
  const uint8_t choice = bytes.next();
  session s = {library, bytes, reader, (choice & 1) != 0};
  tags_so_far = 0;
  library.set_thorough(true);
  library.set_mode((choice & 6) != 0 ? update_mode::room : update_mode::compatible);
  library.set_move_limit(UINT32_MAX);
  library.expect_refusals(false);
  expect_none(library.request(here, reader.next_changes(bytes.below(40))));
  library.set_mode(update_mode::room);
  while (!bytes.empty()) {
    s.step();
  }
  library.expect_refusals(false);
  expect_none(library.full_check(here));
  expect_none(library.reset(here));
  expect(allocated() == 0, "elements left after the reset");
  expect_none(library.memory_check());
  static unsigned runs = 0;
  if (++runs % 256 == 0) {
    expect_none(test_host::pool_damage());
  }
  return 0;
}
