// SPDX-License-Identifier: Apache-2.0
// tcamv6_fit.cpp - codes for a table that the documented limits refuse although its tight code is short enough.
//
// What goes wrong. A full compression first counts the bits of the tight code, the cost of the root: with more than 64
// the table cannot be coded at all. Then it hands limits down (tcamv6_headroom.cpp), builds each prefix's local tree,
// the nodes from its own compressed node down to its children's (tcamv6_cmpr_tree.cpp), and puts every node at a depth
// (tcamv6_sparse.cpp). The depths of nodes between are guessed from the children's limits, and a guess can be too deep:
//
//        [/32]  32                 [ ] owns a compressed node, with its depth; ( ) stands between
//        /    \.
//     (a)  33  [x]  36             The address of the /32 ("dummy") asks for its node's parent to stand right below the
//     /  \.                        /32, at 33, wherever that parent is. Four levels down in the tight tree, (b) stands
//   ...   (b)  33  <- not deeper   at 33 and so does (a) above it.
//         /  \.
//     dummy   [y]
//
// A long branch below one single child is enough: the path-compressed branching is taken from all its siblings, the
// tight tree comes in, and the depths contradict each other. The table is refused with 14, or with 1 where the guess
// falls below 0, though next to no code space is in use. One host that is left out of a /32 does it: 96 siblings, /33
// to /128.
//
// What is done. Costs and local trees are local: the local tree of a prefix lies between its own node and its
// children's nodes and touches no other. So one walk from the root down treats only the prefixes whose local trees
// contradict themselves, and leaves all others as documented:
//
//   documented   limits, tree and depths by the documented rules.
//                Stays when every node is deeper than the one above it.
//
//   relaxed      The same, but what is long below a far child counts as the child's cost only:
//                it can be coded tight, and is no reason to take the branching from its siblings.
//                Where at most 1 in 32 children is far, and the child keeps an eighth of the spare bits.
//                Few siblings' codes change, or none.
//
//   blocks       The children as aligned blocks in the prefix's block of 2^limit codes: in the branching
//                of the table as far as there is room, the spare bits shared out by need
//                (tcamv6_fit_blocks.cpp).
//
//   before                         after (blocks; limit 9, 18 children of cost 0, one of cost 8)
//        [/32] refused                   [/32]
//                                        0/  \1                [y] has the larger half, and with it the
//                                       ( )   [y]              room for what lies below
//                                      /   \.
//                                  [a][b]   [c] .. dummy       every node between exactly where it is
//
// Why it never has to climb. The walk keeps  limit(X) >= cost(X)  at every prefix X. At the root 64 >= cost, or the
// table was refused before. The documented formula and the relaxed one never go below the cost. Blocks: the cost of X
// is the smallest c with  1 + sum over its children of 2^cost <= 2^c  (the 1 is X's own address), and largest blocks
// first need no more than their sum; so with no spare bits the children fit into 2^limit(X), and each gets its cost at
// least. So the walk finds a place for every child, never goes back up, and fails for want of memory only. A table is
// refused if and only if its tight code needs more than 64 bits.
//
// The open set. Going down is enough for codes, not for room. A far child's limit is cut to its cost, without a spare
// bit: if the subtree below was treated, later batches will want to come in right there, and 40 spare bits may lie
// above the cut. So after a round the treated prefixes and all above them are open, and where the limit of an open
// child was cut, the local tree around it is laid out again, with all below: relaxed, or, where that contradicts
// itself, raised:
//
//   raised       The documented tree; the cut child moves up its own chain, which nothing else uses,
//                to two bits short of the node above it. Nobody else's code changes.
//
// That may treat further prefixes, whose ancestors are open then: rounds go on while the open set grows, which it can
// only do as often as the tree is high. Two rounds were enough in every table seen; after `most_rounds` cut limits stay
// cut.
//
//        (e) 12                    (e) 12
//         |                         |                          limit of [x] before: its cost, 9 of 64 - 55
//         : chain of 42     =>     [x] 15                      after: 64 - 15 = 49 bits for what comes below [x]
//         |                         |
//        [x] 55                    ...
//
// Anchors are prefixes like all others here. Pitfalls, each met once: a depth is never returned as an error (a limit of
// -1 is not "no permission"); keys of nodes are compared within their lengths only; the tree of the tight code is not
// taken apart to mend it, since its order among equals decides codes that must not change; full-length prefixes ask for
// no room, or the hosts of a table eat what the rest needs.
#include "tcamv6_fit.h"

#include "tcamv6_cmpr_tree.h"
#include "tcamv6_fit_local.h"
#include "tcamv6_siblings.h"
#include "tcamv6_sparse.h"
#include "tm_debug.h"
#include "tm_key.h"

namespace {

constexpr const char *walk = "tcamv6_fit";
constexpr uint32_t few = 32;        // the relaxed rule is tried where at most this part of the children is far
constexpr int32_t most_rounds = 8;  // of raising cut limits

// One table being fitted.
struct fitting {
  tcamv6_state *state;
  uint32_t n_relaxed;
  uint32_t n_raised;
  uint32_t n_blocks;
};

bool has_marks(const tcamv6_anc_data *data, uint16_t marks) { return (data->bits & marks) == marks; }

void add_mark(tcamv6_anc_data *data, uint16_t mark) { data->bits = static_cast<uint16_t>(data->bits | mark); }

void clear_marks(tcamv6_anc_data *data, uint16_t marks) { data->bits = static_cast<uint16_t>(data->bits & ~marks); }

bool has_open_cut_child(const tm_n_ary_node *node) {
  for (const tm_n_ary_node *child = tcamv6_anc_first_child(node); child != nullptr; child = tcamv6_anc_next(child)) {
    if (has_marks(tcamv6_anc_data_of(child), TCAMV6_FIT_CUT | TCAMV6_FIT_OPEN)) {
      return true;
    }
  }
  return false;
}

// ---- costs

constexpr int32_t too_many = TCAMV6_MAX_CMPR_LEN + 1;

int32_t bits_for(tm_key_number codes) {
  int32_t bits = 0;
  while (bits < too_many && (tm_key_number{1} << bits) < codes) {
    ++bits;
  }
  return bits;
}

// ---- one prefix

void note_treated(tm_n_ary_node *node, const char *how, uint32_t *count) {
  tcamv6_anc_data *data = tcamv6_anc_data_of(node);
  add_mark(data, TCAMV6_FIT_TREATED);
  for (tm_n_ary_node *child = tcamv6_anc_first_child(node); child != nullptr; child = tcamv6_anc_next(child)) {
    clear_marks(tcamv6_anc_data_of(child), TCAMV6_FIT_CUT);
  }
  ++*count;
  TM_LOG(info, "%s: anc node %p (cost:%d,ht:%d,lim:%d) %s", walk, static_cast<void *>(node), data->cost, data->ht,
         tcamv6_anc_lim(data), how);
}

int32_t place_relaxed(fitting *fit, tm_n_ary_node *node) {
  uint32_t n_cut;
  const int32_t result = tcamv6_fit_local_tree(fit->state, node, tcamv6_fit_rule::relaxed, &n_cut);
  if (result == TM_OK) {
    note_treated(node, "relaxed", &fit->n_relaxed);
  }
  return result;
}

// The documented tree, which is known to be sound, with the open cut children raised.
int32_t place_raised(fitting *fit, tm_n_ary_node *node) {
  uint32_t n_cut;
  const int32_t result = tcamv6_fit_local_tree(fit->state, node, tcamv6_fit_rule::documented, &n_cut);
  if (result != TM_OK) {
    return result;
  }
  tcamv6_fit_raise(fit->state, node);
  note_treated(node, "raised", &fit->n_raised);
  return TM_OK;
}

int32_t place_blocks(fitting *fit, tm_n_ary_node *node) {
  const int32_t result = tcamv6_fit_local_blocks(fit->state, node);
  if (result == TM_OK) {
    note_treated(node, "laid out in blocks", &fit->n_blocks);
  }
  return result;
}

// Place the children of a node that has its own limit and compressed node.
int32_t place_children(fitting *fit, tm_n_ary_node *node) {
  uint32_t n_cut;
  int32_t result = tcamv6_fit_local_tree(fit->state, node, tcamv6_fit_rule::documented, &n_cut);
  const bool sound = result == TM_OK;
  if ((!sound && result != TM_EFAULT) || (sound && !has_open_cut_child(node))) {
    return result;
  }
  if (sound) {
    tcamv6_fit_release_below(node);
  }
  if (sound || n_cut * few <= tcamv6_count_children(node)) {
    result = place_relaxed(fit, node);
    if (result != TM_EFAULT) {
      return result;
    }
  }
  return sound ? place_raised(fit, node) : place_blocks(fit, node);
}

// ---- the walk

int32_t place_subtree(fitting *fit, tm_n_ary_node *node) {
  if (node->child == TM_CHUNK_IDX_NULL) {
    return TM_OK;
  }
  int32_t result = place_children(fit, node);
  for (tm_n_ary_node *child = tcamv6_anc_first_child(node); result == TM_OK && child != nullptr;
       child = tcamv6_anc_next(child)) {
    result = place_subtree(fit, child);
  }
  return result;
}

int32_t place_root(fitting *fit, tm_n_ary_node *root) {
  tcamv6_anc_data *data = tcamv6_anc_data_of(root);
  tcamv6_anc_set_lim(data, static_cast<int32_t>(fit->state->max_cmpr_len));
  tcamv6_anc_set_uses_pcmpr(data, true);
  const int32_t made = tcamv6_make_cmpr_node(data);
  if (made != TM_OK) {
    return made;
  }
  return tcamv6_put_limit(tcamv6_cmpr_node(data), 0, false) == nullptr ? TM_ENOMEM : place_subtree(fit, root);
}

// ---- rounds

// Open the treated nodes and all above them. Returns whether the node is open; Sets `grown` when one is newly so.
bool open_treated(tm_n_ary_node *node, bool *grown) {
  tcamv6_anc_data *data = tcamv6_anc_data_of(node);
  bool open = has_marks(data, TCAMV6_FIT_TREATED);
  for (tm_n_ary_node *child = tcamv6_anc_first_child(node); child != nullptr; child = tcamv6_anc_next(child)) {
    open = open_treated(child, grown) || open;
  }
  if (open && !has_marks(data, TCAMV6_FIT_OPEN)) {
    add_mark(data, TCAMV6_FIT_OPEN);
    *grown = true;
  }
  return open;
}

// Lay out anew what lies below the uppermost nodes with an open cut child.
int32_t place_cut_again(fitting *fit, tm_n_ary_node *node) {
  if (!has_marks(tcamv6_anc_data_of(node), TCAMV6_FIT_OPEN)) {
    return TM_OK;
  }
  if (has_open_cut_child(node)) {
    tcamv6_fit_release_below(node);
    return place_subtree(fit, node);
  }
  int32_t result = TM_OK;
  for (tm_n_ary_node *child = tcamv6_anc_first_child(node); result == TM_OK && child != nullptr;
       child = tcamv6_anc_next(child)) {
    result = place_cut_again(fit, child);
  }
  return result;
}

int32_t place_all(fitting *fit, tm_n_ary_node *root) {
  int32_t result = place_root(fit, root);
  for (int32_t round = 1; result == TM_OK && round < most_rounds; ++round) {
    bool grown = false;
    open_treated(root, &grown);
    if (!grown) {
      break;
    }
    result = place_cut_again(fit, root);
  }
  return result;
}

// ---- before and after

void forget_compressed_nodes(tm_n_ary_node *node) {
  tcamv6_anc_data *data = tcamv6_anc_data_of(node);
  data->cmpr_node = TM_CHUNK_IDX_NULL;
  clear_marks(data, TCAMV6_FIT_MARKS);
  for (tm_n_ary_node *child = tcamv6_anc_first_child(node); child != nullptr; child = tcamv6_anc_next(child)) {
    forget_compressed_nodes(child);
  }
}

void end_marks(const tm_n_ary_node *node) {
  clear_marks(tcamv6_anc_data_of(node), TCAMV6_FIT_MARKS);
  for (const tm_n_ary_node *child = tcamv6_anc_first_child(node); child != nullptr; child = tcamv6_anc_next(child)) {
    end_marks(child);
  }
}

// All nodes have depths that grow; the pass over them only gathers what the keys need.
int32_t finish(tm_util_trie_node *cmpr_root) {
  const int32_t result = tcamv6_set_cmpr_trie_node_limits(cmpr_root, 0, 0);
  return result < 0 ? result : tcamv6_extend_cmpr_trie(cmpr_root);
}

}  // namespace

int32_t tcamv6_fit_costs(tm_n_ary_node *node) {
  if (node->child == TM_CHUNK_IDX_NULL) {
    return 0;
  }
  tm_key_number codes = 1;  // the address
  for (tm_n_ary_node *child = tcamv6_anc_first_child(node); child != nullptr; child = tcamv6_anc_next(child)) {
    if (!tcamv6_anc_is_dummy(tcamv6_anc_data_of(child))) {
      codes += tm_key_number{1} << tcamv6_fit_costs(child);
    }
  }
  const int32_t bits = bits_for(codes);
  tcamv6_anc_data_of(node)->cost = static_cast<uint8_t>(bits);
  return bits;
}

int32_t tcamv6_fit(tcamv6_state *state, tm_util_trie_node **cmpr_rootp) {
  TM_LOG(trace, "%s: Starting state %p", walk, static_cast<void *>(state));
  tm_n_ary_node *root = tcamv6_anc_node(state->anc_root);
  tm_util_trie_free(*cmpr_rootp, 1, TM_V6_ORIG_DATA);
  *cmpr_rootp = nullptr;
  forget_compressed_nodes(root);
  fitting fit = {state, 0, 0, 0};
  int32_t result = place_all(&fit, root);
  if (result == TM_OK) {
    *cmpr_rootp = tcamv6_cmpr_node(tcamv6_anc_data_of(root));
    result = finish(*cmpr_rootp);
  }
  if (result == TM_OK) {
    end_marks(root);
  }
  TM_LOG(info, "%s: relaxed %u, raised %u, laid out in blocks %u", walk, fit.n_relaxed, fit.n_raised, fit.n_blocks);
  TM_LOG(trace, "%s: Complete %d", walk, result);
  return result;
}
