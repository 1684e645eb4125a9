// SPDX-License-Identifier: Apache-2.0
// v6comp explain: why a code is what it is, and why a batch moved or refused what it did.
#include <fmt/core.h>

#include <algorithm>
#include <charconv>
#include <memory>

#include "explain_batch.h"
#include "explain_chain.h"
#include "live_options.h"
#include "prefix_text.h"
#include "room_live_table.h"
#include "row_writer.h"
#include "tool_options.h"

namespace v6tool {

namespace {

struct explain_options {
  common_options common;
  output_options output;
  std::string query;
  std::string history;
  uint64_t batch = 0;  // from 1; 0 = not given
};

ip_prefix query_of(const std::string &text) {
  ip_prefix prefix{{}, 128};
  const bool is_prefix = text.find('/') != std::string::npos;
  const std::string fault = is_prefix                         ? parse_prefix(text, prefix)
                            : parse_address(text, prefix.key) ? ""
                                                              : "not an IPv6 address or prefix";
  if (!fault.empty()) {
    throw tool_failure{exit_bad_input, {printable(text) + ": " + fault}};
  }
  return prefix;
}

std::string drawing_of(const std::vector<chain_link> &chain) {
  std::string out;
  std::string indent;
  for (const chain_link &link : chain) {
    const bool is_first = link.depth == 0;
    const bool is_last = &link == &chain.back();
    out += indent + (is_first ? "" : "└─ ") + format_prefix(link.prefix) + "  " + format_code(link.code) +
           (link.kind == prefix_kind::table ? "" : fmt::format("  ({})", kind_name(link.kind))) + '\n';
    indent += is_first ? "" : "   ";
    const std::string bar = indent + (is_last ? "     " : "│    ");
    out += fmt::format("{}own bits {}, {} at least, beside {} siblings: {}\n", bar, link.own_bits, link.tight_bits,
                       link.siblings, reason_of(link));
    out += fmt::format("{}inside   {} bits needed, code may have {} at most, {} free\n", bar, link.need_bits,
                       link.limit(), link.headroom());
    out += fmt::format("{}key      {}{}\n", bar, format_code_address(link.key),
                       link.has_dummy ? ", the dummy beside what lies inside" : "");
  }
  return out;
}

void write_chain(const std::vector<chain_link> &chain, const output_options &output) {
  row_writer writer(output, "explain");
  for (const chain_link &link : chain) {
    const cell cells[] = {uint64_t{link.depth},
                          link.prefix,
                          std::string(kind_name(link.kind)),
                          format_code(link.code),
                          uint64_t{link.code.length},
                          uint64_t{link.own_bits},
                          uint64_t{link.tight_bits},
                          uint64_t{link.need_bits},
                          uint64_t{link.limit()},
                          uint64_t{link.headroom()},
                          uint64_t{link.siblings},
                          uint64_t{link.branches},
                          link.has_dummy,
                          format_code_address(link.key),
                          reason_of(link)};
    writer.row(cells);
  }
  writer.finish();
}

bool draws(const output_options &output) {
  return output.format == &text_format() && output.fields.empty() && output.sort.empty();
}

exit_code explain_prefix(const explain_options &options) {
  check_output(options.output, "explain", {options.common.table});
  const ip_prefix query = query_of(options.query);
  const prefix_table table = read_any_table(options.common);
  const room_live_table live(table, {}, {options.common, nullptr, refusal_action::recompress, true, {}});
  const stored_prefixes stored = find_stored_prefixes(live.owned().table());
  const std::vector<chain_link> chain = explain_chain(stored, live.view(), query);
  if (draws(options.output)) {
    write_output(options.output, drawing_of(chain));
  } else {
    write_chain(chain, options.output);
  }
  const bool is_address = options.query.find('/') == std::string::npos;
  const bool is_there = is_address ? chain.back().kind == prefix_kind::table
                                   : chain.back().prefix == query && chain.back().kind == prefix_kind::table;
  if (!is_there && !options.common.quiet) {
    say(format_prefix(query) + (is_address ? " belongs to no prefix of the table itself" : " is not in the table") +
        ": this is what is stored around it");
  }
  return is_there ? exit_good : exit_no;
}

void write_moves(const std::vector<batch_move> &moves, const batch_report &report, const explain_options &options) {
  row_writer writer(options.output, "explain-batch");
  for (const batch_move &move : moves) {
    const cell cells[] = {move.prefix, format_code(move.from), format_code(move.to), move.reason};
    writer.row(cells);
  }
  std::string closing = fmt::format("batch {}: {} additions, {} deletes; ", options.batch, report.adds, report.deletes);
  if (report.refused) {
    closing += "refused, " + report.refused->reason + (report.recompressed ? "; the table was compressed anew" : "");
  } else {
    closing +=
        moves.empty() ? "moved nothing: every addition found a free code" : fmt::format("moved {}", moves.size());
  }
  finish_rows(writer, options.output, options.common.quiet, closing + '\n');
}

exit_code explain_batch(const explain_options &options) {
  check_output(options.output, "explain-batch", {options.common.table, options.history});
  const prefix_table table = read_any_table(options.common);
  const update_history history = read_command_history(options.history, table, true);
  if (options.batch > history.batches.size()) {
    throw tool_failure{exit_bad_input,
                       {fmt::format("batch {}: the history has {}", options.batch, history.batches.size())}};
  }
  room_live_table live(table, history, {options.common, nullptr, refusal_action::recompress, true, {}});
  for (uint64_t i = 0; i + 1 < options.batch; ++i) {
    live.apply(history.batches[i]);
  }
  const table_rows before = live.rows();
  const batch_report report = live.apply(history.batches[options.batch - 1]);
  write_moves(moves_between(before, live.rows()), report, options);
  return report.refused ? exit_no : exit_good;
}

// Which batch: --batch N, or a number where a prefix stands without --update; the first one if neither is there.
uint64_t wished_batch(const explain_options &options) {
  const std::string &text = options.query;
  if (text.empty()) {
    return std::max<uint64_t>(options.batch, 1);
  }
  uint64_t batch = 0;
  const char *const end = text.data() + text.size();
  const auto [rest, fault] = std::from_chars(text.data(), end, batch);
  if (fault != std::errc{} || rest != end || batch == 0) {
    throw tool_failure{exit_bad_input, {printable(text) + ": not the number of a batch, which --update asks for"}};
  }
  if (options.batch != 0) {
    throw tool_failure{exit_bad_input, {"the batch is given twice, behind the table and by --batch"}};
  }
  return batch;
}

exit_code run_explain(explain_options options) {
  if (!options.history.empty()) {
    options.batch = wished_batch(options);
    return explain_batch(options);
  }
  if (options.query.empty()) {
    throw tool_failure{exit_bad_input, {"give a prefix or address, or --update with a history"}};
  }
  return explain_prefix(options);
}

}  // namespace

void add_explain_command(command_line &line) {
  const auto options = std::make_shared<explain_options>();
  command_options command(line, "explain", [options] { return run_explain(*options); });
  add_input_options(command, options->common);
  command.text("PREFIX", options->query);
  command.text("--update", options->history);
  command.number("--batch", options->batch);
  add_row_options(command, options->output);
}

}  // namespace v6tool
