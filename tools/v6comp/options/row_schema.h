// SPDX-License-Identifier: Apache-2.0
// row_schema.h - what rows of a kind are in JSON, as a JSON Schema.
#ifndef ROW_SCHEMA_H
#define ROW_SCHEMA_H

#include <string>

#include "row_table.h"

namespace v6tool {

// Of `--format json`, an array of rows; a line of ndjson is one row, `#/$defs/row` of the same schema.
std::string row_schema(const row_kind &kind);

}  // namespace v6tool

#endif
