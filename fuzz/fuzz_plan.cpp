// SPDX-License-Identifier: Apache-2.0
// The update list's operations on any region and any records, against the plain scan of every slot and record.
#include <cstring>
#include <memory>
#include <vector>

#include "fuzz_target.h"
#include "slow_plan.h"
#include "test_host.h"
#include "tm_debug.h"

using fuzz_target::byte_source;
using fuzz_target::expect;

namespace {

struct records {
  std::vector<tcamv6_prefix> prefixes;
  std::vector<tcamv6_cmpr_addr> addresses;
};

// Few distinct bytes, so that slots and records meet.
uint8_t plain_byte(byte_source &bytes) {
  static constexpr uint8_t values[8] = {0, 0, 0, 1, 0x20, 0x80, 0xFE, 0xFF};
  return values[bytes.below(8)];
}

records read_records(byte_source &bytes) {
  records r;
  for (uint32_t left = bytes.below(24); left > 0; --left) {
    tcamv6_prefix prefix = {};
    prefix.length = bytes.next();
    prefix.address[0] = plain_byte(bytes);
    prefix.address[prefix.length / 8u % 16u] = plain_byte(bytes);
    r.prefixes.push_back(prefix);
    tcamv6_cmpr_addr address = {};
    address.bytes[bytes.below(9)] = plain_byte(bytes);
    r.addresses.push_back(address);
  }
  return r;
}

void fill_slots(byte_source &bytes, tm_incr_update_list &list) {
  for (uint32_t left = bytes.below(24); left > 0; --left) {
    const uint32_t place = bytes.below(4) == 0 ? 31990 + bytes.below(10) : bytes.below(30);
    tm_incr_update_entry &slot = list.entries[place];
    slot.length = bytes.next();
    slot.prefix[0] = plain_byte(bytes);
    slot.prefix[slot.length / 8u % 16u] = plain_byte(bytes);
    slot.cmpr_addr[bytes.below(8)] = plain_byte(bytes);
    slot.state = bytes.below(6);
  }
}

// Copying a million bytes per step would be all that is done: only what a step can touch is compared.
void compare(const tm_incr_update_list &a, const tm_incr_update_list &b, const char *what) {
  expect(a.count == b.count && a.n_insert == b.n_insert, std::string(what) + ": counts differ");
  expect(std::memcmp(a.entries, b.entries, sizeof a.entries) == 0, std::string(what) + ": slots differ");
  expect(std::memcmp(a.header, b.header, sizeof a.header) == 0, std::string(what) + ": the header was touched");
}

void check_finding(tm_incr_update_list &list, byte_source &bytes) {
  const uint32_t from = bytes.below(40);
  const uint32_t state = bytes.below(6);
  const uint32_t limit = bytes.below(8);
  uint32_t first = 9;
  uint32_t last = 9;
  uint32_t found = 9;
  tm_build_incremental_update_hw_requests_find_entries(&list, from, &first, &last, &found, state, limit);
  const uint32_t count = std::min<uint32_t>(list.count, TM_INCR_SLOTS);
  uint32_t i = from;
  while (i < count && list.entries[i].state != state) {
    ++i;
  }
  expect(found == (i < count ? 1u : 0u), "a run was found where there is none, or the other way round");
  if (found != 0) {
    uint32_t end = i + 1;
    while (end < count && list.entries[end].state == state && end - i + 1 <= limit) {
      ++end;
    }
    expect(first == i && last == end - 1, "a run has other ends");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const auto list = std::make_unique<tm_incr_update_list>();
  static const auto twin = std::make_unique<tm_incr_update_list>();
  tcamv6_debug_flags = {};
  byte_source bytes(data, size);
  std::memset(list.get(), 0, sizeof *list);
  fill_slots(bytes, *list);
  list->count = bytes.below(40);
  *twin = *list;
  for (int steps = 0; !bytes.empty() && steps < 6; ++steps) {
    switch (bytes.below(4)) {
      case 0: {
        const records r = read_records(bytes);
        uint32_t corrupted = 7;
        uint32_t twin_corrupted = 7;
        const uint32_t expected = bytes.below(2) == 0 ? list->count : bytes.below(30);
        const uint32_t force = bytes.below(2);
        test_host::fail_heap_allocation(bytes.below(3));
        tm_build_incremental_update_prefixes_list(list.get(), r.prefixes.data(), nullptr, r.addresses.data(),
                                                  static_cast<uint32_t>(r.prefixes.size()), expected, &corrupted,
                                                  force);
        test_host::fail_heap_allocation(0);
        slow_plan::build(*twin, r.prefixes, r.addresses, expected, twin_corrupted, force != 0);
        expect(corrupted == twin_corrupted, "the corrupted flags differ");
        compare(*list, *twin, "build");
        break;
      }
      case 1: {
        const uint32_t freed = bytes.below(4);
        const uint32_t added = bytes.below(8);
        const bool keep = bytes.below(2) != 0;
        if (list->count < freed || list->count + freed + added > TM_INCR_SLOTS) {
          break;
        }
        const uint32_t run =
            tm_prepare_incremental_update_prefixes_list_for_insert_and_update(list.get(), freed, added, keep ? 1 : 0);
        expect(run == slow_plan::reorder(*twin, freed, added, keep), "reorder ends at another run");
        compare(*list, *twin, "reorder");
        break;
      }
      case 2:
        check_finding(*list, bytes);
        break;
      default: {
        const uint32_t first = bytes.below(40);
        const uint32_t n = bytes.below(10);
        const uint32_t state = bytes.below(6);
        const int32_t result = tm_clear_pending_state(list.get(), first, n, state);
        expect(result == (first + n > list->count ? -22 : 0), "confirming answered wrongly");
        uint32_t left = result == 0 && state >= 2 && state <= 4 ? n : 0;
        for (uint32_t i = first; i < twin->count && left > 0; ++i) {
          if (twin->entries[i].state == state) {
            twin->entries[i].state = state == 2 ? 0 : 1;
            --left;
          }
        }
        compare(*list, *twin, "confirm");
      }
    }
  }
  expect(test_host::heap().blocks == 0, "a plan keeps memory");
  return 0;
}
