// SPDX-License-Identifier: Apache-2.0
// live_table.h - a table in the library that is kept up to date by batches.
//
// It knows the table as its owner wants it, sends batches to the library by a policy, and when one is refused says
// why, and compresses anew or leaves it out.
#ifndef LIVE_TABLE_H
#define LIVE_TABLE_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "batch_policy.h"
#include "batch_watch.h"
#include "history_reader.h"
#include "library_instance.h"
#include "stored_counts.h"
#include "table_reader.h"

namespace v6tool {

enum class refusal_action : uint8_t { recompress, stop, skip };

struct live_options {
  common_options common;
  const batch_policy *policy = nullptr;  // null: the default one of the mode
  refusal_action on_refusal = refusal_action::recompress;
  bool as_written = false;             // no safe updates
  std::optional<uint32_t> move_limit;  // stored prefixes that a batch may move
};

// Why a request was refused, and what had run out.
struct refusal {
  uint32_t status = 0;
  std::string kind;    // "no_room", "new_level", "too_much_deleted", "pools", "inconsistent", "too_many_bits",
                       // "move_limit"
  std::string reason;  // in words
  std::optional<ip_prefix> prefix;
  bool is_anchor = false;
  std::string case_of_prefix;
  ip_prefix enclosing;
  std::optional<uint64_t> enclosing_bits;  // length of its compressed prefix; unknown when the batch itself added it
  uint64_t siblings = 0;                   // prefixes next inside the enclosing one
};

// A delete that leaves its prefix in the table, because it takes less than the prefix's weight.
struct held_delete {
  ip_prefix prefix;
  uint32_t line = 0;  // of the history
  uint64_t taken = 0, weight = 0;
};

struct batch_report {
  uint64_t adds = 0, deletes = 0;    // as the batch says
  uint64_t present = 0, absent = 0;  // of those: additions of what is there, deletes of what is not
  std::vector<held_delete> held;     // of the deletes of an accepted batch
  uint64_t requests = 0;
  uint64_t moved = 0;            // stored prefixes that accepted requests moved out of the way, in room mode
  uint64_t refused_changes = 0;  // left out
  uint64_t changed = 0;          // prefixes in the table before and after whose compressed form is another
  bool recompressed = false;
  std::optional<refusal> refused;  // the last one
  uint64_t refusals = 0;           // of requests, second tries included
  case_counts cases = {};          // of accepted records
  double ms = 0;                   // inside the library
};

class live_table {
 public:
  // Starts the library and compresses the table. Pools are large enough for all that the history adds.
  live_table(const prefix_table &table, const update_history &history, const live_options &options);

  batch_report apply(const history_batch &batch);

  prefix_table table() const;  // what the library should hold
  size_t size() const { return owned_.size(); }
  const library_instance &instance() const { return *instance_; }
  double compress_ms() const { return compress_ms_; }
  const char *policy_name() const { return options_.common.room ? "room" : options_.policy->name; }

 private:
  using forms = std::vector<std::pair<ip_prefix, std::optional<translation>>>;  // sorted by prefix

  void limit_moves(bool in_batches) const;
  std::string kind_of(uint32_t status, bool no_path) const;
  std::string words_of(const refusal &r) const;
  bool send(const request_rows_list &requests, batch_report &report);
  bool send_request(const std::vector<request_row> &rows, batch_report &report);
  void take_over(const std::vector<request_row> &rows, batch_report &report);
  std::vector<working_record> working_list(const std::vector<request_row> &rows) const;
  refusal explain(uint32_t status, const std::vector<request_row> &rows, const watched_batch &seen) const;
  std::string explain_excess(const std::vector<request_row> &rows) const;
  void drop_anchors(const request_rows_list &requests, batch_report &report);
  void recompress(batch_report &report);
  double compress();
  forms current_forms() const;

  live_options options_;
  std::map<ip_prefix, uint64_t> owned_;  // weight by prefix
  stored_counts counts_;
  std::optional<library_instance> instance_;
  forms forms_;
  double compress_ms_ = 0;
};

}  // namespace v6tool

#endif
