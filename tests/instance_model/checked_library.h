// SPDX-License-Identifier: Apache-2.0
// checked_library.h - the library beside a simple model of it, compared after every step.
//
// The model of an instance is a map of prefixes to counters and one of prefixes to handles. Every step returns "" or
// what is wrong. What is promised depends on the instance's past: after a batch with safe updates off, codes may
// cover too much and the model takes the stored set over as it finds it; the structures must be sound all the same.
#ifndef CHECKED_LIBRARY_H
#define CHECKED_LIBRARY_H

#include <map>
#include <string>
#include <vector>

#include "counter_model.h"
#include "instance_image.h"

namespace instance_model {

class checked_library {
 public:
  // Starts the library anew, or with `fresh` false resets the instances of the running one.
  explicit checked_library(uint64_t pool_elements = 32768, bool fresh = true);

  // thorough: compare structures and codes after every step, not only what the step returns.
  void set_thorough(bool on) { thorough_ = on; }
  void set_safe(bool on);
  bool safe() const { return safe_; }

  std::string request(place at, const std::vector<change> &changes, answer *out = nullptr);
  std::string reset(place at);
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
  std::string after_batch_run(place at, const std::vector<change> &changes, uint32_t status, const std::string &before);
  std::string check(place at);
  codes what_must_stay() const;

  std::map<place, table> tables_;
  bool thorough_ = true;
  bool safe_ = false;
  bool memory_may_fail_ = false;
  bool paths_left_ =
      false;  // by a failed addition in compatible mode: the next request gives them back, itself refused or not
};

}  // namespace instance_model

#endif
