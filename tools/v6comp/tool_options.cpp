// SPDX-License-Identifier: Apache-2.0
#include "tool_options.h"

#include <charconv>
#include <cstdio>

#include "output_file.h"
#include "prefix_text.h"
#include "progress_note.h"
#include "text_words.h"
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

std::string check_table_format(const std::string &text) {
  return text == "auto" || find_table_format(text) != nullptr
             ? ""
             : "no such format; there are auto, " + table_format_names();
}

build_rules rules_of(const input_options &options) {
  build_rules rules;
  rules.clear_host_bits = options.mask;
  rules.skip_bad = options.skip_bad;
  return rules;
}

prefix_table read_with_rules(const input_options &options, const build_rules &rules, bool for_the_library) {
  const progress_note note("reading", options.quiet);
  prefix_table table;
  read_report report;
  if (read_table(options.table, {find_table_format(options.format), rules}, table, report) && for_the_library) {
    check_weights(table, report);
  }
  if (report.misfits != 0) {
    report.notes.emplace_back("--room on, the default, takes tables of any size");
  }
  take_report(report, options.quiet);
  if (options.verbose) {
    say(report.summary);
  }
  return table;
}

}  // namespace

void add_input_options(CLI::App &sub, input_options &options) {
  const std::string input = "Input";
  add_required_argument(sub, "TABLE", options.table, "table of prefixes or routes, - for standard input");
  add_text_option(sub, {"--input", input, "format of the table, see `v6comp list`; auto sees it in the first bytes"},
                  options.format, "FORMAT", check_table_format);
  add_flag(sub, {"--mask", input, "clear bits set beyond a prefix's length, which are a fault otherwise"},
           options.mask);
  add_number_option(sub, {"--skip-bad", input, "bad lines that are left out and counted"}, options.skip_bad);
  add_flag(sub, {"-v,--verbose", input, "say which format the table was in, and how much of it was read"},
           options.verbose);
  add_flag(sub, "-q,--quiet", options.quiet, "no warnings, no progress");
}

void add_common_options(CLI::App &sub, common_options &options) {
  add_input_options(sub, options);
  const std::string library = "Library";
  add_text_option(sub,
                  {"--pool-elements", library,
                   "elements of each pool: auto (enough for this table), default (the library's own), or a count"},
                  options.pool_elements, "auto|default|N", check_pool_elements);
  add_number_option(sub, {"--processor", library, "packet processor"}, options.processor, TCAMV6_MAX_PROCESSORS - 1);
  add_number_option(sub, {"--instance", library, "table instance of the processor"}, options.instance,
                    TCAMV6_MAX_INSTANCES - 1);
  add_choice<bool>(sub, "--room", options.room, {{"on", true}, {"off", false}},
                   "room mode: no table and no batch is refused that 64 bits suffice for, tables may be larger than a "
                   "request; off is compatible mode");
  add_number_option(sub,
                    {"--debug-level", library,
                     "messages of the library on standard error: 0 none, 3 errors, 7 everything; if not given, none "
                     "but those that the ZEL_V6COMP_DBG_* variables turn on"},
                    options.debug_level);
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

build_rules library_rules(const common_options &options) {
  build_rules rules = rules_of(options);
  if (!options.room) {
    rules.max_rows = TCAMV6_MAX_PREFIXES;
  }
  return rules;
}

void take_report(const read_report &report, bool quiet) {
  if (!quiet) {
    for (const std::string &line : report.warnings.lines()) {
      say("warning: " + line);
    }
    for (const std::string &line : report.notes) {
      say(line);
    }
  }
  if (report.faults.total != 0) {
    const bool only_misfits = report.misfits == report.faults.total;
    throw tool_failure{only_misfits ? exit_no : exit_bad_input, report.faults.lines(), true};
  }
}

prefix_table read_any_table(const input_options &options) {
  build_rules rules = rules_of(options);
  rules.distinct = true;
  return read_with_rules(options, rules, false);
}

prefix_table read_command_table(const common_options &options) {
  return read_with_rules(options, library_rules(options), true);
}

void write_output(const output_options &options, const std::string &data) { write_output_file(options.file, data); }

void say(const std::string &line) { std::fprintf(stderr, "%s\n", escaped(line).c_str()); }

void say_lines(std::string_view text) {
  while (!text.empty()) {
    say(std::string(take_line(text)));
  }
}

}  // namespace v6tool
