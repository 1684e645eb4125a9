// SPDX-License-Identifier: Apache-2.0
// v6comp verify: is the compressed table right? Decided without the library's help.
#include <fmt/core.h>

#include <memory>
#include <random>

#include "instance_check.h"
#include "json_summary.h"
#include "prefix_text.h"
#include "progress_note.h"
#include "room_check.h"
#include "table_session.h"
#include "tool_options.h"

namespace v6tool {

namespace {

struct verify_options {
  common_options common;
  output_options output;
  uint32_t random_probes = 10000;
  uint64_t seed = 1;
};

// The request's results must say the same as the lookups.
std::string compare_results(const table_session &session, const prefix_table &table,
                            const std::vector<compressed_row> &rows) {
  if (session.result_codes().empty()) {
    return "";
  }
  for (size_t i = 0; i < table.rows.size(); ++i) {
    const ip_prefix &prefix = table.rows[i].prefix;
    const ip_prefix &looked_up = rows[session.stored().find(prefix)].code;
    if (session.result_codes()[i] != looked_up) {
      return format_prefix(prefix) + ": the request gave " + format_code(session.result_codes()[i]) +
             ", the lookup gives " + format_code(looked_up);
    }
  }
  return "";
}

// Addresses somewhere inside stored prefixes.
bool random_addresses_are_right(instance_check &check, const stored_prefixes &stored, const verify_options &options) {
  std::mt19937_64 random(options.seed);
  for (uint32_t i = 0; i < options.random_probes; ++i) {
    const ip_prefix &prefix = stored.prefixes[random() % stored.prefixes.size()];
    const ip_key noise = {random(), random()};
    if (!check.probe(prefix.key | (noise & ~leading_ones(prefix.length)))) {
      return false;
    }
  }
  return true;
}

// What the table of the library answers for itself, in room mode: by its index, since the engine has been asked by its
// tries.
std::string check_room(const room_table &room, const stored_prefixes &stored, const instance_check &engine) {
  room_check check(room, stored);
  if (check.rows_are_right(engine.codes())) {
    room.index();
    check.edges_are_right();
  }
  return check.counterexample();
}

// The first counterexample, "" = all is right.
std::string check_table(instance_check &check, const table_session &session, const prefix_table &table,
                        const verify_options &options) {
  if (!check.codes_are_right()) {
    return check.counterexample();
  }
  const std::string difference = compare_results(session, table, check.rows());
  if (!difference.empty()) {
    return difference;
  }
  if (!check.dump_is_right() || !check.edges_are_right() ||
      !random_addresses_are_right(check, session.stored(), options)) {
    return check.counterexample();
  }
  return session.room() == nullptr ? "" : check_room(*session.room(), session.stored(), check);
}

std::string verdict(const stored_prefixes &stored, uint64_t addresses, const std::string &counterexample) {
  return counterexample.empty()
             ? fmt::format(
                   "right: {} prefixes and {} anchors keep their containment, {} addresses find their longest "
                   "match\n",
                   stored.n_table, stored.n_anchors, addresses)
             : "wrong: " + counterexample + '\n';
}

exit_code run_verify(const verify_options &options) {
  check_plain_output(options.output, {options.common.table});
  const prefix_table table = read_command_table(options.common);
  const table_session session(table, options.common);
  const progress_note note("verifying", options.common.quiet);
  instance_check check(session.view(), session.stored());
  const std::string counterexample = check_table(check, session, table, options);
  const stored_prefixes &stored = session.stored();
  const figure_list figures = {{"table", table.name},
                               {"right", counterexample.empty()},
                               {"prefixes", uint64_t{stored.n_table}},
                               {"anchors", uint64_t{stored.n_anchors}},
                               {"addresses", uint64_t{check.lookups()}},
                               {"counterexample", counterexample}};
  const bool as_text = options.output.format == &text_format();
  write_output(options.output, as_text ? verdict(stored, check.lookups(), counterexample)
                                       : format_summary(figures, *options.output.format));
  return counterexample.empty() ? exit_good : exit_no;
}

}  // namespace

void add_verify_command(command_line &line) {
  const auto options = std::make_shared<verify_options>();
  command_options command(line, "verify", [options] { return run_verify(*options); });
  add_common_options(command, options->common);
  command.number("--random-probes", options->random_probes);
  command.number("--seed", options->seed);
  add_output_options(command, options->output);
}

}  // namespace v6tool
