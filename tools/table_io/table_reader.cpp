// SPDX-License-Identifier: Apache-2.0
#include "table_reader.h"

#include <algorithm>
#include <utility>

#include "byte_input.h"
#include "foreign_content.h"
#include "formats/formats.h"
#include "unpacked_source.h"

namespace v6tool {

namespace {

constexpr size_t max_file = size_t{256} << 20;  // bytes; a guard against endless input

std::string shown_name(const std::string &path) { return path == "-" ? "<stdin>" : path; }

std::string counted(uint64_t count, const char *one, const char *more) {
  return std::to_string(count) + ' ' + (count == 1 ? one : more);
}

// `routes.gz: ip-route, gzip; 124 prefixes, 3 repeated, 7 routes of other families left out`
std::string summary_of(const table_format &format, const std::string &packing, const prefix_table &table,
                       const table_builder &builder) {
  std::string text = table.name + ": " + format.name + (packing.empty() ? "" : ", " + packing) + "; " +
                     counted(table.rows.size(), "prefix", "prefixes");
  if (builder.repeated() != 0) {
    text += ", " + std::to_string(builder.repeated()) + " repeated";
  }
  if (builder.left_out() != 0) {
    text += ", " + counted(builder.left_out(), "route of another family", "routes of other families") + " left out";
  }
  return text;
}

bool fail(const prefix_table &table, const std::string &reason, read_report &report) {
  report.faults = {};
  report.misfits = 0;
  report.faults.add(table.name + ": " + reason);
  return false;
}

bool read_format(const table_format &format, byte_input &input, const std::string &packing, const read_options &options,
                 prefix_table &table, read_report &report) {
  table_builder builder(table, options.rules, format.what_repeats_are, report);
  format.read(input, builder);
  const bool good = builder.finish();
  if (!input.fault().empty()) {  // all other faults may come from this one
    return fail(table, input.fault(), report);
  }
  if (!good && options.format == nullptr && builder.only_nonsense()) {
    const std::string first = report.faults.texts.front().substr(table.name.size() + 1);
    return fail(table, "not a table, no line is a prefix or a route (line " + first + "); --input names a format",
                report);
  }
  if (good) {
    report.summary = summary_of(format, packing, table, builder);
  }
  return good;
}

}  // namespace

bool read_table(std::unique_ptr<byte_source> source, const read_options &options, prefix_table &table,
                read_report &report) {
  std::string packing;
  const std::unique_ptr<byte_source> unpacked = open_unpacked(std::move(source), packing);
  byte_input input(*unpacked);
  table.rows.clear();
  if (input.head().empty() && !input.fault().empty()) {
    return fail(table, input.fault(), report);
  }
  const table_format *format = options.format != nullptr ? options.format : recognise_table_format(input.head());
  if (format == nullptr) {
    if (const std::string foreign = describe_foreign_content(input.head()); !foreign.empty()) {
      return fail(table, foreign, report);
    }
    format = &list_format;
  }
  return read_format(*format, input, packing, options, table, report);
}

bool read_table(const std::string &path, const read_options &options, prefix_table &table, read_report &report) {
  table.name = shown_name(path);
  return read_table(open_file(path), options, table, report);
}

bool parse_table(const std::string &name, std::string_view content, size_t max_rows, prefix_table &table,
                 read_report &report) {
  table.name = name;
  read_options options;
  options.format = &list_format;
  options.rules.max_rows = max_rows;
  const std::unique_ptr<byte_source> source = open_memory(content);
  byte_input input(*source);
  return read_format(list_format, input, "", options, table, report);
}

std::string read_file(const std::string &path, std::string &content) {
  std::string packing;
  const std::unique_ptr<byte_source> source = open_unpacked(open_file(path), packing);
  content.clear();
  for (;;) {
    const std::string_view block = source->next();
    if (block.empty()) {
      break;
    }
    content += block;
    if (content.size() > max_file) {
      return "larger than 256 MiB";
    }
  }
  if (content.starts_with("\xef\xbb\xbf")) {
    content.erase(0, 3);
  }
  return source->fault();
}

bool read_input(const std::string &path, const char *meant, std::string &name, std::string &content,
                read_report &report) {
  name = shown_name(path);
  std::string fault = read_file(path, content);
  if (fault.empty()) {
    fault = describe_foreign_bytes(content, meant);
  }
  if (!fault.empty()) {
    report.faults.add(name + ": " + fault);
  }
  return fault.empty();
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
