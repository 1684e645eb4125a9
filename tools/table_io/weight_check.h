// SPDX-License-Identifier: Apache-2.0
// weight_check.h - weights that look like something else, and those that compatible mode would not keep as they are.
//
// Weights that look like another column of a routing table, AS numbers say, are warned of. Compatible mode sums the
// weights of a prefix modulo 65,536, and takes a prefix whose sum is 0 for an anchor: it is found by lookups, but no
// dump shows it, and so it never reaches hardware. Such sums are faults there.
#ifndef WEIGHT_CHECK_H
#define WEIGHT_CHECK_H

#include "history_reader.h"
#include "table_reader.h"

namespace v6tool {

// Compatible mode keeps weights modulo this.
constexpr uint64_t weight_modulus = 65536;

// Would a prefix of this sum of weights pass for an anchor? ::/0 has a weight of 1 from the library on top.
bool passes_for_anchor(const ip_prefix &prefix, uint64_t weight);

// Add the warnings of a table's weights to its report.
void warn_of_weights(const prefix_table &table, read_report &report);

// Add the faults of a table's weights in compatible mode to its report. True when there is none.
bool check_weights(const prefix_table &table, read_report &report);

// The same for what a history, applied to the table, leaves after each of its batches.
bool check_weights(const prefix_table &table, const update_history &history, read_report &report);

}  // namespace v6tool

#endif
