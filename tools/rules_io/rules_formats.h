// SPDX-License-Identifier: Apache-2.0
// rules_formats.h - the readers behind rules_reader.h, one a format. Each takes a whole file from memory; faults go to
// the report.
#ifndef RULES_FORMATS_H
#define RULES_FORMATS_H

#include <string_view>

#include "rule_chains.h"
#include "rules_reader.h"

namespace v6tool {

void read_csv_rules(std::string_view content, const rules_options &options, rule_set &set, read_report &report);

// Chains by name.
chain_book read_saved_chains(std::string_view content, const rules_options &options, const rule_set &set,
                             read_report &report);

// Chains by family, table and name.
chain_book read_nft_chains(std::string_view content, const rules_options &options, const rule_set &set,
                           read_report &report);

}  // namespace v6tool

#endif
