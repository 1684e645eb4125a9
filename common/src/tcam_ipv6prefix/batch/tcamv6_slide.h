// SPDX-License-Identifier: Apache-2.0
// tcamv6_slide.h - a code that goes up or down its own path, with all below it left where it is.
#ifndef TCAMV6_SLIDE_H
#define TCAMV6_SLIDE_H

#include "tcamv6_newcomer.h"
#include "tcamv6_recode.h"

// What a prefix's node leads to: its compressed node, the code that it is, its node in the trie of uncompressed
// prefixes.
inline tm_util_trie_node *tcamv6_prefix_node(const tm_n_ary_node *prefix) {
  return tcamv6_cmpr_node(tcamv6_anc_data_of(prefix));
}
inline tcamv6_code tcamv6_prefix_code(const tm_n_ary_node *prefix) {
  return tcamv6_code_of(tcamv6_prefix_node(prefix));
}
inline const tm_util_trie_node *tcamv6_prefix_stored(const tm_n_ary_node *prefix) {
  return tm_trie_node(tcamv6_anc_data_of(prefix)->orig);
}
inline bool tcamv6_prefix_is_dummy(const tm_n_ary_node *prefix) {
  return tcamv6_anc_is_dummy(tcamv6_anc_data_of(prefix));
}
inline tm_util_trie_node *tcamv6_cmpr_root_of(const tcamv6_newcomer *newcomer) {
  return tm_trie_node(newcomer->state->cmpr_root);
}

// Take all of a list off their codes, and put them where they are to go.
tcamv6_outcome tcamv6_lift_and_put(const tcamv6_recoding *recoding);

// Make room below the newcomer's parent by the cheapest slide: the parent's own up, or a child's down. Returns false,
// and nothing is done, when there is none; else what became of it.
bool tcamv6_slide_for_leaf(const tcamv6_newcomer *newcomer, tcamv6_outcome *outcome);

// The only adopted child goes down, and the newcomer gets its code. Returns false when it cannot.
bool tcamv6_slide_adopted(tcamv6_newcomer *newcomer, tcamv6_outcome *outcome);

#endif
