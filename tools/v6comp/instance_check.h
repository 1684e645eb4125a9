// SPDX-License-Identifier: Apache-2.0
// instance_check.h - does the library hold what it should? Decided without the library's help.
#ifndef INSTANCE_CHECK_H
#define INSTANCE_CHECK_H

#include <string>
#include <vector>

#include "containment_check.h"
#include "engine_view.h"
#include "stored_prefixes.h"

namespace v6tool {

class instance_check {
 public:
  // Asks for every stored prefix. Both arguments outlive the check, and the instance does not change meanwhile.
  instance_check(const engine_view &view, const stored_prefixes &stored);

  // Every prefix is found, and containment holds. Lookups may only be probed if so.
  bool codes_are_right();

  // The first, the last and the two neighbouring addresses of every prefix find their longest match.
  bool edges_are_right();

  // The dump has the rows of the table, and what the lookups say of them. Only if the codes are right.
  bool dump_is_right();

  // All of it: the codes, the dump, the edges, and that nothing else is stored.
  bool is_right();

  // An address finds its longest match, and what that became.
  bool probe(ip_key address);

  const std::vector<compressed_row> &rows() const { return rows_; }  // one per stored prefix
  std::vector<ip_prefix> codes() const;                              // of these
  uint64_t lookups() const { return lookups_; }
  const std::string &counterexample() const { return counterexample_; }  // of the check that failed; "" = none did

 private:
  bool fail(std::string counterexample);

  const engine_view &view_;
  const stored_prefixes &stored_;
  std::vector<compressed_row> rows_;
  uint64_t lookups_ = 0;
  std::string counterexample_;
};

}  // namespace v6tool

#endif
