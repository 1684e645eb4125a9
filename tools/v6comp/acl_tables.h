// SPDX-License-Identifier: Apache-2.0
// acl_tables.h - the two tables that give the prefixes of access rules their codes: sources in instance 0 of a
// processor, destinations in instance 1.
#ifndef ACL_TABLES_H
#define ACL_TABLES_H

#include <cstdint>
#include <vector>

#include "rule_entries.h"
#include "rule_value.h"
#include "zel_v6comp_table.h"

namespace v6tool {

struct acl_row {
  ip_prefix prefix;
  narrow_code code;  // what entries match
  uint64_t key = 0;  // what an address gets whose longest match this is
};

// One side, closed at its end.
class acl_table {
 public:
  // Throws what went wrong, in words: that the prefixes do not fit (exit_no), or that there is no memory.
  // `expected`: prefixes of all tables of the process.
  acl_table(int32_t instance, const char *what, const std::vector<ip_prefix> &prefixes, size_t expected);
  ~acl_table() { zel_v6comp_table_close(table_); }
  acl_table(const acl_table &) = delete;
  acl_table &operator=(const acl_table &) = delete;

  const char *what() const { return what_; }  // "sources"

  // By address, containing prefixes first: the order of prefixes. ::/0 is the first.
  const std::vector<acl_row> &rows() const { return rows_; }

  const acl_row &row_of(const ip_prefix &prefix) const;  // of one that is there

  // As stage 1 answers.
  acl_row lookup(ip_key address) const;

  // Of the narrowest code of these prefixes.
  uint32_t bits_needed() const;

 private:
  const char *what_;
  zel_v6comp_table *table_ = nullptr;
  std::vector<acl_row> rows_;
};

struct acl_tables {
  explicit acl_tables(const rule_set &set);
  acl_table sources;
  acl_table destinations;

 private:
  acl_tables(const std::vector<ip_prefix> &from, const std::vector<ip_prefix> &to);
};

// The entries of the rules, with the codes of the tables.
std::vector<rule_entry> acl_entries(const rule_set &set, const acl_tables &tables);

}  // namespace v6tool

#endif
