// SPDX-License-Identifier: Apache-2.0
// made_options.h - what the commands take that make prefixes up.
#ifndef MADE_OPTIONS_H
#define MADE_OPTIONS_H

#include <string>

#include "command_line.h"
#include "made_history.h"

namespace v6tool {

// As text, "" = not given: their values need more than a row of the option table says.
struct made_options {
  std::string mix;
  std::string nested;
  std::string clustered;
  std::string within = "2000::/3";
  uint64_t seed = 1;
};

void add_made_options(command_options &command, made_options &options);

// What was given goes over what is there. Throws what is wrong with it.
void take_shares(const made_options &options, wish_shares &shares);
share share_of(const std::string &option, const std::string &text);
ip_prefix within_of(const made_options &options);

}  // namespace v6tool

#endif
