// SPDX-License-Identifier: Apache-2.0
#include "refused_calls.h"

#include <rapidcheck.h>

#include <cstring>

namespace stateful_tables {

namespace {

constexpr uint8_t address[16] = {0x20, 0x01, 0x0d, 0xb8};

// Refused as a whole, with the record at fault named, and nothing to write.
void expect_refusal(const zel_v6comp_table_outcome &outcome, size_t record) {
  RC_ASSERT(outcome.status < 0);
  RC_ASSERT(outcome.record == record);
  RC_ASSERT(outcome.n_writes == 0U);
  RC_ASSERT(outcome.added + outcome.removed + outcome.present + outcome.absent == 0U);
  RC_ASSERT(std::strstr(outcome.reason, zel_v6comp_table_text(outcome.status)) != nullptr);
}

// A call that could be made, but for the record behind the first one.
template <class Record, class Call>
int32_t call_with_second(Call call, followed_table &t, std::vector<Record> records, const Record &bad) {
  records.push_back(bad);
  zel_v6comp_table_outcome outcome = ZEL_V6COMP_TABLE_OUTCOME_INIT;
  const int32_t status = call(t.table, records.data(), records.size(), &outcome);
  RC_ASSERT(status == outcome.status);
  expect_refusal(outcome, 1);
  return status;
}

int32_t apply_second(followed_table &t, const change &good, const zel_v6comp_table_change &bad) {
  return call_with_second(zel_v6comp_table_apply, t, change_records({good}), bad);
}

int32_t load_second(followed_table &t, const change &good, const zel_v6comp_table_prefix &bad) {
  return call_with_second(zel_v6comp_table_load, t, load_records({good}), bad);
}

zel_v6comp_table_change bad_change(uint8_t length, uint8_t operation, uint8_t last_byte) {
  zel_v6comp_table_change record = {};
  std::memcpy(record.address, address, sizeof address);
  record.address[15] = last_byte;
  record.length = length;
  record.operation = operation;
  return record;
}

zel_v6comp_table_prefix bad_prefix(uint8_t length, uint8_t last_byte) {
  zel_v6comp_table_prefix record = {};
  std::memcpy(record.address, address, sizeof address);
  record.address[15] = last_byte;
  record.length = length;
  return record;
}

// Each prefix inside the one before: no 64 bits hold so many levels.
int32_t apply_too_deep(followed_table &t, const change &good) {
  std::vector<change> chain = {good};
  for (unsigned length = 1; length <= TM_KEY_BITS; ++length) {
    chain.push_back({prefix{~tm_key_number{0}, TM_KEY_BITS}.cut(length), true, length});
  }
  const std::vector<zel_v6comp_table_change> records = change_records(chain);
  zel_v6comp_table_outcome outcome = ZEL_V6COMP_TABLE_OUTCOME_INIT;
  const int32_t status = zel_v6comp_table_apply(t.table, records.data(), records.size(), &outcome);
  expect_refusal(outcome, outcome.record);
  return status;
}

int32_t apply_of_wrong_size(followed_table &t, const change &good) {
  const std::vector<zel_v6comp_table_change> records = change_records({good});
  zel_v6comp_table_outcome outcome = ZEL_V6COMP_TABLE_OUTCOME_INIT;
  outcome.struct_size = sizeof outcome - 1;
  const int32_t status = zel_v6comp_table_apply(t.table, records.data(), 1, &outcome);
  RC_ASSERT(outcome.struct_size == sizeof outcome - 1);
  return status;
}

int32_t open_again(followed_table &t, int32_t processor, int32_t instance, size_t size) {
  zel_v6comp_table_options options = ZEL_V6COMP_TABLE_OPTIONS_INIT;
  options.struct_size = size;
  zel_v6comp_table *other = t.table;
  const int32_t status = zel_v6comp_table_open(processor, instance, &options, &other);
  const bool is_null = other == nullptr;
  RC_ASSERT(is_null);
  return status;
}

// A row that stands there twice is at fault no more than the other; one whose code is not the beginning of its key is.
int32_t diff_of(const std::vector<zel_v6comp_table_row> &rows, size_t at_fault) {
  zel_v6comp_table_outcome outcome = ZEL_V6COMP_TABLE_OUTCOME_INIT;
  const int32_t status = zel_v6comp_table_diff(nullptr, 0, rows.data(), rows.size(), &outcome);
  expect_refusal(outcome, at_fault);
  zel_v6comp_table_free_writes(outcome.writes);
  return status;
}

zel_v6comp_table_row some_row() {
  zel_v6comp_table_row row = {};
  std::memcpy(row.address, address, sizeof address);
  row.length = 32;
  row.code = row.key = uint64_t{5} << 60;
  row.code_length = 4;
  return row;
}

// A write of another table: its prefix is in none of the slots.
int32_t follow_foreign(followed_table &t, const change &) {
  zel_v6comp_table_write foreign = {};
  foreign.address[0] = 0xfe;
  foreign.length = 77;
  foreign.kind = ZEL_V6COMP_TABLE_CHANGE_KEY;
  zel_v6comp_slot_steps steps = ZEL_V6COMP_SLOT_STEPS_INIT;
  const int32_t status = zel_v6comp_slots_follow(t.slots, &foreign, 1, &steps);
  RC_ASSERT(steps.n == 0U);
  return status;
}

int32_t walk_from(followed_table &t, uint8_t length, uint32_t n) {
  zel_v6comp_table_place place = ZEL_V6COMP_TABLE_PLACE_INIT;
  place.begun = 1;
  place.length = length;
  zel_v6comp_table_row row = {};
  const int32_t status = zel_v6comp_table_rows(t.table, &place, &row, n);
  RC_ASSERT(place.length == length);
  return status;
}

int32_t find_with(const followed_table &t, const uint8_t *at, uint32_t length) {
  zel_v6comp_table_row row = {};
  row.word = 99;
  const int32_t status = zel_v6comp_table_find(t.table, at, length, &row);
  RC_ASSERT(row.word == 99U);
  return status;
}

int32_t stats_of_size(followed_table &t, size_t size) {
  zel_v6comp_table_stats_record figures = ZEL_V6COMP_TABLE_STATS_INIT;
  figures.struct_size = size;
  return zel_v6comp_table_stats(t.table, &figures);
}

using table = followed_table;

std::vector<refused_call> calls_that_change() {
  return {
      {"apply of null",
       {ZEL_V6COMP_TABLE_E_NULL},
       [](table &t, const change &) { return zel_v6comp_table_apply(t.table, nullptr, 1, nullptr); }},
      {"apply to null",
       {ZEL_V6COMP_TABLE_E_NULL},
       [](table &, const change &) { return zel_v6comp_table_apply(nullptr, nullptr, 0, nullptr); }},
      {"apply of too many",
       {ZEL_V6COMP_TABLE_E_COUNT},
       [](table &t, const change &good) {
         const auto records = change_records({good});
         return zel_v6comp_table_apply(t.table, records.data(), ZEL_V6COMP_TABLE_MAX_RECORDS + size_t{1}, nullptr);
       }},
      {"apply with another outcome", {ZEL_V6COMP_TABLE_E_SIZE}, apply_of_wrong_size},
      {"apply of /129",
       {ZEL_V6COMP_TABLE_E_LENGTH},
       [](table &t, const change &good) { return apply_second(t, good, bad_change(129, ZEL_V6COMP_TABLE_ADD, 0)); }},
      {"removal of /129",
       {ZEL_V6COMP_TABLE_E_LENGTH},
       [](table &t, const change &good) { return apply_second(t, good, bad_change(129, ZEL_V6COMP_TABLE_REMOVE, 0)); }},
      {"apply of host bits",
       {ZEL_V6COMP_TABLE_E_HOST_BITS},
       [](table &t, const change &good) { return apply_second(t, good, bad_change(127, ZEL_V6COMP_TABLE_ADD, 1)); }},
      {"apply of an unknown operation",
       {ZEL_V6COMP_TABLE_E_OPERATION},
       [](table &t, const change &good) { return apply_second(t, good, bad_change(32, 2, 0)); }},
      {"apply of too many levels",
       {ZEL_V6COMP_TABLE_E_BITS, ZEL_V6COMP_TABLE_E_ROOM, ZEL_V6COMP_TABLE_E_MOVES},
       apply_too_deep},
      {"load of null",
       {ZEL_V6COMP_TABLE_E_NULL},
       [](table &t, const change &) { return zel_v6comp_table_load(t.table, nullptr, 1, nullptr); }},
      {"load of /255",
       {ZEL_V6COMP_TABLE_E_LENGTH},
       [](table &t, const change &good) { return load_second(t, good, bad_prefix(255, 0)); }},
      {"load of host bits",
       {ZEL_V6COMP_TABLE_E_HOST_BITS},
       [](table &t, const change &good) { return load_second(t, good, bad_prefix(64, 1)); }},
      {"compact of null",
       {ZEL_V6COMP_TABLE_E_NULL},
       [](table &, const change &) { return zel_v6comp_table_compact(nullptr, nullptr); }},
      {"index of null",
       {ZEL_V6COMP_TABLE_E_NULL},
       [](table &, const change &) { return zel_v6comp_table_index(nullptr); }},
      {"open where a table is",
       {ZEL_V6COMP_TABLE_E_TAKEN},
       [](table &t, const change &) { return open_again(t, 3, t.instance(), sizeof(zel_v6comp_table_options)); }},
      {"open outside the grid",
       {ZEL_V6COMP_TABLE_E_GRID},
       [](table &t, const change &) { return open_again(t, 3, 2, sizeof(zel_v6comp_table_options)); }},
      {"open with other options",
       {ZEL_V6COMP_TABLE_E_SIZE},
       [](table &t, const change &) { return open_again(t, 3, t.instance(), 8); }},
  };
}

std::vector<refused_call> calls_that_ask() {
  return {
      {"find of null", {ZEL_V6COMP_TABLE_E_NULL}, [](table &t, const change &) { return find_with(t, nullptr, 32); }},
      {"find of /129",
       {ZEL_V6COMP_TABLE_E_LENGTH},
       [](table &t, const change &) { return find_with(t, address, 129); }},
      {"find of host bits",
       {ZEL_V6COMP_TABLE_E_HOST_BITS},
       [](table &t, const change &) { return find_with(t, address, 28); }},
      {"lookup into null",
       {ZEL_V6COMP_TABLE_E_NULL},
       [](table &t, const change &) { return zel_v6comp_table_lookup(t.table, address, nullptr); }},
      {"walk from null",
       {ZEL_V6COMP_TABLE_E_NULL},
       [](table &t, const change &) {
         zel_v6comp_table_row row = {};
         return zel_v6comp_table_rows(t.table, nullptr, &row, 1);
       }},
      {"walk of no rows", {ZEL_V6COMP_TABLE_E_COUNT}, [](table &t, const change &) { return walk_from(t, 128, 0); }},
      {"walk behind a /129",
       {ZEL_V6COMP_TABLE_E_LENGTH},
       [](table &t, const change &) { return walk_from(t, 129, 1); }},
      {"translate of null",
       {ZEL_V6COMP_TABLE_E_NULL},
       [](table &t, const change &) {
         uint64_t key = 0;
         return zel_v6comp_table_translate(t.table, nullptr, 1, &key, nullptr);
       }},
      {"stats into null",
       {ZEL_V6COMP_TABLE_E_NULL},
       [](table &t, const change &) { return zel_v6comp_table_stats(t.table, nullptr); }},
      {"stats of another size",
       {ZEL_V6COMP_TABLE_E_SIZE},
       [](table &t, const change &) { return stats_of_size(t, 16); }},
      {"diff of a row that is there twice",
       {ZEL_V6COMP_TABLE_E_ROW},
       [](table &, const change &) {
         return diff_of({some_row(), some_row()}, SIZE_MAX);
       }},
      {"diff of a row that contradicts itself",
       {ZEL_V6COMP_TABLE_E_ROW},
       [](table &, const change &) {
         zel_v6comp_table_row row = some_row();
         row.key = ~row.key;
         return diff_of({row}, 0);
       }},
      {"slots for a foreign row", {ZEL_V6COMP_TABLE_E_OPERATION}, follow_foreign},
  };
}

}  // namespace

const std::vector<refused_call> &refused_calls() {
  static const std::vector<refused_call> all = [] {
    std::vector<refused_call> both = calls_that_change();
    const std::vector<refused_call> ask = calls_that_ask();
    both.insert(both.end(), ask.begin(), ask.end());
    return both;
  }();
  return all;
}

void call_closed(zel_v6comp_table *closed) {
  constexpr int32_t no = ZEL_V6COMP_TABLE_E_NO_TABLE;
  zel_v6comp_table_row row = {};
  zel_v6comp_table_place place = ZEL_V6COMP_TABLE_PLACE_INIT;
  zel_v6comp_table_stats_record figures = ZEL_V6COMP_TABLE_STATS_INIT;
  uint64_t key = 0;
  RC_ASSERT(zel_v6comp_table_close(closed) == no);
  RC_ASSERT(zel_v6comp_table_load(closed, nullptr, 0, nullptr) == no);
  RC_ASSERT(zel_v6comp_table_apply(closed, nullptr, 0, nullptr) == no);
  RC_ASSERT(zel_v6comp_table_compact(closed, nullptr) == no);
  RC_ASSERT(zel_v6comp_table_index(closed) == no);
  RC_ASSERT(zel_v6comp_table_find(closed, address, 32, &row) == no);
  RC_ASSERT(zel_v6comp_table_lookup(closed, address, &row) == no);
  RC_ASSERT(zel_v6comp_table_rows(closed, &place, &row, 1) == no);
  RC_ASSERT(zel_v6comp_table_translate(closed, address, 1, &key, nullptr) == no);
  RC_ASSERT(zel_v6comp_table_stats(closed, &figures) == no);
}

}  // namespace stateful_tables
