// SPDX-License-Identifier: Apache-2.0
#include "counter_model.h"

#include <algorithm>

namespace instance_model {

namespace {

using v6tool::ip_prefix;

struct list_entry {
  bool add;
  ip_prefix prefix;
  v6tool::ip_key address;  // of the record, uncut
  uint32_t weight;
  uint32_t anchors;

  bool is_anchor() const { return weight == anchors; }
};

constexpr uint8_t anchor_lengths[] = {32, 48, 64, 96};

uint16_t sum(uint16_t a, uint32_t b) { return static_cast<uint16_t>(a + b); }

ip_prefix cut(v6tool::ip_key key, uint8_t length) { return {v6tool::masked(key, length), length}; }

// Longer first; then the whole bytes; then the low bits of the last, partial byte.
int order_of(const list_entry &a, const list_entry &b) {
  if (a.prefix.length != b.prefix.length) {
    return b.prefix.length - a.prefix.length;
  }
  uint8_t x[16];
  uint8_t y[16];
  v6tool::key_to_bytes(a.address, x);
  v6tool::key_to_bytes(b.address, y);
  const size_t whole = a.prefix.length / 8u;
  for (size_t i = 0; i < whole; ++i) {
    if (x[i] != y[i]) {
      return x[i] - y[i];
    }
  }
  const unsigned rest = a.prefix.length % 8u;
  if (rest != 0) {
    const unsigned mask = (1u << rest) - 1;
    const int difference = static_cast<int>(x[whole] & mask) - static_cast<int>(y[whole] & mask);
    if (difference != 0) {
      return difference;
    }
  }
  return static_cast<int>(b.is_anchor()) - static_cast<int>(a.is_anchor());
}

std::vector<list_entry> working_list(const std::vector<change> &changes, const std::vector<bool> &absent) {
  std::vector<list_entry> list;
  for (const change &c : changes) {
    list.push_back({c.add, cut(c.prefix.key, c.prefix.length), c.prefix.key, c.weight, 0});
  }
  for (size_t i = 0; i < changes.size(); ++i) {
    for (const uint8_t length : anchor_lengths) {
      if (changes[i].prefix.length > length && !absent[i]) {
        list.push_back({changes[i].add, cut(changes[i].prefix.key, length), changes[i].prefix.key, changes[i].weight,
                        changes[i].weight});
      }
    }
  }
  std::stable_sort(list.begin(), list.end(), [](const auto &a, const auto &b) { return order_of(a, b) < 0; });
  return list;
}

uint16_t own_share(const counters &c) { return static_cast<uint16_t>(c.weight - c.anchors); }

// Deletes that find no share of their own, the records of each prefix taken in their order.
std::vector<bool> absent_deletes(const stored_set &before, const std::vector<change> &changes) {
  std::vector<bool> absent(changes.size(), false);
  std::map<ip_prefix, uint16_t> shares;
  for (size_t i = 0; i < changes.size(); ++i) {
    const change &c = changes[i];
    const ip_prefix prefix = cut(c.prefix.key, c.prefix.length);
    if (shares.count(prefix) == 0) {
      const auto found = before.find(prefix);
      shares[prefix] = found == before.end() ? uint16_t{0} : own_share(found->second);
    }
    uint16_t &share = shares[prefix];
    if (c.weight == 0) {
      continue;  // counts as an anchor
    }
    if (c.add) {
      share = sum(share, c.weight);
    } else if (share == 0) {
      absent[i] = true;
    } else if (c.weight <= share) {
      share = static_cast<uint16_t>(share - c.weight);
    }
  }
  return absent;
}

// False: the record is refused.
bool take(stored_set &set, const list_entry &entry, bool safe, std::vector<ip_prefix> *removed) {
  const auto found = set.find(entry.prefix);
  if (found == set.end() || (safe && !entry.is_anchor() && own_share(found->second) == 0)) {
    return true;
  }
  counters &c = found->second;
  const uint32_t limit = safe && !entry.is_anchor() ? own_share(c) : c.weight;
  if (entry.weight > limit) {
    return false;
  }
  c.weight = sum(c.weight, 0u - entry.weight);
  c.anchors = sum(c.anchors, 0u - entry.anchors);
  if (c.weight == 0) {
    if (entry.prefix.length == 0) {
      c.weight = 1;
    } else {
      if (removed != nullptr) {
        removed->push_back(entry.prefix);
      }
      set.erase(found);
    }
  }
  return true;
}

void give(stored_set &set, const list_entry &entry) {
  counters &c = set[entry.prefix];
  c.weight = sum(c.weight, entry.weight);
  c.anchors = sum(c.anchors, entry.anchors);
}

// Deletes as listed, then additions, shortest first.
void put_outside_in(std::vector<list_entry> &list) {
  std::stable_sort(list.begin(), list.end(), [](const list_entry &a, const list_entry &b) {
    return a.add != b.add ? b.add : a.add && a.prefix.length < b.prefix.length;
  });
}

}  // namespace

bool has_opposites(const std::vector<change> &changes) {
  std::map<ip_prefix, bool> added;
  for (const change &c : changes) {
    if (c.weight == 0) {
      continue;  // counts as an anchor
    }
    const auto [at, is_new] = added.try_emplace(cut(c.prefix.key, c.prefix.length), c.add);
    if (!is_new && at->second != c.add) {
      return true;
    }
  }
  return false;
}

stored_set after_full(const std::vector<change> &changes) {
  stored_set set;
  for (const list_entry &entry : working_list(changes, std::vector<bool>(changes.size(), false))) {
    give(set, entry);
  }
  give(set, {true, {}, {}, 1, 0});
  return set;
}

stored_set after_batch(const stored_set &before, const std::vector<change> &changes, update_mode mode, bool &refused,
                       std::vector<ip_prefix> *removed) {
  stored_set set = before;
  refused = false;
  const bool safe = mode != update_mode::compatible;
  const std::vector<bool> absent = safe ? absent_deletes(before, changes) : std::vector<bool>(changes.size(), false);
  std::vector<list_entry> list = working_list(changes, absent);
  if (mode == update_mode::room && !has_opposites(changes)) {
    put_outside_in(list);
  }
  for (const list_entry &entry : list) {
    if (entry.add) {
      give(set, entry);
    } else if (!take(set, entry, safe, removed)) {
      refused = true;
      return before;
    }
  }
  return set;
}

}  // namespace instance_model
