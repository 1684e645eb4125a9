// SPDX-License-Identifier: Apache-2.0
// man_page.h - the manual page of a command, in roff.
#ifndef MAN_PAGE_H
#define MAN_PAGE_H

#include <string>

#include "option_table.h"

namespace v6tool {

// What stands in the margins of all pages.
struct page_source {
  std::string version;  // "1.0.0"
  std::string date;     // "2026-11-22"
};

std::string man_page(const command_row &command, const page_source &source);
std::string man_page_name(const command_row &command);  // "v6comp-lookup"

}  // namespace v6tool

#endif
