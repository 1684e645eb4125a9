// SPDX-License-Identifier: Apache-2.0
#include "chip_driver.h"

namespace v6agent {

std::string chip_driver::do_one(const switch_write &write) const {
  switch (write.kind) {
    case write_kind::put_lookup:
      return calls_.put_lookup(write.lookup, write.value);
    case write_kind::remove_lookup:
      return calls_.remove_lookup(write.lookup);
    case write_kind::put_rule:
      return calls_.put_rule(write.rule, write.action);
    case write_kind::remove_rule:
      return calls_.remove_rule(write.rule);
  }
  return "no such write";
}

// One after the other, in the order given: that order is safe after every single write. When one is refused, those
// before it are taken back in the opposite order, and so the chip goes through the same states again.
driver_answer chip_driver::write(const switch_step &step) {
  switch_step undo;
  for (const switch_write &write : step) {
    if (const std::string reason = do_one(write); !reason.empty()) {
      return give_up(undo, reason);
    }
    undo.push_back(apply_write(held_, write));
  }
  return {};
}

driver_answer chip_driver::give_up(const switch_step &undo, const std::string &reason) {
  if (!calls_.answers()) {
    return {driver_status::unreachable, reason};
  }
  for (auto write = undo.rbegin(); write != undo.rend(); ++write) {
    if (const std::string again = do_one(*write); !again.empty()) {
      // Neither done nor undone: the agent has to read what is there.
      return {driver_status::unreachable, reason + "; and the way back: " + again};
    }
    apply_write(held_, *write);
  }
  return {driver_status::refused, reason};
}

driver_answer chip_driver::read(switch_image &image) {
  if (!calls_.answers()) {
    return {driver_status::unreachable, "the chip does not answer"};
  }
  calls_.read_entries(image);
  held_ = image;
  return {};
}

}  // namespace v6agent
