// SPDX-License-Identifier: Apache-2.0
#include "table_format.h"

#include <algorithm>

#include "formats/formats.h"

namespace v6tool {

namespace {

constexpr const table_format *formats[] = {&mrt_format,  &json_format,     &ip_json_format, &frr_json_format,
                                           &proc_format, &bgpdump_format,  &csv_format,     &frr_format,
                                           &bird_format, &ip_route_format, &rows_format,    &list_format};

}  // namespace

std::span<const table_format *const> table_formats() { return formats; }

const table_format *find_table_format(std::string_view name) {
  const auto *found =
      std::find_if(std::begin(formats), std::end(formats), [&](const table_format *f) { return f->name == name; });
  return found == std::end(formats) ? nullptr : *found;
}

const table_format *recognise_table_format(std::string_view head) {
  const auto *found =
      std::find_if(std::begin(formats), std::end(formats), [&](const table_format *f) { return f->recognises(head); });
  return found == std::end(formats) ? nullptr : *found;
}

std::string table_format_names() {
  std::string names;
  for (const table_format *format : formats) {
    names += names.empty() ? "" : ", ";
    names += format->name;
  }
  return names;
}

}  // namespace v6tool
