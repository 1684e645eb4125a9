// SPDX-License-Identifier: Apache-2.0
// A table and operations on it from bytes: batches in compatible mode and safe, refused memory, resets, queries, dumps.
// The first byte says whether memory may be refused, and whether a lookup may be one of many. Unless memory is refused,
// everything is done twice, on other instances, and must give the same bytes and leave the same contents. Every step of
// the first time is checked; the second has only to be the same.
#include "checked_library.h"
#include "fuzz_target.h"
#include "instance_image.h"
#include "test_host.h"

using namespace instance_model;
using fuzz_target::expect;
using fuzz_target::expect_none;

namespace {

struct session {
  checked_library &library;
  bool refuses_memory;
  std::vector<place> places;
  std::vector<answer> answers;
  unsigned rounds_of_lookups = 0;  // still allowed
  unsigned idle_resets = 0;

  void step(byte_source &bytes, change_reader &reader) {
    const place at = places[bytes.below(static_cast<uint32_t>(places.size()))];
    switch (bytes.below(16)) {
      case 0:
        // A reset clears a megabyte: where there is nothing to reset, two are enough.
        if (library.compressed(at) || idle_resets++ < 2) {
          expect_none(library.reset(at));
        }
        break;
      case 1:
        library.set_safe(bytes.below(4) != 0);
        break;
      case 2:
        expect_none(library.attach(at, reader.next_prefix(false), bytes.next_word()));
        break;
      case 3:
        expect_none(library.query(at, reader.next_prefix(false)));
        break;
      case 4:
        if (rounds_of_lookups != 0 && library.compressed(at)) {
          --rounds_of_lookups;
          expect_none(library.many_lookups(at));
        }
        expect_none(library.lookup(at, reader.next_prefix(false)));
        break;
      case 5:
        expect_none(library.lookup_address(at, reader.next_prefix(false).key));
        break;
      case 6:
        expect_none(library.dump(at));
        break;
      case 7:
        expect_none(library.refusals(at));
        break;
      default:
        batch(bytes, reader, at);
    }
  }

  void batch(byte_source &bytes, change_reader &reader, place at) {
    const std::vector<change> changes = reader.next_changes(1 + bytes.below(12));
    if (refuses_memory) {
      library.expect_refusals(true);
      if (bytes.below(2) == 0) {
        test_host::fail_heap_allocation(bytes.below(24));
      } else {
        test_host::fail_pool_element(bytes.next() * 2u);
      }
    }
    answers.emplace_back();
    const std::string fault = library.request(at, changes, &answers.back());
    test_host::fail_heap_allocation(0);
    test_host::fail_pool_element(0);
    expect_none(fault);
    if (answers.back().status == 0) {
      expect_none(library.memory_check());
    }
  }
};

struct course {
  std::vector<answer> answers;
  std::string left;  // what the instances hold at the end
};

course run(checked_library &library, const uint8_t *data, size_t size, const std::vector<place> &places) {
  byte_source bytes(data, size);
  change_reader reader(bytes);
  const uint8_t mode = bytes.next();
  library.set_safe((mode & 2) != 0);
  library.expect_refusals(false);
  tags_so_far = 0;
  session s = {library, (mode & 1) != 0, places, {}, (mode & 4) != 0 ? 2u : 0u};
  s.answers.emplace_back();
  expect_none(library.request(s.places[0], reader.next_changes(bytes.below(40)), &s.answers.back()));
  while (!bytes.empty()) {
    s.step(bytes, reader);
  }
  course c = {std::move(s.answers), ""};
  for (const place &at : places) {
    expect_none(library.full_check(at));
    c.left += image(at);
  }
  return c;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static checked_library library;
  if (size == 0 || size > 4096) {
    return 0;
  }
  const std::vector<place> here = {{0, 0}, {1, 1}};
  const std::vector<place> there = {{2, 0}, {3, 1}};
  library.set_thorough(true);
  const course first = run(library, data, size, here);
  if ((data[0] & 1) == 0) {
    library.set_thorough(false);
    const course second = run(library, data, size, there);
    expect(first.answers.size() == second.answers.size(), "the second run took another course");
    for (size_t i = 0; i < first.answers.size(); ++i) {
      expect(same_bytes(first.answers[i], second.answers[i]), "the same request gave other bytes in the second run");
    }
    expect(first.left == second.left, "the second run left something else");
  }
  for (const std::vector<place> &used : {here, there}) {
    for (const place &at : used) {
      expect_none(library.reset(at));
    }
  }
  expect(allocated() == 0, "elements left after the resets");
  expect_none(library.memory_check());
  static unsigned runs = 0;
  if (++runs % 256 == 0) {
    expect_none(test_host::pool_damage());
  }
  return 0;
}
