// SPDX-License-Identifier: Apache-2.0
// v6comp lookup: what a prefix became, and which prefix an address belongs to.
//
// The library also stores anchors (prefixes cut to /32, /48, /64 and /96) and ::/0. An address that only an anchor
// covers, inside some prefix Q of the table, gets the anchor's compressed address: Q's compressed prefix covers it
// too, so the match in hardware is Q. The answer names Q, and the compressed address that the library gives.
#include <fmt/core.h>

#include <memory>

#include "output_file.h"
#include "output_format.h"
#include "prefix_text.h"
#include "table_session.h"
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

// Queries of the command line, or else of standard input, one a line; comments and blank lines as in tables.
std::vector<query> read_queries(const lookup_options &options) {
  std::vector<query> queries;
  message_list faults;
  const auto take = [&](const std::string &text, const std::string &place) {
    query q;
    const std::string fault = parse_query(text, q);
    if (!fault.empty()) {
      faults.add(place + printable(text) + ": " + fault);
    }
    queries.push_back(q);
  };
  for (const std::string &text : options.queries) {
    take(text, "v6comp: ");
  }
  if (options.queries.empty()) {
    if (options.common.table == "-") {
      throw tool_failure{exit_bad_input, {"the table and the questions cannot both come from standard input"}};
    }
    std::string content;
    if (const std::string fault = read_file("-", content); !fault.empty()) {
      throw tool_failure{exit_bad_input, {"standard input: " + fault}};
    }
    size_t line_number = 0;
    for (size_t at = 0; at < content.size();) {
      const size_t end = std::min(content.find('\n', at), content.size());
      std::string line = content.substr(at, end - at);
      at = end + 1;
      ++line_number;
      line.erase(std::min(line.find('#'), line.size()));
      line.erase(line.find_last_not_of(" \t\r") + 1);
      line.erase(0, line.find_first_not_of(" \t"));
      if (!line.empty()) {
        take(line, fmt::format("<stdin>:{}: ", line_number));
      }
    }
  }
  if (faults.total != 0) {
    throw tool_failure{exit_bad_input, faults.lines(), true};
  }
  return queries;
}

// The row of one question; false if the table has no answer.
bool answer(const table_session &session, const query &q, record_writer &writer) {
  const stored_prefixes &stored = session.stored();
  cell stored_cell;
  cell kind_cell;
  std::optional<translation> result;
  uint32_t match = prefix_forest::none;
  if (q.is_prefix) {
    match = stored.find(q.prefix);
    result = session.view().translate(q.prefix);
    if (result && match != prefix_forest::none) {
      stored_cell = format_prefix(q.prefix);
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
      stored_cell = format_prefix(found->match);
      kind_cell = at == prefix_forest::none ? cell{} : cell{std::string(kind_name(stored.kinds[at]))};
    }
  }
  const bool found = match != prefix_forest::none;
  cell match_cell;
  cell code_cell;
  cell length_cell;
  if (found) {
    const translation of_match = session.translate_stored(stored.prefixes[match]);
    match_cell = format_prefix(stored.prefixes[match]);
    code_cell = format_code(of_match.code);
    length_cell = uint64_t{of_match.code.length};
  }
  const cell address_cell = result ? cell{format_code_address(result->address)} : cell{};
  const cell cells[] = {q.text, found, match_cell, code_cell, length_cell, address_cell, stored_cell, kind_cell};
  writer.row(cells);
  return found;
}

exit_code run_lookup(const lookup_options &options) {
  check_output_file(options.output.file, {options.common.table, options.queries.empty() ? "-" : options.common.table});
  const std::vector<query> queries = read_queries(options);
  const prefix_table table = read_command_table(options.common);
  const table_session session(table, options.common);
  record_writer writer(*options.output.format, {{"query", 39},
                                                {"found", 0},
                                                {"match", 43},
                                                {"compressed_prefix", 21},
                                                {"compressed_length_bits", 0},
                                                {"compressed_address", 18},
                                                {"stored_match", 0},
                                                {"stored_kind", 7}});
  bool all_found = true;
  for (const query &q : queries) {
    all_found = answer(session, q, writer) && all_found;
  }
  write_output(options.output, writer.finish());
  return all_found ? exit_good : exit_no;
}

}  // namespace

void add_lookup_command(command_line &line) {
  const auto options = std::make_shared<lookup_options>();
  command_options command(line, "lookup", [options] { return run_lookup(*options); });
  add_common_options(command, options->common);
  command.texts("QUERY", options->queries);
  add_output_options(command, options->output);
}

}  // namespace v6tool
