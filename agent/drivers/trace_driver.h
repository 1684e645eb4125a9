// SPDX-License-Identifier: Apache-2.0
// trace_driver.h - writes as lines of text, for people who drive other hardware.
//
// One write a line, `done N` behind the N writes of a step:
//   put source 2001:db8::/32 key 0x5c00000000000000
//   put destination 2001:db8::/32 key 0x5c00000000000000 egress 7
//   remove destination 2001:db8::/32
//   put rule 60000 source 0x5c/6 destination 0x0/0 protocol 6 sport 0/0x0 dport 443/0xffff permit
//   remove rule 59999 source 0x5c/6 destination 0x0/0 protocol 256 sport 0/0x0 dport 0/0x0
//   done 5
// A trace in a file is also the switch's memory: what its lines put is what the agent finds when it starts again. A
// step without its last line has not happened, and is cut off.
#ifndef TRACE_DRIVER_H
#define TRACE_DRIVER_H

#include <string>
#include <string_view>

#include "switch_driver.h"

namespace v6agent {

class trace_driver final : public switch_driver {
 public:
  // `-` is standard output, which remembers nothing. Throws std::runtime_error when the file cannot be opened.
  explicit trace_driver(const std::string &path);
  ~trace_driver() override;

  driver_answer write(const switch_step &step) override;
  driver_answer read(switch_image &image) override;

 private:
  int file_ = -1;
  bool remembers_ = true;
  switch_image printed_;  // where the file remembers nothing
};

std::string trace_line(const switch_write &write);
bool parse_trace_line(std::string_view line, switch_write &write);

}  // namespace v6agent

#endif
