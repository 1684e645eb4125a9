// SPDX-License-Identifier: Apache-2.0
// Aligned blocks: what each child gets, against a plain twin that tries every order and every number of spare bits.
#include "tcamv6_fit_blocks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <random>
#include <vector>

namespace {

__extension__ typedef unsigned __int128 wide;

// A child by its key below the parent (`key_bits` bits of it, left-aligned in 32).
struct child {
  uint32_t key;
  int length;  // bits of the key
  int cost;
  int want;
};

struct answer {
  int spare = -1;
  std::vector<int> slots;
  std::vector<uint64_t> places;
  uint64_t address = 0;
  bool operator==(const answer &) const = default;
};

int common_bits(uint32_t a, uint32_t b) { return a == b ? 32 : __builtin_clz(a ^ b); }

answer pack(const std::vector<child> &children, int lim) {
  std::vector<tcamv6_fit_block> blocks;
  for (size_t i = 0; i < children.size(); ++i) {
    const int common = i + 1 < children.size() ? common_bits(children[i].key, children[i + 1].key) : 0;
    blocks.push_back({static_cast<uint8_t>(children[i].cost), static_cast<uint8_t>(children[i].want),
                      static_cast<uint8_t>(common), 0, 0});
  }
  answer a;
  a.spare = tcamv6_fit_blocks(blocks.data(), static_cast<uint32_t>(blocks.size()), lim, 0, &a.address);
  for (const tcamv6_fit_block &block : blocks) {
    a.slots.push_back(block.slot);
    a.places.push_back(block.place);
  }
  return a;
}

// ---- the twin

struct placed {
  wide size;
  std::vector<std::pair<size_t, wide>> inside;  // child, offset
};

std::vector<placed> cells(const std::vector<child> &c, const std::vector<int> &slots, size_t from, size_t to, int bit,
                          int g);

placed block(const std::vector<child> &c, const std::vector<int> &slots, size_t from, size_t to, int bit, int g) {
  if (to - from == 1) {
    return {wide{1} << slots[from], {{from, 0}}};
  }
  const std::vector<placed> items = cells(c, slots, from, to, bit, g);
  if (items.size() == 1) {
    return items[0];
  }
  wide at = 0;
  placed all = {1, {}};
  for (const placed &item : items) {
    at = (at + item.size - 1) / item.size * item.size;
    for (const auto &[i, offset] : item.inside) {
      all.inside.emplace_back(i, at + offset);
    }
    at += item.size;
  }
  while (all.size < at) {
    all.size *= 2;
  }
  return all;
}

// Children from..to-1, those that share the next g bits together.
std::vector<placed> cells(const std::vector<child> &c, const std::vector<int> &slots, size_t from, size_t to, int bit,
                          int g) {
  const auto shares = [&](size_t i) { return common_bits(c[i].key, c[i + 1].key) >= bit + g; };
  std::vector<placed> items;
  for (size_t i = from; i < to;) {
    size_t end = i + 1;
    while (end < to && shares(end - 1)) {
      ++end;
    }
    items.push_back(block(c, slots, i, end, bit + g, g));
    i = end;
  }
  return items;
}

// Items one behind another, aligned, and one code for the address.
std::optional<answer> line_up(const std::vector<placed> &items, const std::vector<int> &slots, int lim) {
  answer a;
  a.slots = slots;
  a.places.resize(slots.size());
  wide at = 0;
  std::optional<wide> address;
  for (const placed &item : items) {
    const wide place = (at + item.size - 1) / item.size * item.size;
    if (place > at) {
      address = at;
    }
    for (const auto &[i, offset] : item.inside) {
      a.places[i] = static_cast<uint64_t>(place + offset);
    }
    at = place + item.size;
  }
  const wide size = wide{1} << lim;
  if (at < size) {
    address = size - 1;
  }
  if (at > size || !address) {
    return {};
  }
  a.address = static_cast<uint64_t>(*address);
  return a;
}

std::vector<int> slots_with(const std::vector<child> &c, int t) {
  std::vector<int> slots;
  for (const child &one : c) {
    slots.push_back(one.cost + std::min(t, std::max(0, one.want - one.cost) + 2));
  }
  return slots;
}

std::vector<placed> largest_first(const std::vector<int> &slots) {
  std::vector<size_t> order(slots.size());
  for (size_t i = 0; i < order.size(); ++i) {
    order[i] = i;
  }
  std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) { return slots[a] > slots[b]; });
  std::vector<placed> items;
  for (const size_t i : order) {
    items.push_back({wide{1} << slots[i], {{i, 0}}});
  }
  return items;
}

template <class Order>
std::optional<answer> widest(const std::vector<child> &c, int lim, Order order) {
  for (int t = lim; t >= 0; --t) {
    const std::vector<int> slots = slots_with(c, t);
    std::optional<answer> a = line_up(order(slots), slots, lim);
    if (a) {
      a->spare = t;
      return a;
    }
  }
  return {};
}

answer twin(const std::vector<child> &c, int lim) {
  const std::optional<answer> tight = widest(c, lim, largest_first);
  if (!tight) {
    ADD_FAILURE() << "the costs alone are too many";
    return {};
  }
  for (const int g : {1, 2, 4, 8, 16, 32}) {
    const std::optional<answer> a =
        widest(c, lim, [&](const std::vector<int> &slots) { return cells(c, slots, 0, c.size(), 0, g); });
    if (a && 4 * a->spare >= tight->spare) {
      return *a;
    }
  }
  return *tight;
}

// ---- inputs

std::vector<child> random_children(std::mt19937 *random, size_t n, int most_cost) {
  std::vector<child> children;
  while (children.size() < n) {
    const int length = 1 + static_cast<int>((*random)() % 32);
    const uint32_t mask = ~uint32_t{0} << (32 - length);
    const auto key = static_cast<uint32_t>((*random)() & (*random)()) & mask;
    const bool overlaps = std::any_of(children.begin(), children.end(), [&](const child &other) {
      return common_bits(key, other.key) >= std::min(length, other.length);
    });
    if (overlaps) {
      if ((*random)() % 50 == 0) {
        break;  // the space is full
      }
      continue;
    }
    const int cost = static_cast<int>((*random)() % (static_cast<size_t>(most_cost) + 1));
    const bool is_full_length = cost == 0 && (*random)() % 3 == 0;
    children.push_back({key, length, cost, is_full_length ? 0 : cost + static_cast<int>((*random)() % 20)});
  }
  std::sort(children.begin(), children.end(), [](const child &a, const child &b) { return a.key < b.key; });
  return children;
}

// The fewest bits that hold the children and an address.
int bits_of(const std::vector<child> &children) {
  wide sum = 1;
  for (const child &c : children) {
    sum += wide{1} << c.cost;
  }
  int bits = 0;
  while ((wide{1} << bits) < sum) {
    ++bits;
  }
  return bits;
}

void expect_sound(const std::vector<child> &children, const answer &a, int lim) {
  std::vector<std::pair<wide, wide>> used = {{a.address, wide{a.address} + 1}};
  for (size_t i = 0; i < children.size(); ++i) {
    const wide size = wide{1} << a.slots[i];
    EXPECT_GE(a.slots[i], children[i].cost);
    EXPECT_EQ(a.places[i] % size, 0u) << "child " << i;
    used.emplace_back(a.places[i], a.places[i] + size);
  }
  std::sort(used.begin(), used.end());
  for (size_t i = 1; i < used.size(); ++i) {
    EXPECT_LE(used[i - 1].second, used[i].first);
  }
  EXPECT_LE(used.back().second, wide{1} << lim);
}

}  // namespace

TEST(tcamv6_fit_blocks_test, one_child_has_half_at_most) {
  const answer a = pack({{0, 4, 3, 60}}, 10);
  EXPECT_EQ(a.slots, std::vector<int>{9});
  EXPECT_EQ(a.places, std::vector<uint64_t>{0});
  EXPECT_EQ(a.address, 1023u);
  EXPECT_EQ(a.spare, 6);
}

TEST(tcamv6_fit_blocks_test, without_spare_bits_the_largest_comes_first) {
  // 1 + 1 + 2 + 8 + the address = 13 of 16 codes; in the order of keys the 8 would begin at 8, which fits as well.
  const answer in_order = pack({{0, 2, 0, 0}, {1u << 30, 2, 1, 1}, {2u << 30, 2, 3, 3}}, 4);
  EXPECT_EQ(in_order.places, (std::vector<uint64_t>{0, 2, 8}));
  // 1 + 8 + 4 + 1 + 1 + the address = 16: no code is left for alignment.
  const answer tight =
      pack({{0, 3, 0, 0}, {1u << 29, 3, 3, 3}, {2u << 29, 3, 2, 2}, {3u << 29, 3, 0, 0}, {4u << 29, 3, 0, 0}}, 4);
  EXPECT_EQ(tight.spare, 0);
  EXPECT_EQ(tight.places, (std::vector<uint64_t>{12, 0, 8, 13, 14}));
  EXPECT_EQ(tight.address, 15u);
}

TEST(tcamv6_fit_blocks_test, full_length_children_leave_the_spare_bits_to_others) {
  std::vector<child> children = {{0, 1, 0, 30}};
  for (uint32_t i = 0; i < 8; ++i) {
    children.push_back({(8 + i) << 28, 4, 0, 0});
  }
  const answer a = pack(children, 20);
  EXPECT_GE(a.slots[0], 16);
  for (size_t i = 1; i < a.slots.size(); ++i) {
    EXPECT_EQ(a.slots[i], 2) << "two bits for company, no more";
  }
}

TEST(tcamv6_fit_blocks_test, children_that_share_bits_share_a_block_that_holds_no_other) {
  // 000, 001 | 10, 11: the first two share a bit that the others do not have.
  const answer a = pack({{0, 3, 0, 9}, {1u << 29, 3, 0, 9}, {2u << 30, 2, 0, 9}, {3u << 30, 2, 0, 9}}, 12);
  const uint64_t split = a.places[0] ^ a.places[1];
  EXPECT_LT(split, a.places[0] ^ a.places[2]);
  EXPECT_LT(split, a.places[1] ^ a.places[3]);
}

TEST(tcamv6_fit_blocks_test, whole_space_of_64_bits_is_shared_out) {
  const answer a = pack({{0, 1, 62, 63}, {1u << 31, 1, 62, 63}}, 64);
  EXPECT_EQ(a.slots, (std::vector<int>{62, 62}));
  EXPECT_EQ(a.address, UINT64_MAX);
  expect_sound({{0, 1, 62, 63}, {1u << 31, 1, 62, 63}}, a, 64);
  const answer one = pack({{0, 1, 63, 63}}, 64);
  EXPECT_EQ(one.slots, std::vector<int>{63});
  EXPECT_EQ(one.address, UINT64_MAX);
}

TEST(tcamv6_fit_blocks_test, exactly_full_space_is_coded_tight) {
  // 63 hosts and the address: 64 codes.
  std::vector<child> children;
  for (uint32_t i = 0; i < 63; ++i) {
    children.push_back({i << 26, 6, 0, 0});
  }
  const answer a = pack(children, 6);
  EXPECT_EQ(a.spare, 0);
  EXPECT_EQ(a.address, 63u);
  expect_sound(children, a, 6);
}

TEST(tcamv6_fit_blocks_test, branching_deeper_than_the_space_is_given_up) {
  // Child i leaves the way to the last one at bit i: one block in another, 120 deep, each twice as large.
  std::vector<tcamv6_fit_block> blocks;
  std::vector<child> children;
  for (uint8_t i = 0; i < 120; ++i) {
    blocks.push_back({0, 31, static_cast<uint8_t>(i), 0, 0});
    children.push_back({0, 128, 0, 31});
  }
  for (const int lim : {7, 9, 40, 64}) {
    answer a;
    a.spare = tcamv6_fit_blocks(blocks.data(), 120, lim, 0, &a.address);
    for (const tcamv6_fit_block &block : blocks) {
      a.slots.push_back(block.slot);
      a.places.push_back(block.place);
    }
    expect_sound(children, a, lim);
  }
}

TEST(tcamv6_fit_blocks_test, agrees_with_the_twin_on_random_children) {
  std::mt19937 random(20);
  for (int round = 0; round < 3000; ++round) {
    const std::vector<child> children = random_children(&random, 1 + random() % 24, round % 2 == 0 ? 4 : 30);
    const int tight = bits_of(children);
    const int lim = std::min(64, tight + static_cast<int>(random() % 30));
    const answer a = pack(children, lim);
    ASSERT_EQ(a, twin(children, lim)) << "round " << round;
    expect_sound(children, a, lim);
    ASSERT_FALSE(HasFailure()) << "round " << round;
  }
}
