// SPDX-License-Identifier: Apache-2.0
// tcamv6_lookup_index.h - building an instance's read index, with the answers of all its prefixes.
#ifndef TCAMV6_LOOKUP_INDEX_H
#define TCAMV6_LOOKUP_INDEX_H

#include "tcamv6_read_index.h"

// Build the index of a compressed instance, unless it is there. Lookups use it until the table changes.
// Returns 0; -12 no memory, or more than an index may take; -14 broken links; -22 nothing is compressed. Then the tries
// go on answering.
int32_t tcamv6_build_lookup_index(tcamv6_state *state);

// The same for hosts that ask for rows, and nothing else: anchors are left out, and the two lookups go on by the tries.
// It is smaller, and always there but for want of memory.
int32_t tcamv6_build_row_index(tcamv6_state *state);

// Gather the answer for a stored prefix from the tries. Returns 0 or -14.
int32_t tcamv6_gather_answer(const tm_util_trie_node *node, tcamv6_read_answer *answer);

#endif
