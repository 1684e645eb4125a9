// SPDX-License-Identifier: Apache-2.0
// rule_text.h - rules as short lines, for comparing in tests.
#ifndef RULE_TEXT_H
#define RULE_TEXT_H

#include <string>

#include "prefix_text.h"
#include "rule_value.h"

namespace v6tool {

inline std::string range_text(port_range range) {
  return is_any(range) ? "*" : std::to_string(range.first) + '-' + std::to_string(range.last);
}

// "2001:db8::/32 ::/0 6 * 80-80 accept"
inline std::string rule_text(const rule &each) {
  const rule_match &m = each.match;
  return format_prefix(m.source) + ' ' + format_prefix(m.destination) + ' ' +
         (m.protocol ? std::to_string(*m.protocol) : "*") + ' ' + range_text(m.source_ports) + ' ' +
         range_text(m.destination_ports) + ' ' + verdict_name(each.verdict);
}

inline std::string rules_text(const rule_set &set) {
  std::string text;
  for (const rule &each : set.rules) {
    text += rule_text(each) + '\n';
  }
  return text + "otherwise " + verdict_name(set.otherwise) + '\n';
}

inline ip_prefix prefix(const char *text) {
  ip_prefix value;
  return parse_prefix(text, value).empty() ? value : ip_prefix{{1, 1}, 0};
}

}  // namespace v6tool

#endif
