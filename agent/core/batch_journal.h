// SPDX-License-Identifier: Apache-2.0
// batch_journal.h - what was done to the tables since they were last loaded, on disk: replaying it gives the same
// codes.
//
// SQLite in WAL mode with synchronous full: a batch is one transaction, and is on disk when append returns. The file is
// this process's alone while it is open.
#ifndef BATCH_JOURNAL_H
#define BATCH_JOURNAL_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "packet_policy.h"
#include "switch_entries.h"
#include "zel_v6comp_table.h"

struct sqlite3;

namespace v6agent {

enum class operation_kind : uint8_t { apply = 1, load = 2, compact = 3, policy = 4 };

// One thing that is done: changes of a table, a table loaded anew (all changes add), a table compacted, other rules.
struct table_operation {
  operation_kind kind = operation_kind::apply;
  side table = side::source;
  std::vector<zel_v6comp_table_change> changes;  // apply, load
  packet_policy policy;                          // policy
};

using table_batch = std::vector<table_operation>;

class batch_journal {
 public:
  // Opens the journal at `path`, or makes an empty one. Throws std::runtime_error.
  explicit batch_journal(const std::string &path);
  ~batch_journal();
  batch_journal(const batch_journal &) = delete;
  batch_journal &operator=(const batch_journal &) = delete;

  // Put a batch at the end. Returns what went wrong in words, "" when it is on disk.
  std::string append(const table_batch &batch);

  // Take the last batch away. The same answer.
  std::string remove_last();

  // Let one batch take the place of all others. The same answer.
  std::string replace_all(const table_batch &batch);

  // Call `visit` with every batch, oldest first, and whether it is the last one. Throws std::runtime_error when the
  // file is damaged.
  void visit(const std::function<void(const table_batch &batch, bool is_last)> &visit) const;

  // Changes in the journal since the tables were loaded, loads left out.
  uint64_t changes_since_load() const { return changes_since_load_; }
  uint64_t batches() const { return batches_; }

 private:
  void set_up();
  std::string run(const char *text);
  template <class Work>
  std::string in_transaction(Work work);
  std::string insert(const table_batch &batch, int64_t number);
  void count();

  sqlite3 *database_ = nullptr;
  int64_t last_ = 0;  // number of the last batch
  uint64_t changes_since_load_ = 0;
  uint64_t batches_ = 0;
};

}  // namespace v6agent

#endif
