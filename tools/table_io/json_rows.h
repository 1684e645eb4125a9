// SPDX-License-Identifier: Apache-2.0
// json_rows.h - objects of a JSON array, or one after the other, seen as rows with named fields.
#ifndef JSON_ROWS_H
#define JSON_ROWS_H

#include <functional>
#include <string>
#include <vector>

#include "json_events.h"

namespace v6tool {

struct json_row {
  uint64_t line = 0;                // where it begins
  std::vector<std::string> fields;  // those that were asked for; "" for one that is not there, or null
};

struct json_row_reader {
  std::vector<std::string> names;
  std::function<void(const json_row &row)> take;
  // A string in the place of an object; may be empty, then strings are passed over.
  std::function<void(uint64_t line, std::string_view text)> take_text;
};

json_fault read_json_rows(byte_input &input, const json_row_reader &reader);

}  // namespace v6tool

#endif
