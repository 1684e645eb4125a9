// SPDX-License-Identifier: Apache-2.0
// tcamv6_phases.h - from the trie of uncompressed prefixes to the finished compressed trie.
#ifndef TCAMV6_PHASES_H
#define TCAMV6_PHASES_H

#include "tcamv6_anc_tree.h"
#include "tcamv6_state.h"

// What one layout works on and makes.
struct tcamv6_phases {
  tcamv6_state *state;           // its trees_built is 0; anc_root and pcmpr_root become this layout's
  tm_util_trie_node *orig_root;  // printable, every prefix tagged
  tm_util_trie_node *cmpr_root;  // out: with keys
  tm_n_ary_node *anc_root;       // out
  bool fits;                     // lay out what the documented limits refuse (tcamv6_fit.h)
};

// Cost the table, hand out limits, build the compressed trie and make it sparse.
// Returns 0; -75 the tight code is too long; -12; and without `fits` -14 or a negative limit. What was built before a
// failure stays, the compressed nodes hanging from the ancestor tree. The path-compressed trie is the caller's to
// release.
int32_t tcamv6_run_phases(tcamv6_phases *run);

#endif
