// SPDX-License-Identifier: Apache-2.0
// Rules as fields under a line of names.
#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <vector>

#include "csv_fields.h"
#include "prefix_text.h"
#include "rule_terms.h"
#include "rules_formats.h"
#include "text_words.h"

namespace v6tool {

namespace {

enum column : size_t {
  col_source,
  col_destination,
  col_verdict,
  col_protocol,
  col_source_ports,
  col_destination_ports,
  col_icmp_type,
  col_priority,
  col_name,
  n_columns
};

constexpr const char *column_names[n_columns] = {"source",    "destination",  "verdict",
                                                 "protocol",  "source_ports", "destination_ports",
                                                 "icmp_type", "priority",     "name"};

struct csv_head {
  char separator = ',';
  size_t fields = 0;
  std::array<size_t, n_columns> at;  // SIZE_MAX = absent
};

struct csv_rule {
  uint64_t priority = 0;
  rule value;
};

bool is_any_word(std::string_view text) { return text.empty() || text == "*" || same_letters(text, "any"); }

// Returns what is wrong with the line of names, "" when it is good.
std::string read_head(std::string_view line, csv_head &head) {
  const size_t mark = line.find_first_of(",;\t");
  head.separator = mark == std::string_view::npos ? ',' : line[mark];
  const auto fields = split_csv_fields(line, head.separator);
  head.at.fill(SIZE_MAX);
  if (!fields) {
    return "a quoted field does not end on its line";
  }
  head.fields = fields->size();
  for (size_t i = 0; i < fields->size(); ++i) {
    const std::string_view name = trimmed((*fields)[i]);
    const auto *known = std::find_if(std::begin(column_names), std::end(column_names),
                                     [name](const char *column) { return same_letters(name, column); });
    if (known == std::end(column_names)) {
      return printable(name) +
             ": no such field; there are source, destination, verdict, protocol, source_ports, "
             "destination_ports, icmp_type, priority and name";
    }
    size_t &at = head.at[static_cast<size_t>(known - std::begin(column_names))];
    if (at != SIZE_MAX) {
      return printable(name) + ": this field is named twice";
    }
    at = i;
  }
  for (const column needed : {col_source, col_destination, col_verdict}) {
    if (head.at[needed] == SIZE_MAX) {
      return std::string("the first line names no field `") + column_names[needed] + '`';
    }
  }
  return "";
}

std::string parse_verdict(std::string_view text, rule_verdict &verdict) {
  constexpr std::pair<const char *, rule_verdict> words[] = {
      {"accept", rule_verdict::accept}, {"permit", rule_verdict::accept}, {"allow", rule_verdict::accept},
      {"drop", rule_verdict::drop},     {"deny", rule_verdict::drop},     {"reject", rule_verdict::reject}};
  for (const auto &[word, value] : words) {
    if (same_letters(text, word)) {
      verdict = value;
      return "";
    }
  }
  return printable(text) + ": not a verdict; accept, drop or reject";
}

std::string parse_priority(std::string_view text, uint64_t &priority) {
  const auto [at, error] = std::from_chars(text.data(), text.data() + text.size(), priority);
  return !text.empty() && at == text.data() + text.size() && error == std::errc()
             ? ""
             : printable(text) + ": not a priority, which is a whole number";
}

class csv_line {
 public:
  csv_line(const csv_head &head, const std::vector<std::string> &fields) : head_(head), fields_(fields) {}

  std::string_view operator[](column which) const {
    return head_.at[which] < fields_.size() ? trimmed(fields_[head_.at[which]]) : "";
  }

 private:
  const csv_head &head_;
  const std::vector<std::string> &fields_;
};

std::string narrow_prefix(std::string_view text, bool clear, alternatives<ip_prefix> &field) {
  ip_prefix prefix;
  const std::string fault = is_any_word(text) ? "" : parse_rule_prefix(text, clear, prefix);
  narrow(field, {prefix});
  return fault;
}

std::string narrow_ports(std::string_view text, alternatives<port_range> &field) {
  port_range range;
  const std::string fault = is_any_word(text) ? "" : parse_ports(text, '-', range);
  if (!is_any_word(text)) {
    narrow(field, {range});
  }
  return fault;
}

// Returns what is wrong with the line, "" when it is good.
std::string read_line(const csv_line &line, const rules_options &options, csv_rule &out) {
  rule_terms terms;
  std::vector<rule_match> matches;
  std::string fault = narrow_prefix(line[col_source], options.clear_host_bits, terms.sources);
  if (fault.empty()) {
    fault = narrow_prefix(line[col_destination], options.clear_host_bits, terms.destinations);
  }
  if (uint8_t protocol = 0; fault.empty() && !is_any_word(line[col_protocol])) {
    fault = parse_protocol(line[col_protocol], protocol);
    narrow(terms.protocols, {protocol});
  }
  if (fault.empty()) {
    fault = narrow_ports(line[col_source_ports], terms.source_ports);
  }
  if (fault.empty()) {
    fault = narrow_ports(line[col_destination_ports], terms.destination_ports);
  }
  if (fault.empty() && !is_any_word(line[col_icmp_type])) {
    fault = terms.source_ports || terms.destination_ports ? "an ICMPv6 type and ports"
                                                          : narrow_icmp_type(line[col_icmp_type], terms);
  }
  if (fault.empty() && !line[col_priority].empty()) {
    fault = parse_priority(line[col_priority], out.priority);
  }
  if (fault.empty()) {
    fault = parse_verdict(line[col_verdict], out.value.verdict);
  }
  if (fault.empty()) {
    fault = multiply_out(terms, matches);
  }
  if (fault.empty() && matches.empty()) {
    fault = "an ICMPv6 type of another protocol";
  }
  if (fault.empty()) {
    out.value.match = matches.front();
    out.value.name = line[col_name];
  }
  return fault;
}

// Every line behind the one of names.
class csv_reader {
 public:
  csv_reader(const rules_options &options, rule_set &set, read_report &report)
      : options_(options), set_(set), report_(report) {}

  void read(std::string_view content) {
    bool headed = false;
    for (uint64_t number = 1; !content.empty() && report_.faults.total == 0; ++number) {
      const std::string_view line = take_line(content);
      if (trimmed(line).empty() || trimmed(line).front() == '#') {
        continue;
      }
      if (headed) {
        take(line, std::to_string(number));
        continue;
      }
      headed = true;
      if (const std::string fault = read_head(line, head_); !fault.empty()) {
        report_.faults.add(set_.name + ':' + std::to_string(number) + ": " + fault);
      }
    }
    finish();
  }

 private:
  void take(std::string_view line, const std::string &place) {
    const auto fields = split_csv_fields(line, head_.separator);
    csv_rule next;
    std::string fault = !fields                         ? "a quoted field does not end on its line"
                        : fields->size() > head_.fields ? "more fields than the first line names"
                                                        : read_line({head_, *fields}, options_, next);
    if (fault.empty() && rules_.size() == max_rules) {
      fault = "more than " + std::to_string(max_rules) + " rules";
    }
    if (!fault.empty()) {
      bad_.add(set_.name + ':' + place + ": " + fault);
      return;
    }
    next.value.place = place;
    rules_.push_back(std::move(next));
  }

  void finish() {
    if (bad_.total > options_.skip_bad) {
      report_.faults = bad_;
    } else {
      for (const std::string &text : bad_.lines()) {
        report_.warnings.add(text + "; left out");
      }
    }
    std::stable_sort(rules_.begin(), rules_.end(),
                     [](const csv_rule &a, const csv_rule &b) { return a.priority > b.priority; });
    for (csv_rule &each : rules_) {
      set_.rules.push_back(std::move(each.value));
    }
  }

  const rules_options &options_;
  rule_set &set_;
  read_report &report_;
  csv_head head_;
  std::vector<csv_rule> rules_;
  message_list bad_;
};

}  // namespace

void read_csv_rules(std::string_view content, const rules_options &options, rule_set &set, read_report &report) {
  csv_reader(options, set, report).read(content);
}

}  // namespace v6tool
