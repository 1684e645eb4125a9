// SPDX-License-Identifier: Apache-2.0
// containment_check.h - is a compressed table right?
#ifndef CONTAINMENT_CHECK_H
#define CONTAINMENT_CHECK_H

#include <span>
#include <string>

#include "prefix_value.h"

namespace v6tool {

struct compressed_row {
  ip_prefix original;
  ip_prefix code;  // the compressed prefix; bits beyond its length are 0
  ip_key address;  // the compressed address
};

// For all rows P and Q: the code of Q covers the address of P exactly when Q contains P; all codes differ. It
// follows that the longest code that covers the address of P is P's own. Originals must be distinct.
// Returns the first counterexample found, as text; "" when there is none. Takes O(n log n) steps.
std::string containment_counterexample(std::span<const compressed_row> rows);

// Is the pair (P, Q) as it should be? The definition, for one pair.
bool pair_is_right(const compressed_row &p, const compressed_row &q);

}  // namespace v6tool

#endif
