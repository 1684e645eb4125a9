#include "json_summary.h"

#include <string_view>

namespace v6tool {

namespace {

void append_csv(std::string &out, const std::string &key, const nlohmann::ordered_json &value) {
  if (!value.is_object()) {
    out += key + ',' + csv_text(value.is_string() ? value.get<std::string>() : value.dump()) + '\n';
    return;
  }
  for (const auto &[name, inner] : value.items()) {
    append_csv(out, key.empty() ? name : key + '.' + name, inner);
  }
}

}  // namespace

std::string format_summary(const nlohmann::ordered_json &object, const output_format &format) {
  const std::string_view name = format.name;
  if (name == "csv") {
    std::string out = "key,value\n";
    append_csv(out, "", object);
    return out;
  }
  constexpr auto replace = nlohmann::ordered_json::error_handler_t::replace;
  return object.dump(name == "json" ? 2 : -1, ' ', true, replace) + '\n';
}

}  // namespace v6tool
