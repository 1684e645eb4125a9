// SPDX-License-Identifier: Apache-2.0
// FRR's `show ipv6 route json`: an object with a key for each destination, or one such object for each VRF; `show bgp
// ipv6 unicast json` has it under `routes`.
#include <algorithm>

#include "formats.h"
#include "json_events.h"
#include "prefix_text.h"

namespace v6tool {

namespace {

constexpr size_t deepest_destination = 2;

bool is_destination(size_t depth, std::string_view key) {
  return depth <= deepest_destination && key.find('/') != std::string_view::npos;
}

bool recognises(std::string_view head) {
  const json_outline outline = outline_json(head);
  return outline.outermost == '{' && std::any_of(outline.keys.begin(), outline.keys.end(), [](const auto &key) {
           ip_prefix prefix;
           return is_destination(key.first, key.second) &&
                  (is_ipv4_prefix(key.second) || parse_loose_prefix(key.second, prefix).empty());
         });
}

class destination_visitor : public json_visitor {
 public:
  explicit destination_visitor(table_builder &table) : table_(table) {}

  void key(std::string_view text, size_t depth, uint64_t line) override {
    if (is_destination(depth, text)) {
      table_.route(line, text);
    }
  }

 private:
  table_builder &table_;
};

void read(byte_input &input, table_builder &table) {
  destination_visitor visitor(table);
  const json_fault fault = read_json(input, visitor);
  if (!fault.reason.empty()) {
    table.broken_at(fault.line, fault.reason);
  }
}

}  // namespace

const table_format frr_json_format = {"frr-json", "FRR's show ipv6 route json", repeats::are_paths, recognises, read};

}  // namespace v6tool
