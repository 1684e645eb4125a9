// SPDX-License-Identifier: Apache-2.0
// tcamv6_state_internal.h - the global block, and emptying instances.
#ifndef TCAMV6_STATE_INTERNAL_H
#define TCAMV6_STATE_INTERNAL_H

#include "tcamv6_state.h"
#include "tm_chunk_internal.h"
#include "tm_prefix_internal.h"

struct gbl_state_block {
  tcamv6_conf conf[TCAMV6_MAX_PROCESSORS][TCAMV6_MAX_INSTANCES];
  tm_chunk_info chunk_info[TM_CHUNK_TYPES];
  tcamv6_state state[TCAMV6_MAX_PROCESSORS][TCAMV6_MAX_INSTANCES];
};

TM_ASSERT_SIZE(gbl_state_block, 8193088);
TM_ASSERT_OFFSET(gbl_state_block, chunk_info, 128);
TM_ASSERT_OFFSET(gbl_state_block, state, 384);

// The global block; null before zel_v6comp_init_global_state.
extern gbl_state_block *gbl_state;

// Can the state not be used: is it null, or kept by a reset that nobody cleared?
inline bool tcamv6_state_unusable(const tcamv6_state *state) {
  return state == nullptr || (state->marks & TCAMV6_MARK_KEPT) != 0;
}

// Tags for prefixes that came without one: the next; how many have been handed out; and taking back those after a
// count, when everything that got one is taken back too.
uint32_t tcamv6_next_tag(void);
uint32_t tcamv6_tags_handed_out(void);
void tcamv6_take_back_tags(uint32_t handed_out);

// Release the four structures, the extra operations and the read index to pools and heap, leaving the links as they
// are.
void tcamv6_release_contents(tcamv6_state *state);

// Clear a record, keeping its limits.
void tcamv6_clear_state(tcamv6_state *state);

#endif
