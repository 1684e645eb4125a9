// SPDX-License-Identifier: Apache-2.0
// acl_check.h - is every verdict of the narrow entries the one of the rules?
//
// Of addresses this is proved: on each side, for all P and Q of the table, Q's code begins P's key exactly when Q
// contains P; and the first, the last and the two neighbouring addresses of each prefix get the key of their longest
// match. With that an entry's code matches an address exactly when the rule's prefix covers it. The whole is then tried
// with packets: those at the corners of each rule (an edge of its source, of its destination, of its ports), and random
// combinations of such edges.
#ifndef ACL_CHECK_H
#define ACL_CHECK_H

#include <cstdint>
#include <string>
#include <vector>

#include "acl_tables.h"

namespace v6tool {

struct acl_probes {
  uint64_t corners = 200000;  // most packets at corners of rules; when there are more, every n-th is tried
  uint64_t random = 10000;
  uint64_t seed = 1;
};

struct acl_verdict {
  std::string counterexample;  // "" = right
  uint64_t addresses = 0;      // looked up
  uint64_t packets = 0;        // tried
  uint64_t corners = 0;        // of these, at corners of rules
  uint64_t all_corners = 0;    // that there are
};

acl_verdict check_acl(const rule_set &set, const acl_tables &tables, const std::vector<rule_entry> &entries,
                      const acl_probes &probes);

}  // namespace v6tool

#endif
