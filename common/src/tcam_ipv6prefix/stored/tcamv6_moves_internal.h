// SPDX-License-Identifier: Apache-2.0
// tcamv6_moves_internal.h - keeping the moves of requests, instance by instance.
#ifndef TCAMV6_MOVES_INTERNAL_H
#define TCAMV6_MOVES_INTERNAL_H

#include "tcamv6_moves.h"
#include "tcamv6_state.h"

// A request collects its moves aside and publishes them when it is accepted. Until then, and when it is refused, those
// of the instance's last accepted request stay. Collecting one at a time: requests do not overlap.

struct tcamv6_move_list {
  zel_v6comp_move *moves;  // null when there are none
  uint32_t count;
  uint32_t room;
};

// Begin to collect: what an unpublished request had collected is forgotten.
void tcamv6_moves_begin(void);

// Add one to those being collected. Returns 0 or -12.
int32_t tcamv6_moves_add(const zel_v6comp_move *move);

// What has been collected so far; entries may be taken out by moving later ones up and lowering the count.
tcamv6_move_list *tcamv6_moves_collected(void);

// The request was accepted: what it collected becomes the instance's list, also when that is empty.
void tcamv6_moves_publish(const tcamv6_state *state);

// The list of an instance of the global block; an empty one for any other state.
const tcamv6_move_list *tcamv6_moves_of(const tcamv6_state *state);

// Forget an instance's list, or everything: it is cleared, or the global block is made anew.
void tcamv6_moves_forget(const tcamv6_state *state);
void tcamv6_moves_forget_all(void);

#endif
