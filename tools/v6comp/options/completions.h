// SPDX-License-Identifier: Apache-2.0
// completions.h - what shells need to complete the tool's command lines.
#ifndef COMPLETIONS_H
#define COMPLETIONS_H

#include <string>
#include <vector>

#include "option_table.h"

namespace v6tool {

std::string bash_completion();
std::string zsh_completion();
std::string fish_completion();

// The words that a value of the option can be in a command: choices, names of fields, commands for `help`.
std::vector<std::string> value_words(const command_row &command, const option_row &row);

}  // namespace v6tool

#endif
