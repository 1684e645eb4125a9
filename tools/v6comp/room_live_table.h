// SPDX-License-Identifier: Apache-2.0
// room_live_table.h - a live table in room mode: a table of the library, a batch is one change.
#ifndef ROOM_LIVE_TABLE_H
#define ROOM_LIVE_TABLE_H

#include <string>
#include <vector>

#include "live_table.h"
#include "room_table.h"

namespace v6tool {

class room_live_table : public live_table {
 public:
  room_live_table(const prefix_table &table, const update_history &history, const live_options &options);

  batch_report apply(const history_batch &batch) override;
  const engine_view &view() const override { return view_; }
  std::string counterexample() const override;

  table_rows rows() const override;
  table_writes take_writes() override;

  const room_table &library_table() const { return table_; }

 private:
  bool change(const std::vector<table_change> &changes, batch_report &report);
  bool compact(batch_report &report);
  void keep_writes(const table_outcome &outcome);
  void take_over(const table_outcome &outcome, batch_report &report);
  refusal explain(const table_outcome &outcome, const std::vector<table_change> &changes) const;

  live_options options_;
  room_table table_;
  engine_view view_;
  table_writes writes_;
};

}  // namespace v6tool

#endif
