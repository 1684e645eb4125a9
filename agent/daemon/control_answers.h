// SPDX-License-Identifier: Apache-2.0
// control_answers.h - what v6compctl asks, answered in JSON: one object a line.
#ifndef CONTROL_ANSWERS_H
#define CONTROL_ANSWERS_H

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "switch_agent.h"

namespace v6agent {

// Things that are asked of more than the agent.
struct control_actions {
  std::function<std::vector<std::string>()> reload_rules;  // what is wrong, a line each; empty: they are read
};

// The answer to one request as it came: `{"command": "status"}`, `rows`, `fit`, `reload`, `reconcile`,
// `{"command": "lookup", "address": "...", "destination": "..."}` (one address in both tables; two: source and
// destination, and the verdict). What is not understood is answered with `{"error": "..."}`. All lines end in a line
// end.
std::string answer_request(std::string_view request, switch_agent &agent, const control_actions &actions);

}  // namespace v6agent

#endif
