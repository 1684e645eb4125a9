// SPDX-License-Identifier: Apache-2.0
// full_refusal.h - why a whole table was refused, in words.
#ifndef FULL_REFUSAL_H
#define FULL_REFUSAL_H

#include "refused_part.h"
#include "room_table.h"
#include "stored_prefixes.h"
#include "table_reader.h"
#include "tool_failure.h"

namespace v6tool {

// Load the distinct prefixes of a table.
table_outcome load_rows(room_table &table, const prefix_table &rows);

// A load of `rows` was refused with `outcome`. Where prefixes get into one another's way they are named: parts of the
// table are tried beside it, in the processor's other instance.
tool_failure explain_full_refusal(const prefix_table &rows, const table_outcome &outcome,
                                  const common_options &options);

// What both modes say: the pools that ran out, nothing if none did; and the prefixes that break a limit of bits.
std::vector<std::string> explain_pools(const stored_prefixes &stored);
void append_refused_part(std::vector<std::string> &lines, const refused_part &part, const std::string &advice);
extern const char *const no_option_helps;

}  // namespace v6tool

#endif
