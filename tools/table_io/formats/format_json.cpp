// SPDX-License-Identifier: Apache-2.0
// An array of objects, or objects one after the other (ndjson), with a `prefix` and perhaps a `weight`; or an array of
// prefixes.
#include "formats.h"
#include "json_rows.h"

namespace v6tool {

namespace {

bool recognises(std::string_view head) {
  const json_outline outline = outline_json(head);
  return outline.outermost != '\0' &&
         (outline.empty || outline.begins_with_text || outline.has_key(outline.outermost == '[' ? 2 : 1, "prefix"));
}

void read(byte_input &input, table_builder &table) {
  const auto take = [&](const json_row &row) {
    if (row.fields[0].empty()) {
      table.bad(row.line, "an object without `prefix`");
    } else {
      table.listed(row.line, {row.fields[0], row.fields[1], ""});
    }
  };
  const auto take_text = [&](uint64_t line, std::string_view text) { table.listed(line, {text, "", ""}); };
  const json_fault fault = read_json_rows(input, {{"prefix", "weight"}, take, take_text});
  if (!fault.reason.empty()) {
    table.broken_at(fault.line, fault.reason);
  }
}

}  // namespace

const table_format json_format = {"json", "JSON or ndjson objects with `prefix` and perhaps `weight`", repeats::add_up,
                                  recognises, read};

}  // namespace v6tool
