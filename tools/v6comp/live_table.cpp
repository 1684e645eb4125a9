// SPDX-License-Identifier: Apache-2.0
#include "live_table.h"

#include "compatible_live_table.h"
#include "room_live_table.h"

namespace v6tool {

std::unique_ptr<live_table> open_live_table(const prefix_table &table, const update_history &history,
                                            const live_options &options) {
  if (options.common.room) {
    return std::make_unique<room_live_table>(table, history, options);
  }
  return std::make_unique<compatible_live_table>(table, history, options);
}

std::string policy_name(const live_options &options) {
  if (options.common.room) {
    return "room";
  }
  return options.policy == nullptr ? default_policy().name : options.policy->name;
}

}  // namespace v6tool
