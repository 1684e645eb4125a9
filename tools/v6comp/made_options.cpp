// SPDX-License-Identifier: Apache-2.0
#include "made_options.h"

#include "prefix_text.h"

namespace v6tool {

namespace {

void need(const std::string &option, const std::string &fault) {
  if (!fault.empty()) {
    throw tool_failure{exit_bad_input, {option + ": " + fault}};
  }
}

}  // namespace

void add_made_options(command_options &command, made_options &options) {
  command.text("--mix", options.mix);
  command.text("--nested", options.nested);
  command.text("--clustered", options.clustered);
  command.text("--within", options.within);
  command.number("--seed", options.seed);
}

share share_of(const std::string &option, const std::string &text) {
  share value = 0;
  need(option, parse_share(text, value));
  return value;
}

void take_shares(const made_options &options, wish_shares &shares) {
  if (!options.mix.empty()) {
    need("--mix", parse_mix(options.mix, shares.mix));
  }
  if (!options.nested.empty()) {
    shares.nested = share_of("--nested", options.nested);
    shares.must_nest = true;
  }
  if (!options.clustered.empty()) {
    shares.clustered = share_of("--clustered", options.clustered);
    shares.must_cluster = true;
  }
}

ip_prefix within_of(const made_options &options) {
  ip_prefix within;
  need("--within", parse_prefix(options.within, within));
  return within;
}

}  // namespace v6tool
