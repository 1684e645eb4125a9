// SPDX-License-Identifier: Apache-2.0
// v6comp - IPv6 prefix tables for narrow TCAMs, from the command line.
//
// Data goes to standard output, talk to standard error. Exit: 0 good, 1 no, 2 usage or bad input, 3 it could
// not be done.
#include <exception>
#include <new>
#include <string>

#include "output_file.h"
#include "terminal.h"
#include "tool_options.h"
#include "zel_v6comp.h"

namespace {

using v6tool::command_work;
using v6tool::exit_code;

exit_code run(const command_work &work) {
  try {
    return work();
  } catch (const v6tool::tool_failure &failure) {
    for (const std::string &line : failure.lines) {
      v6tool::say(failure.lines_name_their_place ? line : "v6comp: " + line);
    }
    return failure.code;
  } catch (const std::bad_alloc &) {
    v6tool::say("v6comp: out of memory");
    return v6tool::exit_undone;
  } catch (const std::exception &error) {
    v6tool::say(std::string("v6comp: ") + error.what());
    return v6tool::exit_undone;
  }
}

// Help, the version, or what is wrong with the command line.
exit_code answer_parser(const v6tool::parsed_line &line) {
  v6tool::say_lines(line.talk);
  v6tool::write_output_file("-", line.data);
  return line.code;
}

void add_commands(v6tool::command_line &line) {
  v6tool::add_list_command(line);
  v6tool::add_compress_command(line);
  v6tool::add_lookup_command(line);
  v6tool::add_verify_command(line);
  v6tool::add_dump_command(line);
  v6tool::add_dot_command(line);
  v6tool::add_update_command(line);
  v6tool::add_plan_command(line);
  v6tool::add_diff_command(line);
  v6tool::add_report_command(line);
  v6tool::add_explain_command(line);
  v6tool::add_fit_command(line);
  v6tool::add_generate_command(line);
  v6tool::add_churn_command(line);
  v6tool::add_acl_command(line);
}

}  // namespace

int main(int argc, char **argv) {
  v6tool::command_line line(std::string("v6comp ") + zel_v6comp_version());
  add_commands(line);
  const v6tool::parsed_line parsed = line.parse(argc, argv, v6tool::help_width());
  return run(parsed.chosen ? parsed.chosen : [&parsed] { return answer_parser(parsed); });
}
