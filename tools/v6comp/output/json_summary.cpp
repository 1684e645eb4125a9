// SPDX-License-Identifier: Apache-2.0
#include "json_summary.h"

#include <nlohmann/json.hpp>
#include <string_view>

namespace v6tool {

namespace {

using nlohmann::ordered_json;

constexpr auto replace = ordered_json::error_handler_t::replace;

struct json_value {
  ordered_json operator()(const figure_list &figures) const {
    ordered_json object = ordered_json::object();
    for (const figure &inner : figures) {
      object[inner.name] = std::visit(json_value{}, inner.value);
    }
    return object;
  }
  template <class Value>
  ordered_json operator()(const Value &value) const {
    return value;
  }
};

void append_csv(std::string &out, const std::string &key, const ordered_json &value) {
  if (!value.is_object()) {
    out += key + ',' + csv_text(value.is_string() ? value.get<std::string>() : value.dump()) + '\n';
    return;
  }
  for (const auto &[name, inner] : value.items()) {
    append_csv(out, key.empty() ? name : key + '.' + name, inner);
  }
}

}  // namespace

std::string format_summary(const figure_list &figures, const output_format &format) {
  const ordered_json object = json_value{}(figures);
  const std::string_view name = format.name;
  if (name == "csv") {
    std::string out = "key,value\n";
    append_csv(out, "", object);
    return out;
  }
  return object.dump(name == "json" ? 2 : -1, ' ', true, replace) + '\n';
}

std::string json_text(const std::string &text) { return ordered_json(text).dump(-1, ' ', true, replace); }

}  // namespace v6tool
