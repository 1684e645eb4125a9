// SPDX-License-Identifier: Apache-2.0
#include "table_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <utility>

#include "prefix_text.h"

namespace v6tool {

namespace {

constexpr size_t max_line = 255;                // characters of a line that is not a comment
constexpr size_t max_file = size_t{256} << 20;  // bytes; a guard against endless input

constexpr std::string_view blanks = " \t";

std::string_view trimmed(std::string_view text) {
  const size_t first = text.find_first_not_of(blanks);
  return first == std::string_view::npos ? "" : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

// Cut the first word off a trimmed text.
std::string_view take_word(std::string_view &text) {
  const size_t end = std::min(text.find_first_of(blanks), text.size());
  const std::string_view word = text.substr(0, end);
  text = trimmed(text.substr(end));
  return word;
}

// Finds prefixes seen before: open addressing over row numbers, never more than half full.
class duplicate_finder {
 public:
  explicit duplicate_finder(const std::vector<table_row> &rows) : rows_(rows), slots_(64, empty) {}

  // The earlier row with the prefix of row `index`, or null; remembers the row if there is none.
  const table_row *add(size_t index) {
    if (2 * index >= slots_.size()) {
      grow(4 * slots_.size());
    }
    uint32_t &slot = slot_of(rows_[index].prefix);
    if (slot != empty) {
      return &rows_[slot];
    }
    slot = static_cast<uint32_t>(index);
    return nullptr;
  }

 private:
  static constexpr uint32_t empty = UINT32_MAX;

  uint32_t &slot_of(const ip_prefix &prefix) {
    uint64_t hash = (prefix.key.hi ^ std::rotl(prefix.key.lo, 29) ^ prefix.length) * 0x9E3779B97F4A7C15U;
    hash ^= hash >> 32;
    size_t at = hash & (slots_.size() - 1);
    while (slots_[at] != empty && rows_[slots_[at]].prefix != prefix) {
      at = (at + 1) & (slots_.size() - 1);
    }
    return slots_[at];
  }

  void grow(size_t size) {
    const std::vector<uint32_t> old = std::exchange(slots_, std::vector<uint32_t>(size, empty));
    for (const uint32_t row : old) {
      if (row != empty) {
        slot_of(rows_[row].prefix) = row;
      }
    }
  }

  const std::vector<table_row> &rows_;
  std::vector<uint32_t> slots_;
};

}  // namespace

void message_list::add(std::string text) {
  ++total;
  if (texts.size() < most) {
    texts.push_back(std::move(text));
  }
}

std::vector<std::string> message_list::lines() const {
  std::vector<std::string> all = texts;
  if (total > texts.size()) {
    all.push_back("... and " + std::to_string(total - texts.size()) + " more");
  }
  return all;
}

std::string read_file(const std::string &path, std::string &content) {
  const bool standard_input = path == "-";
  const int fd = standard_input ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    return std::strerror(errno);
  }
  struct stat info = {};
  const size_t expected = fstat(fd, &info) == 0 && info.st_size > 0 ? static_cast<size_t>(info.st_size) : 0;
  std::string fault;
  size_t used = 0;
  content.resize(std::min(expected, max_file) + 4096);
  for (;;) {
    const ssize_t got = read(fd, content.data() + used, content.size() - used);
    if (got > 0) {
      used += static_cast<size_t>(got);
      if (used > max_file) {
        fault = "larger than 256 MiB";
        break;
      }
      if (used == content.size()) {
        content.resize(2 * content.size());
      }
    } else if (got == 0) {
      break;
    } else if (errno != EINTR) {
      fault = std::strerror(errno);
      break;
    }
  }
  if (!standard_input) {
    close(fd);
  }
  content.resize(used);
  return fault;
}

std::string parse_table_line(std::string_view line, table_row &row, bool &has_row) {
  has_row = false;
  std::string_view rest = trimmed(line.substr(0, std::min(line.find('#'), line.size())));
  if (rest.empty()) {
    return "";
  }
  if (line.find('\0') != std::string_view::npos) {
    return "NUL byte in the line";
  }
  if (rest.size() > max_line) {
    return "line of " + std::to_string(rest.size()) + " characters, at most " + std::to_string(max_line) +
           " are expected";
  }
  const std::string_view prefix_word = take_word(rest);
  const std::string_view weight_word = take_word(rest);
  std::string fault = parse_prefix(prefix_word, row.prefix);
  if (!fault.empty()) {
    return printable(prefix_word) + ": " + fault;
  }
  row.weight = 1;
  if (!weight_word.empty()) {
    fault = parse_weight(weight_word, row.weight);
    if (!fault.empty()) {
      return printable(prefix_word) + ' ' + printable(weight_word) + ": " + fault;
    }
  }
  if (!rest.empty()) {
    return printable(rest) + ": unexpected text after the weight";
  }
  has_row = true;
  return "";
}

std::string_view take_line(std::string_view &content) {
  const size_t end = std::min(content.find('\n'), content.size());
  std::string_view line = content.substr(0, end);
  content.remove_prefix(std::min(end + 1, content.size()));
  if (line.ends_with('\r')) {
    line.remove_suffix(1);
  }
  return line;
}

bool parse_table(const std::string &name, std::string_view content, size_t max_rows, prefix_table &table,
                 read_report &report) {
  table.name = name;
  table.rows.clear();
  duplicate_finder seen(table.rows);
  size_t found = 0;
  uint32_t line_number = 0;
  const auto at_line = [&](const std::string &text) { return name + ':' + std::to_string(line_number) + ": " + text; };
  while (!content.empty()) {
    ++line_number;
    const std::string_view line = take_line(content);
    table_row row;
    bool has_row = false;
    const std::string fault = parse_table_line(line, row, has_row);
    if (!fault.empty()) {
      report.faults.add(at_line(fault));
    }
    if (!has_row || ++found > max_rows) {
      continue;
    }
    row.line = line_number;
    table.rows.push_back(row);
    if (const table_row *earlier = seen.add(table.rows.size() - 1)) {
      report.warnings.add(at_line(format_prefix(row.prefix) + ": also on line " + std::to_string(earlier->line) +
                                  "; the weights add up"));
    }
  }
  if (found > max_rows) {
    ++report.misfits;
    report.faults.add(name + ": " + std::to_string(found) + " prefixes, at most " + std::to_string(max_rows) +
                      " fit into one request");
  } else if (found == 0 && report.faults.total == 0) {
    report.faults.add(name + ": no prefixes");
  }
  return report.faults.total == 0;
}

bool read_input(const std::string &path, std::string &name, std::string &content, read_report &report) {
  name = path == "-" ? "<stdin>" : path;
  const std::string fault = read_file(path, content);
  if (!fault.empty()) {
    report.faults.add(name + ": " + fault);
  }
  return fault.empty();
}

bool read_table(const std::string &path, size_t max_rows, prefix_table &table, read_report &report) {
  std::string name;
  std::string content;
  return read_input(path, name, content, report) && parse_table(name, content, max_rows, table, report);
}

std::vector<ip_prefix> distinct_prefixes(const prefix_table &table) {
  std::vector<ip_prefix> prefixes;
  prefixes.reserve(table.rows.size());
  for (const table_row &row : table.rows) {
    prefixes.push_back(row.prefix);
  }
  std::sort(prefixes.begin(), prefixes.end());
  prefixes.erase(std::unique(prefixes.begin(), prefixes.end()), prefixes.end());
  return prefixes;
}

}  // namespace v6tool
