// SPDX-License-Identifier: Apache-2.0
// The plan of a change, followed write by write on a plain model of both stages.
#include "table_plan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <vector>

#include "tm_memory.h"

namespace {

constexpr unsigned bits = 5;  // prefixes and addresses of the small world

tm_key_number number_of(unsigned value, unsigned length) {
  return length == 0 ? tm_key_number{0} : static_cast<tm_key_number>(value) << (128 - length);
}

struct prefix {
  unsigned length;
  unsigned value;
  auto operator<=>(const prefix &) const = default;
  bool covers(unsigned address) const { return address >> (bits - length) == value; }
  bool contains(const prefix &other) const {
    return other.length >= length && other.value >> (other.length - length) == value;
  }
};

using layout = std::map<prefix, table_form>;

bool overlap(const table_form &a, const table_form &b) {
  const unsigned shared = std::min(a.length, b.length);
  return ((a.code ^ b.code) & table_leading_bits(shared)) == 0;
}

// Any right layout of these prefixes: blocks inside the parent's, none of which overlap, and keys outside of them.
class world {
 public:
  explicit world(unsigned seed) : random_(seed) {}

  unsigned below(unsigned n) { return static_cast<unsigned>(random_() % n); }

  std::set<prefix> some_prefixes(unsigned most) {
    std::set<prefix> result;
    for (unsigned i = below(most + 1); i > 0; --i) {
      const unsigned length = below(bits + 1);
      result.insert({length, below(1u << length)});
    }
    return result;
  }

  // Leaves prefixes out, one after the other, until what is left finds room.
  layout lay_out(std::set<prefix> prefixes, unsigned tightness) {
    for (;;) {
      layout result;
      if (place_children(prefixes, nullptr, {0, 0, 0}, tightness, result)) {
        return result;
      }
      prefixes.erase(std::next(prefixes.begin(), below(static_cast<unsigned>(prefixes.size()))));
    }
  }

 private:
  bool place_children(const std::set<prefix> &all, const prefix *parent, table_form block, unsigned tightness,
                      layout &out) {
    std::vector<prefix> children;
    for (const prefix &p : all) {
      const bool inside = parent == nullptr || (*parent != p && parent->contains(p));
      const bool direct = std::none_of(all.begin(), all.end(), [&](const prefix &q) {
        return q != p && q.contains(p) && (parent == nullptr || (*parent != q && parent->contains(q)));
      });
      if (inside && direct) {
        children.push_back(p);
      }
    }
    std::vector<table_form> taken;
    for (const prefix &child : children) {
      table_form form;
      unsigned tries = 0;
      do {
        if (++tries > 50) {
          return false;
        }
        form.length = static_cast<uint8_t>(block.length + 1 + below(tightness));
        if (form.length > 60) {
          return false;
        }
        form.code = block.code | (random_() & table_leading_bits(form.length) & ~table_leading_bits(block.length));
      } while (std::any_of(taken.begin(), taken.end(), [&](const table_form &t) { return overlap(t, form); }));
      taken.push_back(form);
      out[child] = form;
    }
    if (parent != nullptr) {
      uint64_t key;
      unsigned tries = 0;
      do {
        if (++tries > 50) {
          return false;
        }
        key = block.code | (random_() & ~table_leading_bits(block.length));
      } while (std::any_of(taken.begin(), taken.end(), [&](const table_form &t) { return table_covers_key(&t, key); }));
      out[*parent].key = key;
    }
    return std::all_of(children.begin(), children.end(),
                       [&](const prefix &child) { return place_children(all, &child, out[child], tightness, out); });
  }

  std::mt19937_64 random_;
};

std::vector<table_row_change> changes_between(const layout &before, const layout &after, bool unchanged_too) {
  std::map<prefix, table_row_change> rows;
  for (const auto &[p, form] : before) {
    rows[p].before = form;
    rows[p].was = true;
  }
  for (const auto &[p, form] : after) {
    rows[p].after = form;
    rows[p].is = true;
  }
  std::vector<table_row_change> result;
  for (auto &[p, row] : rows) {
    row.address = number_of(p.value, p.length);
    row.length = static_cast<uint8_t>(p.length);
    if (unchanged_too || !table_is_unchanged(&row)) {
      result.push_back(row);
    }
  }
  std::sort(result.begin(), result.end(),
            [](const table_row_change &a, const table_row_change &b) { return table_cmp_row_changes(&a, &b) < 0; });
  return result;
}

// Looks for spare keys the long way: any that is right before and after.
struct spare_finder {
  const layout &before;
  const layout &after;
  const std::vector<table_row_change> &rows;
  std::set<uint64_t> given = {};
  std::mt19937_64 random{1};
  bool has_any = true;

  static bool find(void *user, uint32_t row, uint64_t *key) {
    auto *self = static_cast<spare_finder *>(user);
    return self->has_any && self->search(prefix_of(self->rows[row]), key);
  }

  static prefix prefix_of(const table_row_change &row) {
    return {row.length, row.length == 0 ? 0 : static_cast<unsigned>(row.address >> (128 - row.length))};
  }

  bool search(const prefix &p, uint64_t *key) {
    uint64_t within = 0;
    unsigned length = 0;
    for (const auto &[q, form] : before) {
      const auto now = after.find(q);
      if (q.contains(p) && now != after.end() && table_same_code(&form, &now->second) && form.length >= length) {
        within = form.code;
        length = form.length;
      }
    }
    for (unsigned i = 0; i < 3000; ++i) {
      *key = within | (random() & ~table_leading_bits(length));
      if (is_right(before, p, *key) && is_right(after, p, *key) && given.insert(*key).second) {
        return true;
      }
    }
    return false;
  }

  static bool is_right(const layout &l, const prefix &p, uint64_t key) {
    return std::all_of(l.begin(), l.end(), [&](const auto &entry) {
      return entry.second.key != key && (entry.first.contains(p) || !table_covers_key(&entry.second, key));
    });
  }
};

// Both stages, as a driver would keep them.
class two_stages {
 public:
  explicit two_stages(const layout &start) {
    for (const auto &[p, form] : start) {
      keys_[p] = form.key;
      codes_[p].insert({form.code, form.length});
    }
  }

  void follow(const zel_v6comp_table_write &write) {
    const prefix p = prefix_of(write);
    const std::pair<uint64_t, uint8_t> code{write.code, write.code_length};
    switch (write.kind) {
      case ZEL_V6COMP_TABLE_ADD_CODE:
        EXPECT_TRUE(codes_[p].insert(code).second);
        break;
      case ZEL_V6COMP_TABLE_REMOVE_CODE:
        EXPECT_EQ(codes_[p].erase(code), 1u);
        break;
      case ZEL_V6COMP_TABLE_ADD_KEY:
        EXPECT_TRUE(keys_.emplace(p, write.key).second);
        break;
      case ZEL_V6COMP_TABLE_CHANGE_KEY:
        EXPECT_EQ(keys_.count(p), 1u);
        keys_[p] = write.key;
        break;
      default:
        EXPECT_EQ(write.kind, ZEL_V6COMP_TABLE_REMOVE_KEY);
        EXPECT_EQ(keys_[p], write.key);
        EXPECT_EQ(keys_.erase(p), 1u);
    }
  }

  // "" or what is wrong between these two tables.
  std::string fault(const layout &before, const layout &after) const {
    for (unsigned address = 0; address < 1u << bits; ++address) {
      const std::string found = fault_at(address, before, after);
      if (!found.empty()) {
        return found + " at address " + std::to_string(address);
      }
    }
    return "";
  }

  bool is(const layout &wanted) const {
    std::map<prefix, uint64_t> keys;
    std::map<prefix, std::set<std::pair<uint64_t, uint8_t>>> codes;
    for (const auto &[p, form] : wanted) {
      keys[p] = form.key;
      codes[p].insert({form.code, form.length});
    }
    auto mine = codes_;
    std::erase_if(mine, [](const auto &entry) { return entry.second.empty(); });
    return keys == keys_ && codes == mine;
  }

 private:
  static prefix prefix_of(const zel_v6comp_table_write &write) {
    const tm_key_number address = tm_key_load(write.address);
    return {write.length, write.length == 0 ? 0 : static_cast<unsigned>(address >> (128 - write.length))};
  }

  bool rule_matches(const prefix &rule, const uint64_t *key) const {
    const auto found = codes_.find(rule);
    return key != nullptr && found != codes_.end() &&
           std::any_of(found->second.begin(), found->second.end(),
                       [&](const auto &code) { return ((code.first ^ *key) & table_leading_bits(code.second)) == 0; });
  }

  static const prefix *longest(const layout &l, unsigned address) {
    const prefix *found = nullptr;
    for (const auto &[p, form] : l) {
      found = p.covers(address) && (found == nullptr || p.length >= found->length) ? &p : found;
    }
    return found;
  }

  static std::string name(const prefix &p) { return std::to_string(p.value) + "/" + std::to_string(p.length); }

  std::string fault_at(unsigned address, const layout &before, const layout &after) const {
    const uint64_t *key = nullptr;
    unsigned length = 0;
    for (const auto &[p, k] : keys_) {
      if (p.covers(address) && (key == nullptr || p.length >= length)) {
        key = &k;
        length = p.length;
      }
    }
    layout all = before;
    all.insert(after.begin(), after.end());
    const prefix *winner = nullptr;
    for (const auto &[p, form] : all) {
      const bool matches = rule_matches(p, key);
      if (matches && !p.covers(address)) {
        return name(p) + " matches what it does not cover";
      }
      if (!matches && p.covers(address) && before.contains(p) && after.contains(p)) {
        return name(p) + " misses what it covers";
      }
      winner = matches && (winner == nullptr || p.length >= winner->length) ? &p : winner;
    }
    const prefix *old_winner = longest(before, address);
    const prefix *new_winner = longest(after, address);
    const auto same = [](const prefix *a, const prefix *b) {
      return (a == nullptr) == (b == nullptr) && (a == nullptr || *a == *b);
    };
    return same(winner, old_winner) || same(winner, new_winner) ? "" : "a third answer";
  }

  std::map<prefix, uint64_t> keys_;
  std::map<prefix, std::set<std::pair<uint64_t, uint8_t>>> codes_;
};

struct followed {
  table_plan_counts counts = {};
  size_t writes = 0;
};

followed plan_and_follow(const layout &before, const layout &after, bool unchanged_too, bool has_spare) {
  const std::vector<table_row_change> rows = changes_between(before, after, unchanged_too);
  spare_finder finder{before, after, rows};
  finder.has_any = has_spare;
  const table_spare_keys spare = {spare_finder::find, &finder};
  table_writes writes = {};
  followed result;
  EXPECT_EQ(table_plan(rows.data(), static_cast<uint32_t>(rows.size()), &spare, &writes, &result.counts), TM_OK);
  two_stages hardware(before);
  EXPECT_EQ(hardware.fault(before, after), "");
  for (size_t i = 0; i < writes.count; ++i) {
    hardware.follow(writes.list[i]);
    if (result.counts.early == 0) {
      const std::string fault = hardware.fault(before, after);
      EXPECT_EQ(fault, "") << "after write " << i;
      if (!fault.empty()) {
        break;
      }
    }
  }
  EXPECT_TRUE(hardware.is(after));
  result.writes = writes.count;
  table_free_writes(&writes);
  return result;
}

TEST(TablePlan, NothingToDo) {
  const layout l = {{{2, 1}, {uint64_t{1} << 62, uint64_t{1} << 62, 2}}};
  EXPECT_EQ(plan_and_follow(l, l, false, true).writes, 0u);
  EXPECT_EQ(plan_and_follow(l, l, true, true).writes, 0u);
}

TEST(TablePlan, ALoadIsTwoWritesARow) {
  world w(1);
  const layout l = w.lay_out(w.some_prefixes(12), 20);
  EXPECT_EQ(plan_and_follow({}, l, false, true).writes, 2 * l.size());
  EXPECT_EQ(plan_and_follow(l, {}, false, true).writes, 2 * l.size());
}

TEST(TablePlan, TwoThatChangePlacesAreParked) {
  const uint64_t a = uint64_t{1} << 62;
  const uint64_t b = uint64_t{2} << 62;
  const layout before = {{{2, 0}, {a, a, 2}}, {{2, 1}, {b, b, 2}}};
  const layout after = {{{2, 0}, {b, b, 2}}, {{2, 1}, {a, a, 2}}};
  const followed done = plan_and_follow(before, after, false, true);
  EXPECT_EQ(done.counts.parked, 1u);
  EXPECT_EQ(done.counts.early, 0u);
  EXPECT_EQ(done.writes, 9u);
}

TEST(TablePlan, WithoutASpareKeyOneGoesBeforeItsTime) {
  const uint64_t a = uint64_t{1} << 62;
  const uint64_t b = uint64_t{2} << 62;
  const layout before = {{{2, 0}, {a, a, 2}}, {{2, 1}, {b, b, 2}}};
  const layout after = {{{2, 0}, {b, b, 2}}, {{2, 1}, {a, a, 2}}};
  const followed done = plan_and_follow(before, after, false, false);
  EXPECT_EQ(done.counts.parked, 0u);
  EXPECT_EQ(done.counts.early, 1u);
}

// A new prefix around one that goes takes its code.
TEST(TablePlan, AParentInThePlaceOfItsChild) {
  const uint64_t a = uint64_t{1} << 62;
  const layout before = {{{3, 1}, {a, a, 2}}};
  const layout after = {{{2, 0}, {a, a, 2}}};
  const followed done = plan_and_follow(before, after, false, true);
  EXPECT_EQ(done.counts.early, 0u);
}

class RandomChanges : public testing::TestWithParam<unsigned> {};

TEST_P(RandomChanges, GiveNoThirdAnswer) {
  uint64_t parked = 0;
  uint64_t early = 0;
  for (unsigned seed = 0; seed < 400; ++seed) {
    world w(seed * 7 + GetParam());
    const std::set<prefix> old_set = w.some_prefixes(10);
    std::set<prefix> new_set = w.some_prefixes(4);
    for (const prefix &p : old_set) {
      if (w.below(4) != 0) {
        new_set.insert(p);
      }
    }
    const layout before = w.lay_out(old_set, GetParam());
    layout after = w.lay_out(new_set, GetParam());
    const followed done = plan_and_follow(before, after, seed % 2 == 0, true);
    parked += done.counts.parked;
    early += done.counts.early;
    if (HasFailure()) {
      FAIL() << "seed " << seed;
    }
  }
  EXPECT_GT(parked, 0u);
  EXPECT_LT(early, parked);
}

INSTANTIATE_TEST_SUITE_P(Tightness, RandomChanges, testing::Values(2u, 3u, 5u, 8u));

}  // namespace
