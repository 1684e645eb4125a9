// SPDX-License-Identifier: Apache-2.0
// v6comp diff: the changes from one table to another, as a history.
#include <fmt/core.h>

#include <algorithm>
#include <memory>

#include "history_output.h"
#include "history_writer.h"
#include "tool_options.h"

namespace v6tool {

namespace {

struct diff_options {
  input_options input;
  output_options output;
  std::string next;
  uint32_t batch_size = 0;  // 0: all changes in one
};

// At least one batch, however little there is to change.
std::vector<history_batch> cut(const history_batch &changes, size_t batch_size) {
  const size_t size = batch_size == 0 ? std::max<size_t>(changes.size(), 1) : batch_size;
  std::vector<history_batch> batches;
  for (size_t begin = 0; begin < changes.size() || batches.empty(); begin += size) {
    const auto from = changes.begin() + static_cast<std::ptrdiff_t>(begin);
    const auto n = static_cast<std::ptrdiff_t>(std::min(size, changes.size() - begin));
    batches.emplace_back(from, from + n);
  }
  return batches;
}

exit_code run_diff(const diff_options &options) {
  check_history_output(options.output, "diff", {options.input.table, options.next});
  input_options next = options.input;
  next.table = options.next;
  const prefix_table old_table = read_any_table(options.input);
  const prefix_table new_table = read_any_table(next);
  write_history(options.output, "diff", {"", cut(difference_of_tables(old_table, new_table), options.batch_size)});
  return exit_good;
}

}  // namespace

void add_diff_command(command_line &line) {
  const auto options = std::make_shared<diff_options>();
  command_options command(line, "diff", [options] { return run_diff(*options); });
  add_input_options(command, options->input);
  command.text("NEW", options->next);
  command.number("--batch-size", options->batch_size);
  add_row_options(command, options->output);
}

}  // namespace v6tool
