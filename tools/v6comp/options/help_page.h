// SPDX-License-Identifier: Apache-2.0
// help_page.h - what --help prints.
#ifndef HELP_PAGE_H
#define HELP_PAGE_H

#include <string>
#include <string_view>

#include "option_table.h"

namespace v6tool {

// The help of a command, of the tool itself for its own row; lines of at most `width` columns, if words allow it.
std::string help_page(const command_row &command, unsigned width);

// The words of a text in lines of at most `width` columns; all but the first line indented.
std::string wrapped(std::string_view text, unsigned width, unsigned indent);

// "-f, --format text|json"
std::string option_synopsis(const option_row &row);

// The sentence of a row with its default: "how rows are written (default: text)".
std::string option_help(const option_row &row);

}  // namespace v6tool

#endif
