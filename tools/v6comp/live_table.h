// SPDX-License-Identifier: Apache-2.0
// live_table.h - a table in the library that is kept up to date by batches.
//
// It knows the table as its owner wants it, gives batches to the library, and when one is refused says why, and
// compresses anew or leaves it out. There is one for each mode: room_live_table.cpp stands on a table of the library,
// compatible/compatible_live_table.cpp sends requests.
#ifndef LIVE_TABLE_H
#define LIVE_TABLE_H

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "engine_view.h"
#include "history_reader.h"
#include "stored_counts.h"
#include "table_reader.h"
#include "tool_options.h"
#include "weighted_table.h"
#include "zel_v6comp_table.h"

namespace v6tool {

struct batch_policy;

enum class refusal_action : uint8_t { recompress, stop, skip };

struct live_options {
  common_options common;
  const batch_policy *policy = nullptr;  // of compatible mode; null: its default one
  refusal_action on_refusal = refusal_action::recompress;
  bool safe_updates = true;            // of compatible mode
  std::optional<uint32_t> move_limit;  // of room mode: stored prefixes that a batch may move
  bool keep_writes = false;            // for live_table::take_writes
};

using table_writes = std::vector<zel_v6comp_table_write>;
using table_rows = std::vector<zel_v6comp_table_row>;

// Why a batch was refused, and what had run out.
struct refusal {
  std::string kind;    // "no_room", "new_level", "too_much_deleted", "pools", "inconsistent", "too_many_bits",
                       // "move_limit"
  std::string reason;  // in words
  std::optional<ip_prefix> prefix;

  // Of compatible mode.
  bool is_anchor = false;
  std::string case_of_prefix;
  ip_prefix enclosing;
  std::optional<uint64_t> enclosing_bits;  // length of its compressed prefix; unknown when the batch itself added it
  uint64_t siblings = 0;                   // prefixes next inside the enclosing one
};

struct batch_report : change_counts {
  std::vector<held_delete> held;  // of the deletes of an accepted batch
  uint64_t requests = 0;
  uint64_t moved = 0;            // stored prefixes that gave way to others, in room mode
  uint64_t refused_changes = 0;  // left out
  uint64_t changed = 0;          // prefixes in the table before and after whose compressed form is another
  bool recompressed = false;
  std::optional<refusal> refused;  // the last one
  uint64_t refusals = 0;           // of requests, second tries included
  case_counts cases = {};          // of accepted records, in compatible mode
  double ms = 0;                   // inside the library
};

class live_table {
 public:
  virtual ~live_table() = default;

  virtual batch_report apply(const history_batch &batch) = 0;

  // What the engine holds.
  virtual const engine_view &view() const = 0;

  // The first difference between what the library holds and what it should, in words; "": none.
  virtual std::string counterexample() const = 0;

  // What the hardware is to hold; throws when the library does not have the rows of the table.
  virtual table_rows rows() const = 0;

  // The writes for both stages since the last call; the first time, into empty hardware.
  virtual table_writes take_writes() = 0;

  const weighted_table &owned() const { return owned_; }
  double compress_ms() const { return compress_ms_; }

 protected:
  explicit live_table(const prefix_table &table) : owned_(table) {}

  weighted_table owned_;
  double compress_ms_ = 0;
};

// Starts the library and compresses the table. Pools are large enough for all that the history adds.
std::unique_ptr<live_table> open_live_table(const prefix_table &table, const update_history &history,
                                            const live_options &options);

// "room", or the policy of compatible mode.
std::string policy_name(const live_options &options);

}  // namespace v6tool

#endif
