// SPDX-License-Identifier: Apache-2.0
// openflow_driver.h - a switch that speaks OpenFlow 1.5, by way of ovs-ofctl.
//
// A step is one bundle: the switch puts all of it in force at once or nothing, and acknowledges it before the next step
// goes out.
#ifndef OPENFLOW_DRIVER_H
#define OPENFLOW_DRIVER_H

#include <chrono>
#include <string>
#include <utility>

#include "child_process.h"
#include "switch_driver.h"

namespace v6agent {

struct openflow_options {
  std::string bridge = "br0";         // a name, or a connection as `tcp:127.0.0.1:6653`
  std::string program = "ovs-ofctl";  // looked for in PATH
  std::chrono::milliseconds time_limit{30000};
};

class openflow_driver final : public switch_driver {
 public:
  explicit openflow_driver(openflow_options options) : options_(std::move(options)) {}

  driver_answer write(const switch_step &step) override;
  driver_answer read(switch_image &image) override;
  driver_answer count(std::optional<size_t> &entries) override;

 private:
  driver_answer send(const std::string &lines) const;
  child_answer ask(const char *what) const;

  openflow_options options_;
};

}  // namespace v6agent

#endif
