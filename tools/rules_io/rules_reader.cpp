// SPDX-License-Identifier: Apache-2.0
#include "rules_reader.h"

#include <utility>

#include "rules_formats.h"
#include "table_reader.h"
#include "text_words.h"

namespace v6tool {

namespace {

rules_format format_of(std::string_view content) {
  const std::string_view line = trimmed(first_data_line(content));
  if (line.starts_with('{')) {
    return rules_format::nft;
  }
  if (line.starts_with('*') || line.starts_with(':') || line.starts_with("-A ")) {
    return rules_format::ip6tables;
  }
  return rules_format::csv;
}

std::string counted_rules(size_t count) { return std::to_string(count) + (count == 1 ? " rule" : " rules"); }

void read_chains(rules_format format, std::string_view content, const rules_options &options, rule_set &set,
                 read_report &report) {
  const bool nft = format == rules_format::nft;
  const chain_book book =
      nft ? read_nft_chains(content, options, set, report) : read_saved_chains(content, options, set, report);
  if (report.faults.total != 0) {
    return;
  }
  const std::string key = choose_chain(book, options, set, report);
  if (key.empty()) {
    return;
  }
  flatten_chain(book, key, options, set, report);
  if (book.other_families != 0) {
    report.notes.push_back(set.name + ": " + counted_rules(book.other_families) +
                           " for other packets than IPv6 left out");
  }
  report.summary = set.name + ": " + (nft ? "nft" : "ip6tables") + ", chain " + book.chains.at(key).name + "; " +
                   counted_rules(set.rules.size()) + ", then " + verdict_name(set.otherwise);
}

}  // namespace

bool parse_rules(const std::string &name, std::string_view content, const rules_options &options, rule_set &set,
                 read_report &report) {
  set = {};
  set.name = name;
  const rules_format format = options.format == rules_format::automatic ? format_of(content) : options.format;
  if (trimmed(first_data_line(content)).empty()) {
    report.faults.add(name + ": empty, no rules");
  } else if (format == rules_format::csv && !options.chain.empty()) {
    report.faults.add(name + ": rules as csv, which has no chains to take one of");
  } else if (format == rules_format::csv) {
    read_csv_rules(content, options, set, report);
    report.summary = name + ": csv; " + counted_rules(set.rules.size()) + ", then " + verdict_name(set.otherwise);
  } else {
    read_chains(format, content, options, set, report);
  }
  if (report.faults.total != 0) {
    set.rules.clear();
    report.summary.clear();
  }
  return report.faults.total == 0;
}

bool read_rules(const std::string &path, const rules_options &options, rule_set &set, read_report &report) {
  std::string name;
  std::string content;
  return read_input(path, "rule set", name, content, report) && parse_rules(name, content, options, set, report);
}

bool parse_rules_format(std::string_view name, rules_format &format) {
  for (const auto &[known, value] : {std::pair{"auto", rules_format::automatic},
                                     {"nft", rules_format::nft},
                                     {"ip6tables", rules_format::ip6tables},
                                     {"csv", rules_format::csv}}) {
    if (name == known) {
      format = value;
      return true;
    }
  }
  return false;
}

}  // namespace v6tool
