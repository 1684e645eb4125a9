// SPDX-License-Identifier: Apache-2.0
// v6compctl - asks a running v6compd. Exit: 0 good, 1 the answer is no, 2 usage, 3 nobody answers.
#include <fmt/format.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "zel_v6comp.h"

namespace {

using json = nlohmann::ordered_json;

enum exit_status : int { good = 0, no = 1, bad_usage = 2, undone = 3 };

// All that the agent answers. Returns what is wrong in words, "" when it is whole.
std::string converse(const std::string &path, const std::string &request, std::string &answer) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) {
    return path + ": too long for a socket";
  }
  path.copy(address.sun_path, path.size());
  const int file = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (file < 0 || connect(file, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
    const std::string fault = path + ": " + strerror(errno);
    close(file);
    return fault;
  }
  std::string_view rest = request;
  while (!rest.empty()) {
    const ssize_t n = send(file, rest.data(), rest.size(), MSG_NOSIGNAL);
    if (n <= 0) {
      break;
    }
    rest.remove_prefix(static_cast<size_t>(n));
  }
  char block[1 << 16];
  ssize_t n = 0;
  while ((n = read(file, block, sizeof block)) > 0) {
    answer.append(block, static_cast<size_t>(n));
  }
  const std::string fault = n < 0 ? path + ": " + strerror(errno) : answer.empty() ? path + ": no answer" : "";
  close(file);
  return fault;
}

std::string text_of(const json &value) {
  return value.is_string() ? value.get<std::string>() : value.is_null() ? "-" : value.dump();
}

// Objects as `name value` lines, those inside them behind their names.
void print_object(const json &object, const std::string &before) {
  for (const auto &[name, value] : object.items()) {
    if (value.is_object()) {
      print_object(value, before + name + ".");
    } else {
      fmt::print("{:<36} {}\n", before + name, text_of(value));
    }
  }
}

void print_row(const json &row) {
  fmt::print("{:<12} {:<44} {}/{:<3} {} {}\n", text_of(row["table"]), text_of(row["prefix"]), text_of(row["code"]),
             text_of(row["code_bits"]), text_of(row["key"]),
             row.contains("egress") ? "port " + text_of(row["egress"]) : "");
}

exit_status print_answer(const std::string &command, const std::string &answer) {
  exit_status status = good;
  for (size_t at = 0; at < answer.size();) {
    const size_t end = std::min(answer.find('\n', at), answer.size());
    const json line = json::parse(std::string_view(answer).substr(at, end - at));
    at = end + 1;
    if (line.contains("error")) {
      fmt::print(stderr, "v6compctl: {}\n", text_of(line["error"]));
      for (const json &fault : line.value("faults", json::array())) {
        fmt::print(stderr, "{}\n", text_of(fault));
      }
      status = no;
    } else if (command == "rows") {
      print_row(line);
    } else {
      print_object(line, "");
    }
  }
  return status;
}

// What the exit status says beside an error.
bool is_no(const std::string &command, const std::string &answer) {
  const json line = json::parse(answer.substr(0, answer.find('\n')), nullptr, false);
  return line.is_discarded() || line.contains("error") || (command == "status" && line.value("state", "") != "good") ||
         (command == "fit" && !line.value("fits", false));
}

struct question {
  json request;
  std::string command;
  std::string socket = "/run/v6compd/control";
  bool as_json = false;
};

void add_commands(CLI::App &app, question &asked, std::vector<std::string> &addresses) {
  app.add_option("--control", asked.socket, "The agent's socket")->capture_default_str();
  app.add_flag("--json", asked.as_json, "The answer as the agent gives it: JSON, one object a line");
  app.set_version_flag("--version", std::string("v6compctl ") + zel_v6comp_version());
  app.require_subcommand(1);
  for (const auto &[name, help] :
       {std::pair("status", "How it is; exit 1 when there is trouble"),
        std::pair("rows", "All prefixes of both tables, with codes and keys"),
        std::pair("fit", "How much room is left; exit 1 when routes are set aside"),
        std::pair("reload", "Read the rules again"),
        std::pair("reconcile", "Read the switch, and put right what somebody else has changed"),
        std::pair("compact", "Compress both tables anew")}) {
    app.add_subcommand(name, help)->callback([&asked, command = name] { asked.command = command; });
  }
  CLI::App *lookup = app.add_subcommand("lookup", "The longest prefixes of an address; of two, the verdict as well");
  lookup->add_option("ADDRESS", addresses, "An address, or source and destination")->required()->expected(1, 2);
  lookup->callback([&asked] { asked.command = "lookup"; });
}

}  // namespace

int main(int argc, char **argv) {
  CLI::App app("Ask a running v6compd", "v6compctl");
  question asked;
  std::vector<std::string> addresses;
  add_commands(app, asked, addresses);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError &error) {
    return app.exit(error) == 0 ? good : bad_usage;
  }
  asked.request["command"] = asked.command;
  if (!addresses.empty()) {
    asked.request["address"] = addresses[0];
    if (addresses.size() == 2) {
      asked.request["destination"] = addresses[1];
    }
  }
  std::string answer;
  try {
    if (const std::string fault = converse(asked.socket, asked.request.dump() + "\n", answer); !fault.empty()) {
      fmt::print(stderr, "v6compctl: {}\n", fault);
      return undone;
    }
    if (asked.as_json) {
      fmt::print("{}", answer);
    } else {
      print_answer(asked.command, answer);
    }
    return is_no(asked.command, answer) ? no : good;
  } catch (const std::exception &error) {
    fmt::print(stderr, "v6compctl: {}\n", error.what());
    return undone;
  }
}
