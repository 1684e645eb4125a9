// SPDX-License-Identifier: Apache-2.0
// dump_check.h - does the library hand out every row that the table has?
#ifndef DUMP_CHECK_H
#define DUMP_CHECK_H

#include <string>
#include <vector>

#include "stored_prefixes.h"

namespace v6tool {

// What goes to hardware is the library's dump. It must have each prefix of the table and ::/0 once, and nothing else.
// Returns the first difference found, as text; "" when there is none.
std::string dump_counterexample(std::vector<ip_prefix> dumped, const stored_prefixes &stored);

}  // namespace v6tool

#endif
