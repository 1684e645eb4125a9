// SPDX-License-Identifier: Apache-2.0
#include "tool_options.h"

#include <charconv>
#include <cstdio>

#include "output_file.h"
#include "prefix_text.h"
#include "progress_note.h"
#include "weight_check.h"
#include "zel_v6comp.h"

namespace v6tool {

namespace {

std::string check_pool_elements(const std::string &text) {
  uint32_t count = 0;
  const char *end = text.data() + text.size();
  if (text == "auto" || text == "default") {
    return "";
  }
  const auto [at, error] = std::from_chars(text.data(), end, count);
  return at == end && error == std::errc() && count > 0 ? "" : "expected auto, default or a count from 1 to 4294967295";
}

}  // namespace

void add_common_options(CLI::App &sub, common_options &options) {
  add_required_argument(sub, "TABLE", options.table, "file of `prefix/length [weight]` lines, - for standard input");
  const std::string library = "Library";
  add_text_option(sub,
                  {"--pool-elements", library,
                   "elements of each pool: auto (enough for this table), default (the library's own), or a count"},
                  options.pool_elements, "auto|default|N", check_pool_elements);
  add_number_option(sub, {"--processor", library, "packet processor"}, options.processor, TCAMV6_MAX_PROCESSORS - 1);
  add_number_option(sub, {"--instance", library, "table instance of the processor"}, options.instance,
                    TCAMV6_MAX_INSTANCES - 1);
  add_number_option(sub,
                    {"--debug-level", library,
                     "messages of the library on standard error: 0 none, 3 errors, 7 everything; if not given, none "
                     "but those that the ZEL_V6COMP_DBG_* variables turn on"},
                    options.debug_level);
  add_flag(sub, "-q,--quiet", options.quiet, "no warnings, no progress");
}

void add_output_file(CLI::App &sub, output_options &options) {
  add_text_option(sub, "-o,--output", options.file, "FILE",
                  "write to FILE, - for standard output; it appears when all of it is written");
}

void add_output_options(CLI::App &sub, output_options &options) {
  add_named_option(
      sub, "-f,--format", {format_names(), "text", "no such format"},
      [](const std::string &name) { return find_format(name) != nullptr; },
      [&options](const std::string &name) { options.format = find_format(name); }, "text, json, ndjson or csv");
  add_output_file(sub, options);
}

prefix_table read_command_table(const common_options &options) {
  const progress_note note("reading", options.quiet);
  prefix_table table;
  read_report report;
  if (read_table(options.table, TCAMV6_MAX_PREFIXES, table, report)) {
    check_weights(table, report);
  }
  take_report(report, options.quiet);
  return table;
}

void take_report(const read_report &report, bool quiet) {
  if (!quiet) {
    for (const std::string &line : report.warnings.lines()) {
      say("warning: " + line);
    }
  }
  if (report.faults.total != 0) {
    const bool only_misfits = report.misfits == report.faults.total;
    throw tool_failure{only_misfits ? exit_no : exit_bad_input, report.faults.lines(), true};
  }
}

void write_output(const output_options &options, const std::string &data) { write_output_file(options.file, data); }

void say(const std::string &line) { std::fprintf(stderr, "%s\n", escaped(line).c_str()); }

void say_lines(std::string_view text) {
  while (!text.empty()) {
    say(std::string(take_line(text)));
  }
}

}  // namespace v6tool
