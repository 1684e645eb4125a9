// SPDX-License-Identifier: Apache-2.0
// A table and calls on it from bytes, beside a plain map of what it should hold, both stages of hardware and a
// first-match TCAM that follow every write: accepted changes are right after each one, refused ones change nothing, and
// answers are those of the map, with the read index and without. The first byte says whether memory may be refused.
#include <map>

#include "first_match_tcam.h"
#include "fuzz_target.h"
#include "test_host.h"
#include "two_stage_hardware.h"
#include "zel_v6comp_plan.h"

using fuzz_target::expect;
using fuzz_target::expect_none;
using table_model::prefix;

namespace {

constexpr uint32_t n_slots = 2048;

class session {
 public:
  explicit session(fuzz_target::byte_source &bytes)
      : bytes_(bytes), reader_(bytes), tcam_(n_slots), refuses_memory_(bytes.below(4) == 3) {
    expect(zel_v6comp_table_open(1, 0, nullptr, &table_) == ZEL_V6COMP_TABLE_OK, "no table opens");
    expect(zel_v6comp_slots_open(n_slots, &slots_) == ZEL_V6COMP_TABLE_OK, "no slots open");
  }
  ~session() {
    zel_v6comp_slots_close(slots_);
    expect(zel_v6comp_table_close(table_) == ZEL_V6COMP_TABLE_OK, "the table does not close");
  }
  session(const session &) = delete;
  session &operator=(const session &) = delete;

  void step() {
    const uint32_t choice = bytes_.below(16);
    if (choice == 0) {
      load();
    } else if (choice == 1) {
      take(with_refusal([&] { return zel_v6comp_table_compact(table_, &outcome_); }), wanted_);
    } else if (choice == 2) {
      with_refusal([&] { return zel_v6comp_table_index(table_); });
    } else if (choice < 5) {
      look_up(next_prefix());
    } else {
      apply();
    }
  }

  void check_rows() const {
    std::vector<zel_v6comp_table_row> rows;
    zel_v6comp_table_place place = ZEL_V6COMP_TABLE_PLACE_INIT;
    zel_v6comp_table_row row;
    while (zel_v6comp_table_rows(table_, &place, &row, 1) == 1) {
      const auto found = wanted_.find(table_model::prefix_of(row));
      expect(found != wanted_.end() && found->second == row.word, "a row that nobody wants, or another word");
      rows.push_back(row);
    }
    expect(rows.size() == wanted_.size(), "rows are missing");
    expect_none(hardware_.difference(rows));
    expect_none(tcam_.difference(rows));
  }

 private:
  using words = std::map<prefix, uint32_t>;

  prefix next_prefix() {
    const v6tool::ip_prefix p = reader_.next_prefix(bytes_.below(4) == 0);
    return prefix{tm_key_number{p.key.hi} << 64 | p.key.lo, 128}.cut(p.length);
  }

  template <class Call>
  int32_t with_refusal(Call call) {
    outcome_ = ZEL_V6COMP_TABLE_OUTCOME_INIT;
    if (refuses_memory_ && bytes_.below(2) == 0) {
      test_host::fail_heap_allocation(bytes_.below(40));
    }
    const int32_t status = call();
    test_host::fail_heap_allocation(0);
    const bool is_answer = status == ZEL_V6COMP_TABLE_OK || status == ZEL_V6COMP_TABLE_E_BITS ||
                           status == ZEL_V6COMP_TABLE_E_ROOM || status == ZEL_V6COMP_TABLE_E_POOLS ||
                           status == ZEL_V6COMP_TABLE_E_MEMORY;
    expect(is_answer, zel_v6comp_table_text(status));
    return status;
  }

  void take(int32_t status, const words &wanted) {
    if (status == ZEL_V6COMP_TABLE_OK) {
      wanted_ = wanted;
      follow();
    }
    check_rows();
  }

  void follow() {
    const std::span<const zel_v6comp_table_write> writes(outcome_.writes, outcome_.n_writes);
    if (outcome_.early == 0) {
      expect_none(hardware_.follow(writes));
    } else {
      hardware_.follow_blindly(writes);
    }
    zel_v6comp_slot_steps steps = ZEL_V6COMP_SLOT_STEPS_INIT;
    expect(zel_v6comp_slots_follow(slots_, writes.data(), writes.size(), &steps) == ZEL_V6COMP_TABLE_OK,
           "the slots do not follow");
    expect_none(tcam_.follow({steps.list, steps.n}));
  }

  void load() {
    words wanted;
    std::vector<zel_v6comp_table_prefix> records(bytes_.below(24));
    for (zel_v6comp_table_prefix &record : records) {
      const prefix p = next_prefix();
      tm_key_store(record.address, p.address);
      record.length = static_cast<uint8_t>(p.length);
      record.word = bytes_.next();
      wanted[p] = record.word;
    }
    take(with_refusal([&] { return zel_v6comp_table_load(table_, records.data(), records.size(), &outcome_); }),
         wanted);
  }

  void apply() {
    words wanted = wanted_;
    std::vector<zel_v6comp_table_change> records(1 + bytes_.below(12));
    for (zel_v6comp_table_change &record : records) {
      const prefix p = next_prefix();
      tm_key_store(record.address, p.address);
      record.length = static_cast<uint8_t>(p.length);
      record.operation = bytes_.below(3) != 0 ? ZEL_V6COMP_TABLE_ADD : ZEL_V6COMP_TABLE_REMOVE;
      record.word = bytes_.next();
      if (record.operation == ZEL_V6COMP_TABLE_ADD) {
        wanted[p] = record.word;
      } else {
        wanted.erase(p);
      }
    }
    take(with_refusal([&] { return zel_v6comp_table_apply(table_, records.data(), records.size(), &outcome_); }),
         wanted);
  }

  void look_up(const prefix &p) const {
    const words::value_type *expected = nullptr;
    for (unsigned length = 129; length-- > 0 && expected == nullptr;) {
      const auto found = wanted_.find(prefix{p.address, 128}.cut(length));
      expected = found == wanted_.end() ? nullptr : &*found;
    }
    uint8_t address[16];
    tm_key_store(address, p.address);
    zel_v6comp_table_row row = {};
    uint64_t key = 0;
    uint8_t covered = 2;
    const int32_t found = zel_v6comp_table_lookup(table_, address, &row);
    expect(found == (expected != nullptr ? 1 : 0), "a lookup finds a row too many, or none");
    expect(zel_v6comp_table_translate(table_, address, 1, &key, &covered) == 0 && covered == found, "no translation");
    if (found == 1) {
      expect(table_model::prefix_of(row) == expected->first && row.word == expected->second && row.key == key,
             "a lookup finds another row");
    }
    expect(zel_v6comp_table_find(table_, address, p.length, &row) == (wanted_.contains(p) ? 1 : 0), "find is wrong");
  }

  fuzz_target::byte_source &bytes_;
  instance_model::change_reader reader_;
  words wanted_;
  table_model::two_stage_hardware hardware_;
  table_model::first_match_tcam tcam_;
  zel_v6comp_table *table_ = nullptr;
  zel_v6comp_slots *slots_ = nullptr;
  zel_v6comp_table_outcome outcome_ = ZEL_V6COMP_TABLE_OUTCOME_INIT;
  bool refuses_memory_;
};

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz_target::byte_source bytes(data, size);
  session one(bytes);
  for (unsigned steps = 0; steps < 200 && !bytes.empty(); ++steps) {
    one.step();
  }
  one.check_rows();
  return 0;
}
