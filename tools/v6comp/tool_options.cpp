// SPDX-License-Identifier: Apache-2.0
#include "tool_options.h"

#include <cstdio>

#include "output_file.h"
#include "prefix_text.h"
#include "progress_note.h"
#include "text_words.h"
#include "weight_check.h"
#include "zel_v6comp.h"

namespace v6tool {

namespace {

using weight_check = void (*)(const prefix_table &table, read_report &report);

void check_compatible_weights(const prefix_table &table, read_report &report) {
  warn_of_weights(table, report);
  check_weights(table, report);
}

build_rules rules_of(const input_options &options) {
  build_rules rules;
  rules.clear_host_bits = options.mask;
  rules.skip_bad = options.skip_bad;
  return rules;
}

// `weights`: what there is to say about those of a good table.
prefix_table read_with_rules(const input_options &options, const build_rules &rules, weight_check weights) {
  const progress_note note("reading", options.quiet);
  prefix_table table;
  read_report report;
  if (read_table(options.table, {find_table_format(options.format), rules}, table, report)) {
    weights(table, report);
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

void add_input_options(command_options &command, input_options &options) {
  std::vector<std::string> formats = {"auto"};
  for (const table_format *format : table_formats()) {
    formats.emplace_back(format->name);
  }
  command.check_choices("--input", formats);
  command.text("TABLE", options.table);
  command.text("--input", options.format);
  command.flag("--mask", options.mask);
  command.number("--skip-bad", options.skip_bad);
  command.flag("--verbose", options.verbose);
  command.flag("--quiet", options.quiet);
}

void add_common_options(command_options &command, common_options &options) {
  add_input_options(command, options);
  command.text("--pool-elements", options.pool_elements);
  command.check_most("--processor", TCAMV6_MAX_PROCESSORS - 1);
  command.check_most("--instance", TCAMV6_MAX_INSTANCES - 1);
  command.number("--processor", options.processor);
  command.number("--instance", options.instance);
  command.choice("--room", options.room, {{"on", true}, {"off", false}});
  command.number("--debug-level", options.debug_level);
}

void add_output_file(command_options &command, output_options &options) { command.text("--output", options.file); }

void add_output_options(command_options &command, output_options &options) {
  command.check_choices("--format", split_names(format_names(), '|'));
  command.each("--format", [&options](const std::string &name) { options.format = find_format(name); });
  add_output_file(command, options);
}

void add_row_options(command_options &command, output_options &options) {
  add_output_options(command, options);
  command.text("--fields", options.fields);
  command.text("--sort", options.sort);
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
  return read_with_rules(options, rules, [](const prefix_table &, read_report &) {});
}

prefix_table read_command_table(const common_options &options) {
  return read_with_rules(options, library_rules(options), options.room ? warn_of_weights : check_compatible_weights);
}

void finish_rows(row_writer &writer, const output_options &options, bool quiet, const std::string &closing) {
  writer.finish(closing);
  if (options.format != &text_format() && !quiet) {
    say_lines(closing);
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
