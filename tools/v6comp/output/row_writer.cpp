// SPDX-License-Identifier: Apache-2.0
#include "row_writer.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "nearest_name.h"
#include "option_table.h"
#include "output_file.h"
#include "prefix_text.h"
#include "progress_note.h"
#include "terminal.h"
#include "tool_failure.h"

namespace v6tool {

namespace {

constexpr std::string_view down = ":down";
constexpr size_t most_waiting = 65536;  // bytes of rows that may wait for flush()

std::vector<std::string> names_of_columns(const row_kind &kind) {
  std::vector<std::string> names;
  for (const column &c : kind.columns) {
    names.emplace_back(c.name);
  }
  return names;
}

size_t find_column(const row_kind &kind, const std::string &name, const char *option) {
  const std::vector<std::string> names = names_of_columns(kind);
  const auto found = std::find(names.begin(), names.end(), name);
  if (found == names.end()) {
    throw tool_failure{exit_bad_input,
                       {std::string(option) + ": no field \"" + printable(name) + "\"; there are " +
                        join_names(names, ", ") + meant(name, names)}};
  }
  return static_cast<size_t>(found - names.begin());
}

// Without --fields: all of them, in text those that have a width.
std::vector<size_t> pick_columns(const row_kind &kind, const output_options &options) {
  std::vector<size_t> picked;
  for (const std::string &name : split_names(options.fields, ',')) {
    picked.push_back(find_column(kind, name, "--fields"));
  }
  for (size_t i = 0; options.fields.empty() && i < kind.columns.size(); ++i) {
    if (options.format != &text_format() || kind.columns[i].text_width != 0) {
      picked.push_back(i);
    }
  }
  if (picked.empty()) {
    throw tool_failure{exit_bad_input, {"--fields: no field named"}};
  }
  return picked;
}

struct sort_key {
  size_t index;
  bool is_down;
};

std::vector<sort_key> sort_keys(const row_kind &kind, const output_options &options) {
  std::vector<sort_key> keys;
  for (std::string name : split_names(options.sort, ',')) {
    const bool is_down = name.ends_with(down);
    name.resize(name.size() - (is_down ? down.size() : 0));
    keys.push_back({find_column(kind, name, "--sort"), is_down});
  }
  if (keys.empty() && !options.sort.empty()) {
    throw tool_failure{exit_bad_input, {"--sort: no field named"}};
  }
  return keys;
}

void sort_rows(std::vector<std::vector<cell>> &rows, const std::vector<sort_key> &keys) {
  std::stable_sort(rows.begin(), rows.end(), [&](const std::vector<cell> &a, const std::vector<cell> &b) {
    for (const sort_key &key : keys) {
      const cell &left = key.is_down ? b[key.index] : a[key.index];
      const cell &right = key.is_down ? a[key.index] : b[key.index];
      if (left != right) {
        return left < right;
      }
    }
    return false;
  });
}

bool is_standard_output(const std::string &file) { return file.empty() || file == "-"; }

}  // namespace

void check_output(const output_options &options, std::string_view kind, const std::vector<std::string> &inputs) {
  pick_columns(find_row_kind(kind), options);
  sort_keys(find_row_kind(kind), options);
  check_files(options.file, inputs);
}

void check_plain_output(const output_options &options, const std::vector<std::string> &inputs) {
  if (!options.fields.empty() || !options.sort.empty()) {
    throw tool_failure{exit_bad_input, {"--fields and --sort choose among rows, and no rows are printed here"}};
  }
  check_files(options.file, inputs);
}

row_writer::row_writer(const output_options &options, std::string_view kind, row_flow flow)
    : options_(options),
      kind_(find_row_kind(kind)),
      flow_(is_standard_output(options.file) ? flow : row_flow::at_the_end),
      pretty_(options.format == &text_format() && is_standard_output(options.file) && is_terminal(1)),
      picked_(pick_columns(kind_, options)) {
  for (const size_t i : picked_) {
    column c = kind_.columns[i];
    const auto name_width = static_cast<int>(std::strlen(c.name));
    c.text_width = c.text_width == 0 || pretty_ || kind_.headed ? std::max(c.text_width, name_width) : c.text_width;
    c.right_aligned = pretty_ && c.kind == field_kind::count;
    columns_.push_back(c);
  }
}

bool row_writer::needs_all_rows() const { return !options_.sort.empty() || (pretty_ && flow_ == row_flow::at_the_end); }

void row_writer::row(std::span<const cell> cells) {
  if (cells.size() != kind_.columns.size()) {
    throw std::logic_error("row table: " + std::string(kind_.name) + " has other fields");
  }
  if (needs_all_rows()) {
    rows_.emplace_back(cells.begin(), cells.end());
    return;
  }
  begin({});
  append(cells);
  if (out_.size() >= most_waiting) {
    flush();
  }
}

// Heading and first bytes. On a terminal the rows, where they are known, decide the widths.
void row_writer::begin(const std::vector<std::vector<cell>> &rows) {
  if (begun_) {
    return;
  }
  begun_ = true;
  if (pretty_ && flow_ == row_flow::at_the_end) {
    for (size_t i = 0; i < columns_.size(); ++i) {
      size_t width = std::strlen(columns_[i].name);
      for (const std::vector<cell> &cells : rows) {
        width = std::max(width, text_of(cells[picked_[i]]).size());
      }
      columns_[i].text_width = static_cast<int>(width);
    }
  }
  if (pretty_ || kind_.headed) {
    out_ +=
        coloured(text_heading(columns_, *options_.format), pretty_ && may_colour() ? colour::heading : colour::none);
  }
  options_.format->begin(out_, columns_);
}

void row_writer::append(std::span<const cell> cells) {
  std::vector<cell> picked;
  picked.reserve(picked_.size());
  for (const size_t i : picked_) {
    picked.push_back(cells[i]);
  }
  options_.format->row(out_, columns_, picked, empty_);
  empty_ = false;
}

void row_writer::flush() {
  if (flow_ == row_flow::as_they_come && !out_.empty()) {
    const progress_pause pause;
    write_output_file("", out_);
    out_.clear();
  }
}

void row_writer::finish(const std::string &closing) {
  sort_rows(rows_, sort_keys(kind_, options_));
  begin(rows_);
  for (const std::vector<cell> &cells : rows_) {
    append(cells);
  }
  options_.format->end(out_, empty_);
  out_ += options_.format == &text_format() ? closing : "";
  if (flow_ == row_flow::as_they_come) {
    flush();
  } else {
    write_output_file(options_.file, out_);
  }
}

}  // namespace v6tool
