// SPDX-License-Identifier: Apache-2.0
// table_summary.h - figures of a compressed table.
#ifndef TABLE_SUMMARY_H
#define TABLE_SUMMARY_H

#include <string>

#include "library_session.h"
#include "output_format.h"

namespace v6tool {

// Sizes, lengths before and after, pools, time; json is one object, ndjson the same on one line, csv key and value.
std::string table_summary(const library_session &session, const prefix_table &table, const output_format &format);

}  // namespace v6tool

#endif
