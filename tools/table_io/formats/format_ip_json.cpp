// SPDX-License-Identifier: Apache-2.0
// `ip -j -6 route`: an array of objects, the destination under `dst`.
#include "formats.h"
#include "json_rows.h"
#include "prefix_text.h"

namespace v6tool {

namespace {

bool recognises(std::string_view head) {
  const json_outline outline = outline_json(head);
  return outline.outermost == '[' && outline.has_key(2, "dst");
}

void read(byte_input &input, table_builder &table) {
  const auto take = [&](const json_row &row) {
    const std::string &destination = row.fields[0];
    if (destination.empty()) {
      table.bad(row.line, "a route without `dst`");
    } else if (destination == "default" && is_ipv4_address(row.fields[1])) {
      table.other_family();
    } else {
      table.route(row.line, destination);
    }
  };
  const json_fault fault = read_json_rows(input, {{"dst", "gateway"}, take, nullptr});
  if (!fault.reason.empty()) {
    table.broken_at(fault.line, fault.reason);
  }
}

}  // namespace

const table_format ip_json_format = {"ip-json", "ip -j -6 route", repeats::are_paths, recognises, read};

}  // namespace v6tool
