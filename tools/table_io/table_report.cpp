// SPDX-License-Identifier: Apache-2.0
#include "table_report.h"

#include <utility>

namespace v6tool {

void message_list::add(std::string text) {
  ++total;
  if (texts.size() < most) {
    texts.push_back(std::move(text));
  }
}

std::vector<std::string> message_list::lines() const {
  std::vector<std::string> all = texts;
  if (total > texts.size()) {
    all.push_back("... and " + std::to_string(total - texts.size()) + " more");
  }
  return all;
}

}  // namespace v6tool
