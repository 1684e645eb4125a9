// SPDX-License-Identifier: Apache-2.0
// switch_driver.h - what the agent asks of a switch. docs/switch.md tells how to write a driver.
#ifndef SWITCH_DRIVER_H
#define SWITCH_DRIVER_H

#include <cstddef>
#include <optional>
#include <string>

#include "switch_entries.h"

namespace v6agent {

enum class driver_status {
  done,
  refused,     // the switch said no: full, or an entry that it cannot hold
  unreachable  // nobody answered: what the switch holds is not known before it is read again
};

struct driver_answer {
  driver_status status = driver_status::done;
  std::string reason;  // in words, unless done
};

class switch_driver {
 public:
  switch_driver() = default;
  switch_driver(const switch_driver &) = delete;
  switch_driver &operator=(const switch_driver &) = delete;
  virtual ~switch_driver() = default;

  // Do the writes of a step in their order.
  //
  // Done: the switch has acknowledged all of them, and packets meet them from now on. Refused: none of them is in
  // force. A switch that cannot take a step whole takes its writes one after the other, and takes those back that it
  // had done when one is refused: every order of the agent is safe after every single write.
  virtual driver_answer write(const switch_step &step) = 0;

  // Everything that this driver has in the switch, which outlives the agent. What the driver finds that is not its own
  // it leaves alone; what is its own and cannot be understood it removes.
  virtual driver_answer read(switch_image &image) = 0;

  // How many entries `read` would find, where the switch can tell cheaply; else `entries` stays none. Asked every few
  // seconds: a switch that was started anew is empty, and takes writes as before.
  virtual driver_answer count(std::optional<size_t> &entries) {
    entries.reset();
    return {};
  }
};

}  // namespace v6agent

#endif
