// SPDX-License-Identifier: Apache-2.0
#include "tcamv6_moves_internal.h"

#include <string.h>

#include "tcamv6_state_internal.h"
#include "tm_memory.h"

namespace {

constexpr uint32_t first_room = 16;

tcamv6_move_list collected = {};
tcamv6_move_list published[TCAMV6_MAX_PROCESSORS][TCAMV6_MAX_INSTANCES] = {};
constexpr tcamv6_move_list none = {};

void clear(tcamv6_move_list *list) {
  tm_free(list->moves);
  *list = {};
}

tcamv6_move_list *list_of(const tcamv6_state *state) {
  for (int32_t processor = 0; gbl_state != nullptr && processor < TCAMV6_MAX_PROCESSORS; ++processor) {
    for (int32_t instance = 0; instance < TCAMV6_MAX_INSTANCES; ++instance) {
      if (state == &gbl_state->state[processor][instance]) {
        return &published[processor][instance];
      }
    }
  }
  return nullptr;
}

bool grow(tcamv6_move_list *list) {
  const uint32_t room = list->room == 0 ? first_room : 2 * list->room;
  auto *moves = static_cast<zel_v6comp_move *>(zel_malloc_named(TM_MEM_TAG_LIST, room * sizeof(zel_v6comp_move)));
  if (moves == nullptr) {
    return false;
  }
  if (list->count != 0) {
    memcpy(moves, list->moves, list->count * sizeof *moves);
  }
  tm_free(list->moves);
  list->moves = moves;
  list->room = room;
  return true;
}

}  // namespace

void tcamv6_moves_begin() { clear(&collected); }

int32_t tcamv6_moves_add(const zel_v6comp_move *move) {
  if (collected.count == collected.room && !grow(&collected)) {
    return TM_ENOMEM;
  }
  collected.moves[collected.count++] = *move;
  return TM_OK;
}

tcamv6_move_list *tcamv6_moves_collected() { return &collected; }

void tcamv6_moves_publish(const tcamv6_state *state) {
  tcamv6_move_list *list = list_of(state);
  if (list == nullptr) {
    clear(&collected);
    return;
  }
  clear(list);
  if (collected.count == 0) {
    clear(&collected);
  }
  *list = collected;
  collected = {};
}

const tcamv6_move_list *tcamv6_moves_of(const tcamv6_state *state) {
  const tcamv6_move_list *list = list_of(state);
  return list != nullptr ? list : &none;
}

void tcamv6_moves_forget(const tcamv6_state *state) {
  tcamv6_move_list *list = list_of(state);
  if (list != nullptr) {
    clear(list);
  }
}

void tcamv6_moves_forget_all() {
  clear(&collected);
  for (auto &processor : published) {
    for (tcamv6_move_list &list : processor) {
      clear(&list);
    }
  }
}
