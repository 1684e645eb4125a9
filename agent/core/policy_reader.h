// SPDX-License-Identifier: Apache-2.0
// policy_reader.h - a policy from a file of rules: nftables JSON, ip6tables-save, CSV.
#ifndef POLICY_READER_H
#define POLICY_READER_H

#include <string>
#include <vector>

#include "packet_policy.h"
#include "rules_reader.h"

namespace v6agent {

// Rules as entries can say them: ranges of ports as masks, rejections as denials, the verdict that holds when no rule
// matches as a last rule. Returns what is wrong in words, "" when it is good.
std::string policy_from(const v6tool::rule_set &rules, packet_policy &policy);

// Read the rules at `path`. Empty: good; else what is wrong, a line each, with file and place. `policy` is then
// untouched.
std::vector<std::string> read_policy(const std::string &path, const v6tool::rules_options &options,
                                     packet_policy &policy);

}  // namespace v6agent

#endif
