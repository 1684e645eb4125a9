// SPDX-License-Identifier: Apache-2.0
// table_summary.h - figures of a compressed table.
#ifndef TABLE_SUMMARY_H
#define TABLE_SUMMARY_H

#include <string>

#include "output_format.h"
#include "table_session.h"

namespace v6tool {

// Sizes, lengths before and after, pools, time; json is one object, ndjson the same on one line, csv key and value.
std::string table_summary(const table_session &session, const prefix_table &table, const output_format &format);

}  // namespace v6tool

#endif
