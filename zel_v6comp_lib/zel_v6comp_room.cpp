// SPDX-License-Identifier: Apache-2.0
// zel_v6comp_room.cpp - the switches of safe updates and room mode, and what room mode moved.
#include "tcamv6_leftovers.h"
#include "tcamv6_moves_internal.h"
#include "tcamv6_recompress.h"
#include "tcamv6_rules.h"
#include "tcamv6_state_internal.h"
#include "zel_v6comp.h"
#include "zel_v6comp_result.h"

void zel_v6comp_set_safe_updates(uint32_t on) { tcamv6_switch_safe_updates(on != 0); }

uint32_t zel_v6comp_safe_updates() { return tcamv6_safe_updates_on() ? 1 : 0; }

void zel_v6comp_set_room(uint32_t on) { tcamv6_switch_room(on != 0); }

uint32_t zel_v6comp_room() { return tcamv6_rules_now().room ? 1 : 0; }

void zel_v6comp_set_move_limit(uint32_t entries) { tcamv6_limit_moves(entries); }

uint32_t zel_v6comp_moves(int32_t processor, int32_t instance, const zel_v6comp_move **moves, uint32_t *n) {
  if (moves != nullptr) {
    *moves = nullptr;
  }
  if (n != nullptr) {
    *n = 0;
  }
  const tcamv6_state *state = zel_v6comp_instance(processor, instance);
  if (tcamv6_state_unusable(state) || moves == nullptr || n == nullptr) {
    return zel_v6comp_status(TM_EINVAL);
  }
  const tcamv6_move_list *list = tcamv6_moves_of(state);
  *moves = list->count == 0 ? nullptr : list->moves;
  *n = list->count;
  return 0;
}

uint32_t zel_v6comp_recompress(int32_t processor, int32_t instance) {
  constexpr const char *function = "zel_v6comp_recompress";
  tcamv6_state *state = zel_v6comp_instance(processor, instance);
  if (tcamv6_state_unusable(state)) {
    TM_LOG_PROCESSING(error, "%s: Bad arguments", function);
    return zel_v6comp_status(TM_EINVAL);
  }
  tcamv6_reclaim_leftovers();
  tcamv6_moves_begin();
  const int32_t result = tcamv6_recompress(state, tcamv6_rules_now().room);
  if (result == TM_OK) {
    tcamv6_moves_publish(state);
  } else {
    TM_LOG(error, "%s: recompress() failed %d", function, result);
    tcamv6_moves_begin();
  }
  return zel_v6comp_status(result);
}
