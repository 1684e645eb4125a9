// SPDX-License-Identifier: Apache-2.0
// followed_table.h - an open table with its hardware behind it: both stages, and slots of a TCAM. Every answer is
// compared with the facts; what differs fails the RapidCheck property that runs.
#ifndef FOLLOWED_TABLE_H
#define FOLLOWED_TABLE_H

#include "first_match_tcam.h"
#include "table_facts.h"

namespace stateful_tables {

std::vector<zel_v6comp_table_prefix> load_records(const std::vector<change> &changes);
std::vector<zel_v6comp_table_change> change_records(const std::vector<change> &changes);

class followed_table {
 public:
  explicit followed_table(int32_t instance) : instance_(instance) {}
  ~followed_table();
  followed_table(const followed_table &) = delete;
  followed_table &operator=(const followed_table &) = delete;

  void open(uint32_t move_limit);
  void close();

  // What a change wants may be refused for want of room or of moves. Then nothing has changed, and the table is loaded
  // from nothing, as a host would do it.
  void load(const table_facts &before, const table_facts &after, const std::vector<change> &all);
  void apply(const table_facts &before, const table_facts &after, const std::vector<change> &changes);
  void compact(const table_facts &facts);
  void index(const table_facts &facts);

  void find(const table_facts &facts, const prefix &p) const;
  void look_up(const table_facts &facts, tm_key_number address) const;
  void translate(const table_facts &facts, const std::vector<tm_key_number> &addresses) const;
  void walk(const table_facts &facts, uint32_t most);
  void walk_anew();
  void stats(const table_facts &facts) const;

  void may_lose_index() { is_indexed_ = false; }  // a change that was refused on its way may have dropped it

  // Plan from the rows of an earlier time to those of now, and keep those of now.
  void diff();

  // All rows, their words, what contains what, and what the hardware holds.
  void check(const table_facts &facts) const;

  std::vector<zel_v6comp_table_row> rows() const;
  int32_t instance() const { return instance_; }
  bool is_open() const { return is_open_; }
  size_t writes() const { return outcome_.n_writes; }  // of the last change

  // The handle; closed: what it was.
  zel_v6comp_table *table = nullptr;
  zel_v6comp_table_place place = ZEL_V6COMP_TABLE_PLACE_INIT;
  zel_v6comp_slots *slots = nullptr;

 private:
  void accept(const words &before, const words &after, const std::vector<zel_v6comp_table_row> &old_rows);
  void expect_counts(const change_counts &expected) const;
  void expect_moves(const std::vector<zel_v6comp_table_row> &old_rows) const;
  void refuse_for_want(int32_t status, const table_facts &before, const table_facts &after);
  void load_all(const words &before, const words &after);

  int32_t instance_;
  bool is_open_ = false;
  bool is_indexed_ = false;
  uint64_t moves_ = 0;
  uint64_t changes_ = 0;
  zel_v6comp_table_outcome outcome_ = ZEL_V6COMP_TABLE_OUTCOME_INIT;
  table_model::two_stage_hardware hardware_;
  table_model::first_match_tcam tcam_{0};
  std::vector<zel_v6comp_table_row> dump_;
};

struct two_tables {
  std::array<followed_table, 2> tables{followed_table(0), followed_table(1)};
};

}  // namespace stateful_tables

#endif
