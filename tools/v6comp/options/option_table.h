// SPDX-License-Identifier: Apache-2.0
// option_table.h - the tool's commands and options, each in one row.
//
// Everything that knows options reads them here: the parser, the help, the man pages, the completions. A row says what
// an option is; where its value goes is said by the command (command_line.h), and the parser refuses to start if a row
// leads nowhere.
#ifndef OPTION_TABLE_H
#define OPTION_TABLE_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace v6tool {

enum class value_kind : uint8_t {
  flag,    // no value
  text,    // anything
  file,    // a path, which completions know how to continue
  number,  // within limits, or one of the choices if there are any
  choice,  // one of the choices
  fields   // names of the command's fields with commas between
};

struct option_row {
  std::string_view of = "";     // who takes it: commands, and sets as "@name", with blanks between
  std::string_view names = "";  // "-f,--format"; a name alone is an argument: "TABLE"
  std::string_view value = "";  // what the help calls the value; "" = its choices
  value_kind kind = value_kind::flag;
  std::string_view choices = "";  // "text|json|..."
  uint64_t least = 0;             // of a number, both included
  uint64_t most = UINT64_MAX;
  std::string_view standard = "";  // the default
  std::string_view help = "";      // a sentence, without its capital and its dot
};

// Options that several commands take; shown together.
struct option_set {
  std::string_view name = "";
  std::string_view heading = "";
};

// A name with its meaning, for the lists below a description.
struct term {
  std::string name;
  std::string meaning;
};

struct command_row {
  std::string_view name = "";
  std::string_view purpose = "";      // a sentence without its dot
  std::string_view sets = "";         // of options that it takes beside its own, with blanks between
  std::string_view description = "";  // paragraphs with blank lines between
  std::string_view good = "";         // what exit code 0 means
  std::string_view no = "";           // what exit code 1 means; "" = it does not occur
  std::string_view examples = "";     // a line each: command, two blanks, what it does
  std::string_view terms_heading = "";
  std::vector<term> (*terms)() = nullptr;
};

std::span<const command_row> command_rows();
std::span<const option_set> option_sets();
std::span<const option_row> option_rows();

// The tool's own row: what `v6comp` takes without a command.
const command_row &tool_row();

const command_row *find_command(std::string_view name);  // null: none of that name

// The options of a command in the order of the table, arguments among them.
std::vector<const option_row *> options_of(const command_row &command);
std::vector<const option_row *> arguments_of(const command_row &command);

// Those that belong to a set, or (set "") to the command alone; no arguments.
std::vector<const option_row *> options_in_set(const command_row &command, std::string_view set);

bool is_argument(const option_row &row);
bool is_list(const option_row &row);               // an argument that may be given any number of times: "QUERY..."
bool is_optional(const option_row &row);           // an argument that may be left out: "[TABLE]"
std::string argument_name(const option_row &row);  // "QUERY" of "QUERY..."
std::vector<std::string> names_of(const option_row &row);  // "-f", "--format"
std::string long_name(const option_row &row);              // "--format"
std::string value_name(const option_row &row);             // "FILE", "on|off", "auto|N"; "" of a flag
std::vector<std::string> choices_of(const option_row &row);
bool has_name(const option_row &row, std::string_view name);

// Why it is no value of the option, "" = it is one.
std::string value_fault(const option_row &row, const std::string &value);

// "v6comp lookup [OPTIONS] TABLE [QUERY...]"
std::string usage_of(const command_row &command);

// What the four exit codes mean, the first two in the words of the command.
std::vector<term> exit_codes_of(const command_row &command);

// Parts of a text between separators; empty ones are left out.
std::vector<std::string> split_names(std::string_view text, char separator);
std::string join_names(const std::vector<std::string> &names, std::string_view separator);

}  // namespace v6tool

#endif
