// SPDX-License-Identifier: Apache-2.0
// switch_engine.h - a batch on its way: journal, tables, switch; and back, when one of them refuses it.
//
//   1 the batch goes to the journal, on disk           fails: nothing has changed
//   2 the library applies it                           refuses: out of the journal again
//   3 its writes go to the switch, step by step        refuses: steps taken back, out of the journal, tables replayed
//                                                      nobody answers: the batch stands, its writes are outstanding
//
// After a crash the journal is replayed: the library gives the same codes for the same history. The switch then is
// somewhere on the way of the last batch. It is read, the place is found, and the rest of the way is done.
#ifndef SWITCH_ENGINE_H
#define SWITCH_ENGINE_H

#include <cstdint>
#include <functional>
#include <string>

#include "batch_journal.h"
#include "switch_driver.h"
#include "table_pair.h"
#include "write_planner.h"

namespace v6agent {

enum class batch_status {
  done,
  journal_failed,      // nothing has changed
  library_refused,     // nothing has changed
  switch_refused,      // nothing has changed
  switch_unreachable,  // the batch stands; reconcile() goes on with it
};

struct batch_result {
  batch_status status = batch_status::done;
  std::string reason;        // in words, unless all is well
  int32_t refusal = 0;       // library_refused: the library's status
  size_t operation = 0;      // library_refused: which operation of the batch
  size_t record = SIZE_MAX;  // library_refused: which of its changes, SIZE_MAX when it is none alone
  size_t writes = 0;         // to the switch
  uint64_t moved = 0;        // prefixes that got another code
  uint64_t early = 0;        // removals before their time
};

struct reconcile_result {
  driver_status status = driver_status::done;
  std::string reason;      // in words, unless done
  size_t outstanding = 0;  // writes of the last batch that were still to do
  size_t foreign = 0;      // entries that differed otherwise, and were put right
  std::string taken_back;  // why the last batch was taken back: the switch refused the rest of it
};

struct engine_notes {
  std::function<void()> still_alive = [] {};  // between two pieces of long work
};

class switch_engine {
 public:
  switch_engine(table_pair &tables, batch_journal &journal, switch_driver &driver, engine_notes notes = {});

  // Replay the journal, then reconcile. Throws std::runtime_error when the journal cannot be replayed.
  reconcile_result recover();

  // A batch that is not yet in the switch whole must be reconciled first.
  batch_result run(const table_batch &batch);

  // Read the switch and write what differs.
  reconcile_result reconcile();

  // Ask the switch how many entries it has, where it is in step. Where it does not hold all of them it is not any more.
  void check();

  // Is the switch known to hold what it should?
  bool in_step() const { return in_step_; }

  // Give short codes back, and let a load take the place of the history. Done, with a reason: the tables are compacted,
  // but the history is kept.
  batch_result compact();

  // Is the history longer than twice the table, and long enough to matter?
  bool wants_compaction() const;

  const switch_image &image() const { return planner_.image(); }
  const packet_policy &policy() const { return planner_.policy(); }
  const table_pair &tables() const { return tables_; }
  const batch_journal &journal() const { return journal_; }

 private:
  int32_t perform(const table_operation &operation, switch_plan &plan, batch_result &result);
  bool perform_all(const table_batch &batch, switch_plan &plan, batch_result &result);
  void program(const switch_plan &plan, batch_result &result);
  void take_back(const switch_plan &plan, size_t done, batch_result &result);
  bool replay(switch_plan &last);
  void rebuild();
  driver_answer write(const switch_step &step);
  std::string forget_last_batch();
  reconcile_result go_on();
  bool read_settled(switch_image &found, reconcile_result &result);
  switch_plan rest_of_the_way(const switch_image &found, reconcile_result &result) const;
  void replace_history(batch_result &result);

  table_pair &tables_;
  batch_journal &journal_;
  switch_driver &driver_;
  engine_notes notes_;
  write_planner planner_;
  switch_plan way_;            // the switch is somewhere on it, unless in step
  bool way_is_batch_ = false;  // it is the last batch of the journal, not the way back from one
  bool in_step_ = false;
  bool batch_to_forget_ = false;  // a refused batch is still in the journal
};

}  // namespace v6agent

#endif
