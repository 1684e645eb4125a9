// SPDX-License-Identifier: Apache-2.0
// v6comp generate: a table to order.
#include <memory>

#include "made_options.h"
#include "row_writer.h"
#include "tool_options.h"

namespace v6tool {

namespace {

struct generate_options {
  made_options made;
  output_options output;
  uint64_t count = 1000;
  bool quiet = false;  // there is nothing to be quiet about
};

exit_code run_generate(const generate_options &options) {
  check_output(options.output, "generate", {});
  table_order order;
  order.count = options.count;
  order.seed = options.made.seed;
  order.within = within_of(options.made);
  parse_mix("32:20,48:50,64:30", order.shares.mix);
  take_shares(options.made, order.shares);
  std::vector<ip_prefix> prefixes;
  if (const std::string fault = make_table(order, prefixes); !fault.empty()) {
    throw tool_failure{exit_no, {fault}};
  }
  row_writer writer(options.output, "generate");
  for (const ip_prefix &prefix : prefixes) {
    const cell cells[] = {prefix};
    writer.row(cells);
  }
  writer.finish();
  return exit_good;
}

}  // namespace

void add_generate_command(command_line &line) {
  const auto options = std::make_shared<generate_options>();
  command_options command(line, "generate", [options] { return run_generate(*options); });
  command.number("--n", options->count);
  add_made_options(command, options->made);
  command.flag("--quiet", options->quiet);
  add_row_options(command, options->output);
}

}  // namespace v6tool
