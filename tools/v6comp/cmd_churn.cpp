// SPDX-License-Identifier: Apache-2.0
// v6comp churn: a history to order, for a table.
#include <memory>

#include "made_options.h"
#include "output_file.h"
#include "prefix_text.h"
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

std::string history_text(const std::vector<history_batch> &batches) {
  std::string text;
  for (const history_batch &batch : batches) {
    for (const history_change &change : batch) {
      text += (change.add ? '+' : '-') + format_prefix(change.prefix) + '\n';
    }
    text += "---\n";
  }
  return text;
}

exit_code run_churn(const churn_options &options) {
  check_output_file(options.output.file, {options.input.table});
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
  std::vector<history_batch> batches;
  if (const std::string fault = make_history(prefixes, order, batches); !fault.empty()) {
    throw tool_failure{exit_no, {fault}};
  }
  write_output(options.output, history_text(batches));
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
  add_output_file(command, options->output);
}

}  // namespace v6tool
