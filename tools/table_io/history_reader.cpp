// SPDX-License-Identifier: Apache-2.0
#include "history_reader.h"

#include "prefix_text.h"
#include "table_line.h"
#include "text_words.h"

namespace v6tool {

namespace {

std::string_view without_comment(std::string_view line) { return trimmed(line.substr(0, line.find('#'))); }

// A line that is not blank and no batch end. Returns its fault in words, "" when it is good.
std::string parse_change(std::string_view line, history_change &change) {
  if (line.front() != '+' && line.front() != '-') {
    return printable(line) + ": expected +prefix/length, -prefix/length or ---";
  }
  table_row row;
  bool has_row = false;
  const std::string fault = parse_table_line(line.substr(1), row, has_row);
  if (!fault.empty()) {
    return fault;
  }
  if (!has_row) {
    return printable(line) + ": no prefix behind the sign";
  }
  change.prefix = row.prefix;
  change.weight = row.weight;
  change.add = line.front() == '+';
  return "";
}

class history_parser {
 public:
  history_parser(const std::string &name, size_t max_changes, update_history &history, read_report &report)
      : max_changes_(max_changes), history_(history), report_(report) {
    history_.name = name;
    history_.batches.clear();
  }

  void parse(std::string_view content) {
    while (!content.empty()) {
      ++line_;
      const std::string_view line = without_comment(take_line(content));
      if (line == "---") {
        end_batch();
      } else if (!line.empty()) {
        take_change(line);
      }
    }
    if (!open_.empty()) {
      end_batch();
    }
    if (history_.batches.empty() && report_.faults.total == 0) {
      report_.faults.add(history_.name + ": no batches");
    }
  }

 private:
  void take_change(std::string_view line) {
    history_change change;
    const std::string fault = parse_change(line, change);
    if (!fault.empty()) {
      fail(fault);
      return;
    }
    change.line = line_;
    open_.push_back(change);
  }

  void end_batch() {
    if (open_.size() > max_changes_) {
      ++report_.misfits;
      fail("a batch of " + std::to_string(open_.size()) + " changes ends here, at most " +
           std::to_string(max_changes_) + " fit into one request");
    }
    history_.batches.push_back(std::move(open_));
    open_.clear();
  }

  void fail(const std::string &text) { report_.faults.add(history_.name + ':' + std::to_string(line_) + ": " + text); }

  size_t max_changes_;
  update_history &history_;
  read_report &report_;
  history_batch open_;
  uint32_t line_ = 0;
};

}  // namespace

bool parse_history(const std::string &name, std::string_view content, size_t max_changes, update_history &history,
                   read_report &report) {
  history_parser(name, max_changes, history, report).parse(content);
  return report.faults.total == 0;
}

bool read_history(const std::string &path, size_t max_changes, update_history &history, read_report &report) {
  std::string name;
  std::string content;
  return read_input(path, "history", name, content, report) &&
         parse_history(name, content, max_changes, history, report);
}

}  // namespace v6tool
