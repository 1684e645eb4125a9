// SPDX-License-Identifier: Apache-2.0
// v6comp lookup: what a prefix became, and which prefix an address belongs to.
//
// The library also stores anchors (prefixes cut to /32, /48, /64 and /96) and ::/0. An address that only an anchor
// covers, inside some prefix Q of the table, gets the anchor's compressed address: Q's compressed prefix covers it
// too, so the match in hardware is Q. The answer names Q, and the compressed address that the library gives.
#include <fmt/core.h>
#include <unistd.h>

#include <memory>

#include "prefix_text.h"
#include "question_lines.h"
#include "table_session.h"
#include "text_words.h"
#include "tool_options.h"

namespace v6tool {

namespace {

struct lookup_options {
  common_options common;
  output_options output;
  std::vector<std::string> queries;
};

struct query {
  std::string text;
  bool is_prefix = false;
  ip_prefix prefix;  // an address: length 128
};

std::string parse_query(const std::string &text, query &out) {
  out.text = text;
  out.is_prefix = text.find('/') != std::string::npos;
  if (out.is_prefix) {
    return parse_prefix(text, out.prefix);
  }
  out.prefix.length = 128;
  return parse_address(text, out.prefix.key) ? "" : "not an IPv6 address";
}

// Questions of the command line are all good, or none is answered.
std::vector<query> queries_of(const std::vector<std::string> &texts) {
  std::vector<query> queries;
  message_list faults;
  for (const std::string &text : texts) {
    query q;
    if (const std::string fault = parse_query(text, q); !fault.empty()) {
      faults.add("v6comp: " + printable(text) + ": " + fault);
    }
    queries.push_back(q);
  }
  if (faults.total != 0) {
    throw tool_failure{exit_bad_input, faults.lines(), true};
  }
  return queries;
}

// The row of one question; false if the table has no answer.
bool answer(const table_session &session, const query &q, row_writer &writer) {
  const stored_prefixes &stored = session.stored();
  cell stored_cell;
  cell kind_cell;
  std::optional<translation> result;
  uint32_t match = prefix_forest::none;
  if (q.is_prefix) {
    match = stored.find(q.prefix);
    result = session.view().translate(q.prefix);
    if (result && match != prefix_forest::none) {
      stored_cell = q.prefix;
      kind_cell = std::string(kind_name(stored.kinds[match]));
    }
    if (match != prefix_forest::none && stored.kinds[match] != prefix_kind::table) {
      match = prefix_forest::none;
    }
  } else {
    match = stored.longest_table_match(q.prefix.key);
    if (const std::optional<address_answer> found = session.view().find(q.prefix.key)) {
      const uint32_t at = stored.find(found->match);
      result = {found->result.code, session.key_of(q.prefix.key)};
      stored_cell = found->match;
      kind_cell = at == prefix_forest::none ? cell{} : cell{std::string(kind_name(stored.kinds[at]))};
    }
  }
  const bool found = match != prefix_forest::none;
  cell match_cell;
  cell code_cell;
  cell length_cell;
  if (found) {
    const translation of_match = session.translate_stored(stored.prefixes[match]);
    match_cell = stored.prefixes[match];
    code_cell = format_code(of_match.code);
    length_cell = uint64_t{of_match.code.length};
  }
  const cell address_cell = result ? cell{format_code_address(result->address)} : cell{};
  const cell cells[] = {q.text, found, match_cell, code_cell, length_cell, address_cell, stored_cell, kind_cell, {}};
  writer.row(cells);
  return found;
}

// A bad question is told, and has its row like any other.
void answer_bad(const question_line &line, const std::string &text, const std::string &fault, row_writer &writer) {
  writer.flush();  // on a terminal the reason comes where its question stands
  say(fmt::format("<stdin>:{}: {}: {}", line.number, printable(text), fault));
  const cell cells[] = {printable(text), false, {}, {}, {}, {}, {}, {}, fault};
  writer.row(cells);
}

// Questions as they come, one a line; comments and blank lines as in tables.
exit_code answer_lines(const table_session &session, row_writer &writer) {
  bool all_found = true;
  bool all_good = true;
  question_lines lines(STDIN_FILENO, [&writer] { writer.flush(); });
  for (question_line line; lines.next(line);) {
    const std::string text(trimmed(std::string_view(line.text).substr(0, line.text.find('#'))));
    if (text.empty()) {
      continue;
    }
    query q;
    const std::string fault = line.is_whole ? parse_query(text, q) : "too long for a question";
    if (fault.empty()) {
      all_found = answer(session, q, writer) && all_found;
    } else {
      answer_bad(line, text.substr(0, 80), fault, writer);
      all_good = false;
    }
  }
  return !all_good ? exit_bad_input : all_found ? exit_good : exit_no;
}

exit_code answer_queries(const table_session &session, const std::vector<query> &queries, row_writer &writer) {
  bool all_found = true;
  for (const query &q : queries) {
    all_found = answer(session, q, writer) && all_found;
  }
  return all_found ? exit_good : exit_no;
}

exit_code run_lookup(const lookup_options &options) {
  const bool as_they_come = options.queries.empty();
  check_output(options.output, "lookup", {options.common.table, as_they_come ? "-" : ""});
  const std::vector<query> queries = queries_of(options.queries);
  const prefix_table table = read_command_table(options.common);
  const table_session session(table, options.common);
  row_writer writer(options.output, "lookup", as_they_come ? row_flow::as_they_come : row_flow::at_the_end);
  const exit_code code = as_they_come ? answer_lines(session, writer) : answer_queries(session, queries, writer);
  writer.finish();
  return code;
}

}  // namespace

void add_lookup_command(command_line &line) {
  const auto options = std::make_shared<lookup_options>();
  command_options command(line, "lookup", [options] { return run_lookup(*options); });
  add_common_options(command, options->common);
  command.texts("QUERY", options->queries);
  add_row_options(command, options->output);
}

}  // namespace v6tool
