// SPDX-License-Identifier: Apache-2.0
#include "output_format.h"

#include <fmt/core.h>

#include <algorithm>
#include <iterator>

#include "json_summary.h"
#include "prefix_text.h"

namespace v6tool {

namespace {

struct text_cell {
  std::string operator()(std::monostate) const { return "-"; }
  std::string operator()(bool value) const { return value ? "yes" : "no"; }
  std::string operator()(uint64_t value) const { return std::to_string(value); }
  std::string operator()(const std::string &value) const { return value; }
  std::string operator()(const ip_prefix &value) const { return format_prefix(value); }
};

struct json_cell {
  std::string operator()(std::monostate) const { return "null"; }
  std::string operator()(bool value) const { return value ? "true" : "false"; }
  std::string operator()(uint64_t value) const { return std::to_string(value); }
  std::string operator()(const std::string &value) const { return json_text(value); }
  std::string operator()(const ip_prefix &value) const { return '"' + format_prefix(value) + '"'; }
};

struct csv_cell {
  std::string operator()(std::monostate) const { return ""; }
  std::string operator()(bool value) const { return value ? "true" : "false"; }
  std::string operator()(uint64_t value) const { return std::to_string(value); }
  std::string operator()(const std::string &value) const { return csv_text(value); }
  std::string operator()(const ip_prefix &value) const { return format_prefix(value); }
};

void nothing_at_the_beginning(std::string & /*out*/, std::span<const column> /*columns*/) {}
void nothing_at_the_end(std::string & /*out*/, bool /*empty*/) {}

void text_row(std::string &out, std::span<const column> columns, std::span<const cell> cells, bool /*first*/) {
  for (size_t i = 0; i < columns.size(); ++i) {
    if (columns[i].text_width != 0) {
      const std::string text = std::visit(text_cell{}, cells[i]);
      out += columns[i].right_aligned ? fmt::format("{:>{}} ", text, columns[i].text_width)
                                      : fmt::format("{:<{}} ", text, columns[i].text_width);
    }
  }
  out.erase(out.find_last_not_of(' ') + 1);
  out += '\n';
}

void append_json_object(std::string &out, std::span<const column> columns, std::span<const cell> cells) {
  for (size_t i = 0; i < columns.size(); ++i) {
    out += fmt::format("{}\"{}\": {}", i == 0 ? "{" : ", ", columns[i].name, std::visit(json_cell{}, cells[i]));
  }
  out += '}';
}

void json_begin(std::string &out, std::span<const column> /*columns*/) { out += "["; }

void json_row(std::string &out, std::span<const column> columns, std::span<const cell> cells, bool first) {
  out += first ? "\n  " : ",\n  ";
  append_json_object(out, columns, cells);
}

void json_end(std::string &out, bool empty) { out += empty ? "]\n" : "\n]\n"; }

void ndjson_row(std::string &out, std::span<const column> columns, std::span<const cell> cells, bool /*first*/) {
  append_json_object(out, columns, cells);
  out += '\n';
}

void csv_begin(std::string &out, std::span<const column> columns) {
  for (const column &c : columns) {
    out += &c == columns.data() ? "" : ",";
    out += c.name;
  }
  out += '\n';
}

void csv_row(std::string &out, std::span<const column> columns, std::span<const cell> cells, bool /*first*/) {
  for (size_t i = 0; i < columns.size(); ++i) {
    out += i == 0 ? "" : ",";
    out += std::visit(csv_cell{}, cells[i]);
  }
  out += '\n';
}

constexpr output_format formats[] = {
    {"text", nothing_at_the_beginning, text_row, nothing_at_the_end},
    {"json", json_begin, json_row, json_end},
    {"ndjson", nothing_at_the_beginning, ndjson_row, nothing_at_the_end},
    {"csv", csv_begin, csv_row, nothing_at_the_end},
};

}  // namespace

const output_format *find_format(const std::string &name) {
  const auto *found =
      std::find_if(std::begin(formats), std::end(formats), [&](const output_format &f) { return f.name == name; });
  return found == std::end(formats) ? nullptr : found;
}

std::string text_of(const cell &value) { return std::visit(text_cell{}, value); }

const output_format &text_format() { return formats[0]; }

std::string format_names() {
  std::string names;
  for (const output_format &f : formats) {
    names += names.empty() ? "" : "|";
    names += f.name;
  }
  return names;
}

std::string text_heading(std::span<const column> columns, const output_format &format) {
  std::string out;
  if (&format == &text_format()) {
    std::vector<cell> names;
    for (const column &c : columns) {
      names.emplace_back(std::string(c.name));
    }
    text_row(out, columns, names, true);
  }
  return out;
}

std::string coloured(const std::string &text, colour how) {
  if (how == colour::none || !text.ends_with('\n')) {
    return text;
  }
  return "\x1b[1m" + text.substr(0, text.size() - 1) + "\x1b[0m\n";
}

std::string csv_text(const std::string &text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) {
    return text;
  }
  std::string quoted = "\"";
  for (const char c : text) {
    quoted += c == '"' ? "\"\"" : std::string(1, c);
  }
  return quoted + '"';
}

}  // namespace v6tool
