// SPDX-License-Identifier: Apache-2.0
#include "tcamv6_rules.h"

namespace {

struct switches {
  bool safe;
  bool room;
  uint32_t most_moves;
};

switches set = {false, false, TCAMV6_NO_MOVE_LIMIT};

const tcamv6_update_rules *lent = nullptr;

}  // namespace

void tcamv6_lend_rules(const tcamv6_update_rules *rules) { lent = rules; }

tcamv6_update_rules tcamv6_rules_now() {
  if (lent != nullptr) {
    return *lent;
  }
  const bool safe = tcamv6_safe_updates_on();
  return {safe, safe, safe, set.room, set.most_moves};
}

void tcamv6_switch_safe_updates(bool on) { set.safe = on; }

void tcamv6_switch_room(bool on) { set.room = on; }

void tcamv6_limit_moves(uint32_t most) { set.most_moves = most; }

bool tcamv6_safe_updates_on() { return set.safe || set.room; }
