// SPDX-License-Identifier: Apache-2.0
#include "openflow_driver.h"

#include <fmt/format.h>

#include "number_text.h"
#include "openflow_text.h"
#include "prefix_text.h"

namespace v6agent {

namespace {

constexpr int no_such_program = 127;

std::string first_line(const std::string &text) {
  const std::string line = text.substr(0, text.find('\n'));
  return v6tool::escaped(line.size() > 300 ? line.substr(0, 300) + "..." : line);
}

// What a run that did not end well means. An error message of the switch is an answer; anything else is silence.
driver_answer fault_of(const child_answer &ran, const openflow_options &options) {
  if (!ran.ran) {
    return {driver_status::unreachable, fmt::format("{} has not answered in {} ms {}", options.bridge,
                                                    options.time_limit.count(), first_line(ran.errors))};
  }
  if (ran.exit_status == no_such_program) {
    return {driver_status::unreachable, options.program + " cannot be started"};
  }
  const bool answered =
      ran.errors.find("Error OFP") != std::string::npos || ran.errors.find("(OFP") != std::string::npos;
  return {answered ? driver_status::refused : driver_status::unreachable,
          fmt::format("{}: {}", options.bridge, first_line(ran.errors))};
}

}  // namespace

driver_answer openflow_driver::send(const std::string &lines) const {
  const child_answer ran =
      run_child({options_.program, "-O", "OpenFlow15", "--bundle", "add-flows", options_.bridge, "-"}, lines,
                options_.time_limit);
  return ran.ran && ran.exit_status == 0 ? driver_answer{} : fault_of(ran, options_);
}

driver_answer openflow_driver::write(const switch_step &step) {
  std::string lines;
  for (const switch_write &write : step) {
    lines += flow_line(write);
    lines += '\n';
  }
  return send(lines);
}

// A question about our own flows.
child_answer openflow_driver::ask(const char *what) const {
  return run_child({options_.program, "-O", "OpenFlow15", "--no-stats", "--no-names", what, options_.bridge,
                    fmt::format("cookie={:#x}/-1", flow_cookie)},
                   "", options_.time_limit);
}

driver_answer openflow_driver::count(std::optional<size_t> &entries) {
  entries.reset();
  const child_answer ran = ask("dump-aggregate");
  if (!ran.ran || ran.exit_status != 0) {
    return fault_of(ran, options_);
  }
  constexpr std::string_view name = "flow_count=";
  if (const size_t at = ran.output.find(name); at != std::string::npos) {
    const std::string_view rest = std::string_view(ran.output).substr(at + name.size());
    size_t flows = 0;
    if (parse_number(rest.substr(0, rest.find_first_not_of("0123456789")), flows)) {
      entries = flows;
    }
  }
  return {};
}

driver_answer openflow_driver::read(switch_image &image) {
  const child_answer ran = ask("dump-flows");
  if (!ran.ran || ran.exit_status != 0) {
    return fault_of(ran, options_);
  }
  std::string strays;
  for (size_t at = 0; at < ran.output.size();) {
    const size_t end = std::min(ran.output.find('\n', at), ran.output.size());
    switch_write write;
    std::string removal;
    switch (read_flow(std::string_view(ran.output).substr(at, end - at), write, removal)) {
      case flow_reading::own:
        apply_write(image, write);
        break;
      case flow_reading::not_understood:
        strays += removal + "\n";
        break;
      case flow_reading::foreign:
        break;
    }
    at = end + 1;
  }
  return strays.empty() ? driver_answer{} : send(strays);
}

}  // namespace v6agent
