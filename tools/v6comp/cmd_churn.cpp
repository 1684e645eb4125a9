// SPDX-License-Identifier: Apache-2.0
// v6comp churn: a history to order, for a table.
#include <memory>

#include "history_output.h"
#include "made_options.h"
#include "tool_options.h"

namespace v6tool {

namespace {

struct churn_options {
  input_options input;
  made_options made;
  output_options output;
  uint64_t batches = 100;
  uint64_t batch_size = 20;
  std::string additions = "0.5";
};

exit_code run_churn(const churn_options &options) {
  check_history_output(options.output, "churn", {options.input.table});
  const prefix_table table = read_any_table(options.input);
  const std::vector<ip_prefix> prefixes = distinct_prefixes(table);
  history_order order;
  order.batches = options.batches;
  order.batch_size = options.batch_size;
  order.additions = share_of("--additions", options.additions);
  order.seed = options.made.seed;
  order.within = within_of(options.made);
  order.shares = shares_of(prefixes);
  take_shares(options.made, order.shares);
  update_history history;
  if (const std::string fault = make_history(prefixes, order, history.batches); !fault.empty()) {
    throw tool_failure{exit_no, {fault}};
  }
  write_history(options.output, "churn", history);
  return exit_good;
}

}  // namespace

void add_churn_command(command_line &line) {
  const auto options = std::make_shared<churn_options>();
  command_options command(line, "churn", [options] { return run_churn(*options); });
  add_input_options(command, options->input);
  command.number("--batches", options->batches);
  command.number("--size", options->batch_size);
  command.text("--additions", options->additions);
  add_made_options(command, options->made);
  add_row_options(command, options->output);
}

}  // namespace v6tool
