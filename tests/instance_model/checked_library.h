// SPDX-License-Identifier: Apache-2.0
// checked_library.h - the library beside a simple model of it, compared after every step.
//
// The model of an instance is a map of prefixes to counters and one of prefixes to handles. Every step returns "" or
// what is wrong. What is promised depends on the instance's past: after a batch with safe updates off, codes may
// cover too much and the model takes the stored set over as it finds it; the structures must be sound all the same. In
// room mode a table that was never changed so is refused exactly for what it is to be refused for, and every entry that
// a request does not name is where it was or where the moves say.
#ifndef CHECKED_LIBRARY_H
#define CHECKED_LIBRARY_H

#include <map>
#include <set>
#include <string>
#include <vector>

#include "counter_model.h"
#include "instance_image.h"
#include "told_moves.h"

namespace instance_model {

class checked_library {
 public:
  // Starts the library anew, or with `fresh` false resets the instances of the running one.
  explicit checked_library(uint64_t pool_elements = 32768, bool fresh = true);

  // thorough: compare structures and codes after every step, not only what the step returns.
  void set_thorough(bool on) { thorough_ = on; }
  void set_mode(update_mode mode);
  void set_safe(bool on) { set_mode(on ? update_mode::safe : update_mode::compatible); }
  void set_move_limit(uint32_t entries);

  std::string request(place at, const std::vector<change> &changes, answer *out = nullptr);
  std::string reset(place at);
  std::string recompress(place at);
  // Answers of the read index are compared with the tries' own.
  std::string lookup(place at, const v6tool::ip_prefix &prefix);
  std::string lookup_address(place at, v6tool::ip_key address);
  // As many lookups of what is stored as it takes to have a read index, and once more all of it.
  std::string many_lookups(place at);
  std::string attach(place at, const v6tool::ip_prefix &prefix, uint32_t handle);
  std::string query(place at, const v6tool::ip_prefix &prefix);
  std::string dump(place at);
  std::string refusals(place at);  // requests that must be turned away leave everything alone

  // Everything about one instance, and the memory of all.
  std::string full_check(place at);
  std::string memory_check() { return lost_memory(); }

  const stored_set &set_of(place at) { return tables_[at].set; }
  bool compressed(place at) { return tables_[at].compressed; }

  // A refusal of memory is under way: statuses that only it explains are expected.
  void expect_refusals(bool on) { memory_may_fail_ = on; }

 private:
  struct table {
    bool compressed = false;
    bool exact = true;    // only changed with safe updates on
    bool counted = true;  // no batch failed in compatible mode
    stored_set set;
    std::map<v6tool::ip_prefix, uint32_t> handles;
  };

  std::string after_full_run(place at, const std::vector<change> &changes, uint32_t status);
  // What a batch found, in as much detail as is compared.
  struct remembered {
    std::string fingerprint;
    told_moves::form_map forms;
    std::vector<zel_v6comp_move> moves;
  };

  remembered remember(place at) const;
  bool may_refuse_table(const stored_set &set, uint32_t status) const;
  std::string after_batch_run(place at, const std::vector<change> &changes, uint32_t status, const remembered &before);
  std::string after_exact_batch(place at, const std::vector<change> &changes, uint32_t status,
                                const remembered &before);
  bool may_answer(place at, uint32_t status) const;
  std::string check_left_alone(place at, const remembered &before) const;
  std::string check_moves(place at, const remembered &before, const std::set<v6tool::ip_prefix> &deleted) const;
  bool can_dump(const table &t) const { return t.compressed && t.exact && t.counted; }
  std::string check(place at);
  codes what_must_stay() const;

  std::map<place, table> tables_;
  bool thorough_ = true;
  update_mode mode_ = update_mode::compatible;
  uint32_t move_limit_ = UINT32_MAX;
  bool memory_may_fail_ = false;
  bool paths_left_ =
      false;  // by a failed addition in compatible mode: the next request gives them back, itself refused or not
};

}  // namespace instance_model

#endif
