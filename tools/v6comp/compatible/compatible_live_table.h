// SPDX-License-Identifier: Apache-2.0
// compatible_live_table.h - a live table in compatible mode: batches are sent in requests, as a policy says.
#ifndef COMPATIBLE_LIVE_TABLE_H
#define COMPATIBLE_LIVE_TABLE_H

#include <string>
#include <utility>
#include <vector>

#include "batch_policy.h"
#include "batch_watch.h"
#include "compatible_instance.h"
#include "live_table.h"

namespace v6tool {

class compatible_live_table : public live_table {
 public:
  compatible_live_table(const prefix_table &table, const update_history &history, const live_options &options);

  batch_report apply(const history_batch &batch) override;
  const engine_view &view() const override { return instance_->view(); }
  std::string counterexample() const override;
  table_rows rows() const override;
  table_writes take_writes() override;

 private:
  using forms = std::vector<std::pair<ip_prefix, std::optional<translation>>>;  // sorted by prefix

  bool send(const request_rows_list &requests, batch_report &report);
  bool send_request(const std::vector<request_row> &rows, batch_report &report);
  void take_over(const std::vector<request_row> &rows, batch_report &report);
  std::vector<working_record> working_list(const std::vector<request_row> &rows) const;
  void drop_anchors(const request_rows_list &requests, batch_report &report);
  void recompress(batch_report &report);
  double compress();
  forms current_forms() const;
  refusal explain(uint32_t status, const std::vector<request_row> &rows, const watched_batch &seen) const;
  void explain_place(const std::vector<request_row> &rows, const watched_batch &seen, refusal &r) const;

  live_options options_;
  const batch_policy *policy_;
  stored_counts counts_;
  std::optional<compatible_instance> instance_;  // once the library runs
  forms forms_;
  table_rows planned_;  // the rows that the writes have led to
};

}  // namespace v6tool

#endif
