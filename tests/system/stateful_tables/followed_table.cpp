// SPDX-License-Identifier: Apache-2.0
#include "followed_table.h"

#include <rapidcheck.h>

#include <algorithm>

#include "all_rows.h"

namespace stateful_tables {

namespace {

using table_model::prefix_of;
using table_model::text_of;

constexpr uint32_t n_slots = 1024;
constexpr uint32_t expected_prefixes = 4000;

struct key_bytes {
  explicit key_bytes(tm_key_number address) { tm_key_store(bytes, address); }
  uint8_t bytes[16];
};

bool begins_with(uint64_t key, const zel_v6comp_table_row &row) {
  return row.code_length == 0 || (key ^ row.code) >> (64U - row.code_length) == 0;
}

bool same_row(const zel_v6comp_table_row &a, const zel_v6comp_table_row &b) {
  return prefix_of(a) == prefix_of(b) && a.code == b.code && a.key == b.key && a.word == b.word &&
         a.code_length == b.code_length;
}

template <class Record>
Record record_of(const change &c) {
  Record record = {};
  tm_key_store(record.address, c.p.address);
  record.length = static_cast<uint8_t>(c.p.length);
  record.word = c.word;
  return record;
}

}  // namespace

std::vector<zel_v6comp_table_prefix> load_records(const std::vector<change> &changes) {
  std::vector<zel_v6comp_table_prefix> records;
  records.reserve(changes.size());
  for (const change &c : changes) {
    records.push_back(record_of<zel_v6comp_table_prefix>(c));
  }
  return records;
}

std::vector<zel_v6comp_table_change> change_records(const std::vector<change> &changes) {
  std::vector<zel_v6comp_table_change> records;
  records.reserve(changes.size());
  for (const change &c : changes) {
    records.push_back(record_of<zel_v6comp_table_change>(c));
    records.back().operation = c.add ? ZEL_V6COMP_TABLE_ADD : ZEL_V6COMP_TABLE_REMOVE;
  }
  return records;
}

// A property that failed ends here with the table open.
followed_table::~followed_table() {
  zel_v6comp_slots_close(slots);
  if (is_open_) {
    zel_v6comp_table_close(table);
  }
}

void followed_table::open(uint32_t move_limit) {
  zel_v6comp_table_options options = ZEL_V6COMP_TABLE_OPTIONS_INIT;
  options.expected_prefixes = expected_prefixes;
  options.move_limit = move_limit;
  RC_ASSERT(zel_v6comp_table_open(3, instance_, &options, &table) == ZEL_V6COMP_TABLE_OK);
  is_open_ = true;
  is_indexed_ = false;
  moves_ = changes_ = 0;
  hardware_ = {};
  tcam_ = table_model::first_match_tcam(n_slots);
  RC_ASSERT(zel_v6comp_slots_open(n_slots, &slots) == ZEL_V6COMP_TABLE_OK);
}

void followed_table::close() {
  zel_v6comp_slots_close(slots);
  slots = nullptr;
  is_open_ = false;
  RC_ASSERT(zel_v6comp_table_close(table) == ZEL_V6COMP_TABLE_OK);
}

// ---- changes

void followed_table::load(const table_facts &before, const table_facts &after, const std::vector<change> &all) {
  const std::vector<zel_v6comp_table_row> old_rows = rows();
  const std::vector<zel_v6comp_table_prefix> records = load_records(all);
  const int32_t status = zel_v6comp_table_load(table, records.data(), records.size(), &outcome_);
  if (status != ZEL_V6COMP_TABLE_OK) {
    refuse_for_want(status, before, after);
    return;
  }
  expect_counts(counts_of(before.wanted, all, after.wanted));
  accept(before.wanted, after.wanted, old_rows);
}

void followed_table::apply(const table_facts &before, const table_facts &after, const std::vector<change> &changes) {
  const std::vector<zel_v6comp_table_row> old_rows = rows();
  const std::vector<zel_v6comp_table_change> records = change_records(changes);
  const int32_t status = zel_v6comp_table_apply(table, records.data(), records.size(), &outcome_);
  if (status != ZEL_V6COMP_TABLE_OK) {
    refuse_for_want(status, before, after);
    return;
  }
  const uint32_t limit = before.move_limit;
  RC_ASSERT(limit == 0 || outcome_.moved <= (limit == ZEL_V6COMP_TABLE_NO_MOVES ? 0 : limit));
  expect_counts(counts_of(before.wanted, changes, after.wanted));
  accept(before.wanted, after.wanted, old_rows);
}

void followed_table::compact(const table_facts &facts) {
  const std::vector<zel_v6comp_table_row> old_rows = rows();
  RC_ASSERT(zel_v6comp_table_compact(table, &outcome_) == ZEL_V6COMP_TABLE_OK);
  expect_counts({});
  accept(facts.wanted, facts.wanted, old_rows);
  zel_v6comp_table_stats_record figures = ZEL_V6COMP_TABLE_STATS_INIT;
  RC_ASSERT(zel_v6comp_table_stats(table, &figures) == ZEL_V6COMP_TABLE_OK);
  RC_ASSERT(figures.deepest_code <= 64U);
  is_indexed_ = figures.indexed != 0;
  RC_ASSERT(!is_indexed_ || facts.wanted.empty());
}

void followed_table::index(const table_facts &facts) {
  RC_ASSERT(zel_v6comp_table_index(table) == ZEL_V6COMP_TABLE_OK);
  is_indexed_ = !facts.wanted.empty() || is_indexed_;
}

void followed_table::expect_counts(const change_counts &expected) const {
  RC_ASSERT(outcome_.added == expected.added);
  RC_ASSERT(outcome_.removed == expected.removed);
  RC_ASSERT(outcome_.present == expected.present);
  RC_ASSERT(outcome_.absent == expected.absent);
}

// The writes lead from the rows of before to those of now, and say of each prefix the word that it has.
void followed_table::accept(const words &before, const words &after,
                            const std::vector<zel_v6comp_table_row> &old_rows) {
  RC_ASSERT(outcome_.status == ZEL_V6COMP_TABLE_OK);
  RC_ASSERT(outcome_.reason[0] == '\0');
  ++changes_;
  moves_ += outcome_.moved;
  const std::span<const zel_v6comp_table_write> writes(outcome_.writes, outcome_.n_writes);
  for (const zel_v6comp_table_write &write : writes) {
    const prefix p = {tm_key_load(write.address), write.length};
    RC_ASSERT(write.word == (after.contains(p) ? after.at(p) : before.at(p)));
  }
  if (outcome_.early == 0) {
    RC_ASSERT(hardware_.follow(writes) == "");
  } else {
    hardware_.follow_blindly(writes);
  }
  zel_v6comp_slot_steps steps = ZEL_V6COMP_SLOT_STEPS_INIT;
  RC_ASSERT(zel_v6comp_slots_follow(slots, writes.data(), writes.size(), &steps) == ZEL_V6COMP_TABLE_OK);
  RC_ASSERT(tcam_.follow({steps.list, steps.n}) == "");
  expect_moves(old_rows);
  if (outcome_.added + outcome_.removed > 0) {
    is_indexed_ = false;
  }
}

// What stayed keeps its code and its key, but for those that are counted.
void followed_table::expect_moves(const std::vector<zel_v6comp_table_row> &old_rows) const {
  std::map<prefix, zel_v6comp_table_row> old;
  for (const zel_v6comp_table_row &row : old_rows) {
    old[prefix_of(row)] = row;
  }
  uint32_t moved = 0;
  uint32_t rekeyed = 0;
  for (const zel_v6comp_table_row &row : rows()) {
    const auto found = old.find(prefix_of(row));
    if (found != old.end()) {
      const bool same_code = found->second.code == row.code && found->second.code_length == row.code_length;
      moved += same_code ? 0 : 1;
      rekeyed += same_code && found->second.key != row.key ? 1 : 0;
    }
  }
  RC_ASSERT(outcome_.moved == moved);
  RC_ASSERT(outcome_.rekeyed == rekeyed);
}

void followed_table::refuse_for_want(int32_t status, const table_facts &before, const table_facts &after) {
  RC_ASSERT(status == (before.move_limit != 0 ? ZEL_V6COMP_TABLE_E_MOVES : ZEL_V6COMP_TABLE_E_ROOM));
  RC_ASSERT(outcome_.status == status);
  RC_ASSERT(outcome_.n_writes == 0U);
  RC_ASSERT(outcome_.moved == 0U);
  RC_ASSERT(outcome_.reason[0] != '\0');
  RC_TAG(std::string(zel_v6comp_table_text(status)));
  may_lose_index();
  check(before);
  load_all(before.wanted, {});
  load_all({}, after.wanted);
}

void followed_table::load_all(const words &before, const words &after) {
  const std::vector<zel_v6comp_table_row> old_rows = rows();
  std::vector<change> all;
  all.reserve(after.size());
  for (const auto &[p, word] : after) {
    all.push_back({p, true, word});
  }
  const std::vector<zel_v6comp_table_prefix> records = load_records(all);
  RC_ASSERT(zel_v6comp_table_load(table, records.data(), records.size(), &outcome_) == ZEL_V6COMP_TABLE_OK);
  accept(before, after, old_rows);
}

// ---- questions

void followed_table::find(const table_facts &facts, const prefix &p) const {
  const key_bytes address(p.address);
  zel_v6comp_table_row row = {};
  RC_ASSERT(zel_v6comp_table_find(table, address.bytes, p.length, &row) == (facts.wanted.contains(p) ? 1 : 0));
  uint32_t slot = n_slots;
  RC_ASSERT(zel_v6comp_slots_find(slots, address.bytes, p.length, &slot) == (facts.wanted.contains(p) ? 1 : 0));
  if (facts.wanted.contains(p)) {
    RC_ASSERT(prefix_of(row) == p);
    RC_ASSERT(row.word == facts.wanted.at(p));
    RC_ASSERT(tcam_.slots_of(p) == std::set<uint32_t>{slot});
  }
}

void followed_table::look_up(const table_facts &facts, tm_key_number address) const {
  const words::value_type *expected = longest_match(facts.wanted, address);
  zel_v6comp_table_row row = {};
  RC_ASSERT(zel_v6comp_table_lookup(table, key_bytes(address).bytes, &row) == (expected != nullptr ? 1 : 0));
  const std::optional<uint64_t> key = tcam_.answer(address);
  RC_ASSERT(key.has_value() == (expected != nullptr));
  if (expected != nullptr) {
    RC_ASSERT(text_of(prefix_of(row)) == text_of(expected->first));
    RC_ASSERT(row.word == expected->second);
    RC_ASSERT(row.key == *key);
  }
}

void followed_table::translate(const table_facts &facts, const std::vector<tm_key_number> &addresses) const {
  std::vector<uint8_t> bytes(16 * addresses.size() + 1);
  std::vector<uint64_t> keys(addresses.size() + 1, 77);
  std::vector<uint8_t> covered(addresses.size() + 1, 77);
  for (size_t i = 0; i < addresses.size(); ++i) {
    tm_key_store(&bytes[16 * i], addresses[i]);
  }
  RC_ASSERT(zel_v6comp_table_translate(table, bytes.data(), addresses.size(), keys.data(), covered.data()) == 0);
  RC_ASSERT(keys.back() == 77U);
  RC_ASSERT(covered.back() == 77U);
  const std::vector<zel_v6comp_table_row> all = rows();
  for (size_t i = 0; i < addresses.size(); ++i) {
    const bool is_covered = longest_match(facts.wanted, addresses[i]) != nullptr;
    RC_ASSERT(covered[i] == (is_covered ? 1 : 0));
    for (const zel_v6comp_table_row &row : all) {  // the rules that match the key are those that cover the address
      RC_ASSERT(begins_with(keys[i], row) == prefix_of(row).contains({addresses[i], TM_KEY_BITS}));
    }
  }
}

void followed_table::walk(const table_facts &facts, uint32_t most) {
  const std::vector<prefix> expected = next_rows(facts.wanted, facts.place, most);
  std::vector<zel_v6comp_table_row> some(most);
  const int32_t n = zel_v6comp_table_rows(table, &place, some.data(), most);
  RC_ASSERT(n == static_cast<int32_t>(expected.size()));
  for (size_t i = 0; i < expected.size(); ++i) {
    RC_ASSERT(text_of(prefix_of(some[i])) == text_of(expected[i]));
  }
}

void followed_table::walk_anew() { place = ZEL_V6COMP_TABLE_PLACE_INIT; }

void followed_table::stats(const table_facts &facts) const {
  zel_v6comp_table_stats_record figures = ZEL_V6COMP_TABLE_STATS_INIT;
  RC_ASSERT(zel_v6comp_table_stats(table, &figures) == ZEL_V6COMP_TABLE_OK);
  RC_ASSERT(figures.prefixes == facts.wanted.size());
  RC_ASSERT(figures.moves == moves_);
  RC_ASSERT(figures.changes == changes_);
  RC_ASSERT(!is_indexed_ || figures.indexed == 1U);
  uint32_t deepest = 0;
  for (const zel_v6comp_table_row &row : rows()) {
    deepest = std::max(deepest, uint32_t{row.code_length});
  }
  RC_ASSERT(figures.deepest_code >= deepest);
  RC_ASSERT(figures.bits_needed <= figures.deepest_code || facts.wanted.size() < 2);
  for (const zel_v6comp_table_pool &pool : figures.pools) {
    RC_ASSERT(pool.in_use <= pool.size);
  }
}

void followed_table::diff() {
  const std::vector<zel_v6comp_table_row> now = rows();
  table_model::two_stage_hardware other;
  zel_v6comp_table_outcome outcome = ZEL_V6COMP_TABLE_OUTCOME_INIT;
  RC_ASSERT(zel_v6comp_table_diff(nullptr, 0, dump_.data(), dump_.size(), &outcome) == ZEL_V6COMP_TABLE_OK);
  RC_ASSERT(other.follow({outcome.writes, outcome.n_writes}) == "");
  zel_v6comp_table_free_writes(outcome.writes);
  RC_ASSERT(other.difference(dump_) == "");
  RC_ASSERT(zel_v6comp_table_diff(dump_.data(), dump_.size(), now.data(), now.size(), &outcome) == ZEL_V6COMP_TABLE_OK);
  if (outcome.early == 0) {
    RC_ASSERT(other.follow({outcome.writes, outcome.n_writes}) == "");
  } else {
    other.follow_blindly({outcome.writes, outcome.n_writes});
  }
  zel_v6comp_table_free_writes(outcome.writes);
  RC_ASSERT(other.difference(now) == "");
  dump_ = now;
}

// ---- everything

std::vector<zel_v6comp_table_row> followed_table::rows() const {
  const auto all = all_rows(table, 7);
  RC_ASSERT(all.has_value());
  return *all;
}

void followed_table::check(const table_facts &facts) const {
  RC_ASSERT(is_open_ == facts.is_open);
  if (!is_open_) {
    return;
  }
  const std::vector<zel_v6comp_table_row> all = rows();
  RC_ASSERT(all.size() == facts.wanted.size());
  size_t i = 0;
  for (const auto &[p, word] : facts.wanted) {
    RC_ASSERT(text_of(prefix_of(all[i])) == text_of(p));
    RC_ASSERT(all[i].word == word);
    zel_v6comp_table_row found = {};
    RC_ASSERT(zel_v6comp_table_find(table, all[i].address, all[i].length, &found) == 1);
    RC_ASSERT(same_row(found, all[i]));
    ++i;
  }
  for (const zel_v6comp_table_row &outer : all) {
    for (const zel_v6comp_table_row &inner : all) {
      if (begins_with(inner.key, outer) != prefix_of(outer).contains(prefix_of(inner))) {
        RC_FAIL(text_of(prefix_of(outer)) + " and " + text_of(prefix_of(inner)) + ": code and key say something else");
      }
    }
  }
  RC_ASSERT(hardware_.difference(all) == "");
  RC_ASSERT(tcam_.difference(all) == "");
}

}  // namespace stateful_tables
