// SPDX-License-Identifier: Apache-2.0
#include "row_schema.h"

#include <nlohmann/json.hpp>

#include "option_table.h"

namespace v6tool {

namespace {

using nlohmann::ordered_json;

ordered_json type_of(const column &c) {
  switch (c.kind) {
    case field_kind::count:
      return {{"type", "integer"}, {"minimum", 0}};
    case field_kind::yes_no:
      return {{"type", "boolean"}};
    case field_kind::prefix:
      return {{"type", "string"}, {"pattern", "^[0-9a-f:.]+/[0-9]{1,3}$"}};
    case field_kind::code:
      return {{"type", "string"}, {"pattern", "^0x[0-9a-f]*/[0-9]{1,2}$"}};
    case field_kind::address:
      return {{"type", "string"}, {"pattern", "^0x[0-9a-f]{16}$"}};
    case field_kind::text:
    case field_kind::choice:
      break;
  }
  ordered_json type = {{"type", "string"}};
  if (!c.choices.empty()) {
    type["enum"] = split_names(c.choices, '|');
  }
  return type;
}

ordered_json property_of(const column &c) {
  ordered_json property = type_of(c);
  if (c.may_be_null) {
    property["type"] = {property["type"], "null"};
    if (property.contains("enum")) {
      property["enum"].push_back(nullptr);
    }
  }
  property["description"] = c.help;
  return property;
}

}  // namespace

std::string row_schema(const row_kind &kind) {
  ordered_json row = {{"description", std::string(kind.meaning)}, {"type", "object"}};
  row["additionalProperties"] = false;
  row["required"] = ordered_json::array();
  row["properties"] = ordered_json::object();
  for (const column &c : kind.columns) {
    row["required"].push_back(c.name);
    row["properties"][c.name] = property_of(c);
  }
  const std::string options = kind.when.empty() ? "" : " (" + std::string(kind.when) + ")";
  const ordered_json schema = {
      {"$schema", "https://json-schema.org/draft/2020-12/schema"},
      {"$id", "urn:v6comp:schema:" + std::string(kind.name) + ":" + std::to_string(kind.version)},
      {"title", "v6comp " + std::string(kind.command) + options + ", version " + std::to_string(kind.version)},
      {"description", "Each line of ndjson is one row, #/$defs/row; the columns of CSV have the names of its fields."},
      {"type", "array"},
      {"items", {{"$ref", "#/$defs/row"}}},
      {"$defs", {{"row", row}}}};
  return schema.dump(2) + '\n';
}

}  // namespace v6tool
