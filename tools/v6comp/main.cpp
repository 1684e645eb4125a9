// v6comp - IPv6 prefix tables for narrow TCAMs, from the command line.
//
// Data goes to standard output, talk to standard error. Exit: 0 good, 1 no, 2 usage or bad input.
#include <cstdio>
#include <exception>

#include "tool_options.h"
#include "zel_v6comp.h"

namespace {

using v6tool::command;
using v6tool::exit_code;

exit_code run(const command &chosen) {
  try {
    return chosen();
  } catch (const v6tool::tool_failure &failure) {
    for (const std::string &line : failure.lines) {
      v6tool::say(failure.lines_name_their_place ? line : "v6comp: " + line);
    }
    return failure.code;
  } catch (const std::exception &error) {
    v6tool::say(std::string("v6comp: ") + error.what());
    return v6tool::exit_no;
  }
}

}  // namespace

int main(int argc, char **argv) {
  CLI::App app("Compress IPv6 prefix tables for narrow TCAMs, look prefixes up, prove the result right", "v6comp");
  app.set_version_flag("--version", std::string("v6comp ") + zel_v6comp_version());
  app.require_subcommand(1);
  command chosen;
  v6tool::add_compress_command(app, chosen);
  v6tool::add_lookup_command(app, chosen);
  v6tool::add_verify_command(app, chosen);
  v6tool::add_dump_command(app, chosen);
  v6tool::add_dot_command(app, chosen);
  v6tool::add_update_command(app, chosen);
  v6tool::add_plan_command(app, chosen);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError &error) {
    return app.exit(error) == 0 ? v6tool::exit_good : v6tool::exit_bad_input;
  }
  return run(chosen);
}
