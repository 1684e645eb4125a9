// SPDX-License-Identifier: Apache-2.0
#include "slow_plan.h"

#include <algorithm>
#include <cstring>

namespace slow_plan {
namespace {

using entry = tm_incr_update_entry;

int readable_bits(uint8_t length) { return std::min<int>(length, 128); }

int bit_of(uint8_t byte, int bit) { return byte >> bit & 1; }

bool equal(const entry &slot, const tcamv6_prefix &record) {
  return compare(slot.length, slot.prefix, record.length, record.address) == 0;
}

bool same_first_bytes(const entry &slot, const tcamv6_cmpr_addr &addr) {
  for (int i = 0; i < 7; ++i) {
    if (slot.cmpr_addr[i] != addr.bytes[i]) {
      return false;
    }
  }
  return true;
}

uint32_t sort_by_prefix(tm_incr_update_list &list) {
  const uint32_t used = std::min<uint32_t>(list.count, TM_INCR_SLOTS);
  entry *const begin = list.entries;
  std::stable_sort(begin, begin + used, [](const entry &a, const entry &b) { return a.length > b.length; });
  uint32_t s = 0;
  for (int length = 128; length >= 0; --length) {
    const auto k = static_cast<uint32_t>(
        std::count_if(begin + s, begin + used, [length](const entry &slot) { return slot.length == length; }));
    if (k > 1) {
      std::stable_sort(begin + s, begin + s + k, [](const entry &a, const entry &b) {
        return compare(a.length, a.prefix, b.length, b.prefix) < 0;
      });
      s += k;
    }
  }
  return s;
}

void sort_by_state(tm_incr_update_list &list, uint32_t n) {
  std::stable_sort(list.entries, list.entries + n,
                   [](const entry &a, const entry &b) { return a.state != 0 && b.state == 0; });
}

}  // namespace

int compare(uint8_t a_length, const uint8_t *a, uint8_t b_length, const uint8_t *b) {
  if (a_length != b_length) {
    return b_length - a_length;
  }
  const int length = readable_bits(a_length);
  int byte = 0;
  for (; byte < length / 8; ++byte) {
    if (a[byte] != b[byte]) {
      return a[byte] - b[byte];
    }
  }
  int left = 0;
  int right = 0;
  for (int bit = length % 8 - 1; bit >= 0; --bit) {
    left = left * 2 + bit_of(a[byte], bit);
    right = right * 2 + bit_of(b[byte], bit);
  }
  return left - right;
}

void initial(tm_incr_update_list &list, uint32_t expected, uint32_t &corrupted) {
  list.count = 0;
  list.n_insert = 0;
  for (entry &slot : list.entries) {
    if (slot.state == 3) {
      slot.state = 0;
    } else if (slot.state != 0) {
      slot.state = slot.state == 2 ? 1 : slot.state;
      ++list.count;
    }
  }
  corrupted = list.count == expected ? 0 : 1;
  if (corrupted == 0) {
    sort_by_state(list, TM_INCR_SLOTS);
    sort_by_prefix(list);
    return;
  }
  std::memset(list.entries, 0, sizeof(list.entries));
  list.count = 1;
  list.entries[0].state = 1;
}

void build(tm_incr_update_list &list, const std::vector<tcamv6_prefix> &prefixes,
           const std::vector<tcamv6_cmpr_addr> &cmpr_addrs, uint32_t expected, uint32_t &corrupted, bool force) {
  initial(list, expected, corrupted);
  entry *const end = list.entries + list.count;
  for (entry *slot = list.entries; slot != end; ++slot) {
    if (std::none_of(prefixes.begin(), prefixes.end(), [slot](const auto &record) { return equal(*slot, record); })) {
      slot->state = 2;
    }
  }
  for (entry *slot = list.entries; slot != end; ++slot) {
    for (size_t j = 0; j < prefixes.size(); ++j) {
      if (equal(*slot, prefixes[j]) && (force || !same_first_bytes(*slot, cmpr_addrs[j]))) {
        std::memcpy(slot->cmpr_addr, cmpr_addrs[j].bytes, 7);
        slot->state = 4;
        break;
      }
    }
  }
  uint32_t c = list.count;
  for (size_t j = 0; j < prefixes.size(); ++j) {
    const auto is_record = [&](const entry &slot) { return equal(slot, prefixes[j]); };
    if (std::none_of(list.entries, end, is_record) && c < TM_INCR_SLOTS) {
      entry &slot = list.entries[c++];
      std::memcpy(slot.prefix, prefixes[j].address, 16);
      slot.length = prefixes[j].length;
      std::memcpy(slot.cmpr_addr, cmpr_addrs[j].bytes, 8);
      slot.state = 3;
    }
  }
  list.n_insert = c - list.count;
}

uint32_t reorder(tm_incr_update_list &list, uint32_t n_freed, uint32_t n_added, bool keep_count) {
  if (!keep_count) {
    list.count = list.count + n_freed + n_added;
  }
  sort_by_state(list, std::min<uint32_t>(list.count, TM_INCR_SLOTS));
  list.count = list.count - n_freed;
  return sort_by_prefix(list);
}

}  // namespace slow_plan
