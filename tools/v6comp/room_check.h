// SPDX-License-Identifier: Apache-2.0
// room_check.h - does a table of the library answer as it should? Decided without the library's help.
#ifndef ROOM_CHECK_H
#define ROOM_CHECK_H

#include <string>
#include <vector>

#include "prefix_forest.h"
#include "room_table.h"
#include "stored_prefixes.h"

namespace v6tool {

class room_check {
 public:
  // Both arguments outlive the check, and the table does not change meanwhile.
  room_check(const room_table &table, const stored_prefixes &stored);

  // The rows are the prefixes of the table; their codes cover their keys as the prefixes contain each other; the engine
  // below (stored codes, one for each prefix of `stored`) says the same.
  bool rows_are_right(const std::vector<ip_prefix> &stored_codes);

  // Both stages answer for an address: its row is that of the longest prefix, its key is that row's, and the longest
  // code that the key begins with, too. Only if the rows are right.
  bool probe(ip_key address);

  // The first, the last and the two neighbouring addresses of every prefix.
  bool edges_are_right();

  const std::string &counterexample() const { return counterexample_; }  // of the check that failed; "" = none did

 private:
  bool fail(std::string counterexample);

  const room_table &table_;
  const stored_prefixes &stored_;
  std::vector<zel_v6comp_table_row> rows_;
  prefix_forest codes_;  // of the rows, by position
  std::string counterexample_;
};

}  // namespace v6tool

#endif
