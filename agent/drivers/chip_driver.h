// SPDX-License-Identifier: Apache-2.0
// chip_driver.h - a driver for hardware that takes one entry at a time, as the kits of most chips do. An example to
// begin with: docs/switch.md goes through it.
#ifndef CHIP_DRIVER_H
#define CHIP_DRIVER_H

#include <functional>
#include <string>
#include <utility>

#include "switch_driver.h"

namespace v6agent {

// What the kit can do. Each answers "" when the chip has acknowledged, else what it said.
struct chip_calls {
  std::function<std::string(const lookup_place &, const lookup_value &)> put_lookup;
  std::function<std::string(const lookup_place &)> remove_lookup;
  std::function<std::string(const rule_place &, rule_action)> put_rule;
  std::function<std::string(const rule_place &)> remove_rule;
  std::function<bool()> answers;                          // is the chip there at all?
  std::function<void(switch_image &image)> read_entries;  // all that it holds
};

class chip_driver final : public switch_driver {
 public:
  explicit chip_driver(chip_calls calls) : calls_(std::move(calls)) {}

  driver_answer write(const switch_step &step) override;
  driver_answer read(switch_image &image) override;

 private:
  std::string do_one(const switch_write &write) const;
  driver_answer give_up(const switch_step &undo, const std::string &reason);

  const chip_calls calls_;
  switch_image held_;  // as far as we know: what an undone write has to bring back
};

}  // namespace v6agent

#endif
