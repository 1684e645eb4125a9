// SPDX-License-Identifier: Apache-2.0
// tool_options.h - what all commands take, and how a command announces itself.
#ifndef TOOL_OPTIONS_H
#define TOOL_OPTIONS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "command_line.h"
#include "row_writer.h"
#include "table_reader.h"
#include "tool_failure.h"

namespace v6tool {

// Which table, and how it is read.
struct input_options {
  std::string table;            // path, - for standard input
  std::string format = "auto";  // of --input
  bool mask = false;            // host bits are cleared
  uint64_t skip_bad = 0;        // bad lines that are left out
  bool quiet = false;
  bool verbose = false;
};

struct common_options : input_options {
  std::string pool_elements = "auto";  // auto, default, or a number
  int32_t processor = 0;
  int32_t instance = 0;
  bool room = true;                     // room mode
  std::optional<uint32_t> debug_level;  // of the library
};

// Each announces its command.
void add_list_command(command_line &line);
void add_compress_command(command_line &line);
void add_lookup_command(command_line &line);
void add_verify_command(command_line &line);
void add_dump_command(command_line &line);
void add_dot_command(command_line &line);
void add_update_command(command_line &line);
void add_plan_command(command_line &line);
void add_diff_command(command_line &line);
void add_report_command(command_line &line);
void add_explain_command(command_line &line);
void add_fit_command(command_line &line);
void add_generate_command(command_line &line);
void add_churn_command(command_line &line);
void add_acl_command(command_line &line);

// Where the values of the sets `table` and `input`, of these with `library`, and of `output` go; --quiet among them.
void add_input_options(command_options &command, input_options &options);
void add_common_options(command_options &command, common_options &options);
void add_output_file(command_options &command, output_options &options);
void add_output_options(command_options &command, output_options &options);

// These, and the set `rows`, for commands that print rows alone.
void add_row_options(command_options &command, output_options &options);

// The rules of the options for a table that goes into the library: in compatible mode in one request.
build_rules library_rules(const common_options &options);

// Read the table that the options name, for the library; its faults and warnings go to standard error.
prefix_table read_command_table(const common_options &options);

// The same for no library: any number of prefixes, each once, whatever their weights.
prefix_table read_any_table(const input_options &options);

// Say the warnings of a report, and throw its faults.
void take_report(const read_report &report, bool quiet);

// Finish rows: the closing lines stand below them in text, and are talk in the other formats.
void finish_rows(row_writer &writer, const output_options &options, bool quiet, const std::string &closing);

// Write finished data to the file of the options, or to standard output.
void write_output(const output_options &options, const std::string &data);

// A line of talk on standard error; whatever is in it, it stays one line and leaves the terminal alone.
void say(const std::string &line);
void say_lines(std::string_view text);

}  // namespace v6tool

#endif
