// SPDX-License-Identifier: Apache-2.0
// A table from bytes, compressed in full on two instances: the same bytes twice, containment, sound structures,
// no memory lost. Tables that do not fit are refused with 75 or 14.
#include "checked_library.h"
#include "fuzz_target.h"

using namespace instance_model;
using fuzz_target::expect;
using fuzz_target::expect_none;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static checked_library library;
  byte_source bytes(data, size);
  change_reader reader(bytes);
  const std::vector<change> table = reader.next_changes(200);
  const place here = {0, 0};
  const place there = {3, 1};
  answer first;
  answer second;
  expect_none(library.request(here, table, &first));
  expect_none(library.memory_check());
  tags_so_far = 0;
  expect_none(library.request(there, table, &second));
  expect(same_bytes(first, second), "two runs of the same table differ: " + text_of(table));
  if (library.compressed(here)) {
    expect_none(library.memory_check());
    expect_none(library.dump(here));
    for (const change &c : table) {
      expect_none(library.lookup(here, c.prefix));
      expect_none(library.lookup_address(there, c.prefix.key));
    }
    if (size % 4 == 0) {
      expect_none(library.many_lookups(there));
    }
  }
  expect_none(library.reset(here));
  expect_none(library.reset(there));
  expect(allocated() == 0, "elements left after the resets");
  expect_none(library.memory_check());
  return 0;
}
