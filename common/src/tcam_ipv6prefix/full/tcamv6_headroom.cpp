// SPDX-License-Identifier: Apache-2.0
// tcamv6_headroom.cpp - sharing the spare bits out, so that prefixes of the future find a place.
//
// The tight code of the README's table needs 5 bits, and 64 are there. What is spare is handed down the ancestor tree
// as limits: `lim` of a prefix is the number of bits that it and all below it may use, so that its own code ends at
// depth 64 - lim. A prefix that keeps its limit also keeps the branching of the uncompressed table (`use_pcmpr`): one
// code bit for each place where stored prefixes part, so that neighbours stay neighbours and a later prefix fits in
// between.
//
// For a root R with limit `lim` and a child H:
//
//   P  edges from R to H in the path-compressed trie: the code bits that branching alone costs
//   L  edges of the longest branch below H
//   w  cost of H by the tight code
//
//        R ----P edges---- H ----L edges---- furthest leaf
//        |<------------------- lim bits ------------------------>|
//                          |<----- r = lim - P ------------------>|
//                                            |<-- r - L spare --->|
//
// H gets r, less one of L + 2 equal shares of what is spare, which stays at this level for prefixes that will lie
// beside H: r - (r - L) / (L + 2). In the README's table, prefix and limit:
//
//   ::/0 64 ---> 2001:db8::/32 55 ---> db8:ffff::/48 43 ---> its /64 32 ---> its /96 21 ---> its /128 0
//     (P 1, L 5)    |         (P 2, L 3)            (P 1, L 2)      (P 1, L 1)
//                   |---> db8:2::/48 36 ---> db8:2:3::/64 18
//                   |         (P 2, L 1)           (P 1, L 0)
//                   |---> db8:1::/48 27
//                             (P 2, L 0)
//
// A child that lies too far (lim < P + L, or lim < P + w) gets the tight w, and R loses its branching: the tight code
// takes over for all children of R. A child whose limit would not be below R's refuses the table.
//
// Dummies and full-length prefixes have nothing below them: limit 0, they end at 64 bits.
//
// Widths and signs are part of the rule: P + w and P + L are unsigned 32-bit sums (L sign-extended from 8 bits), the
// comparisons of r are signed. Cost: one visit a prefix.
#include "tcamv6_headroom.h"

#include <cassert>

#include "tm_debug.h"
#include "tm_pcmpr_trie.h"

namespace {

constexpr const char *walk = "tcamv6_opt_tree_for_updates";

using child_room = tcamv6_child_room;

uint32_t path_and_cost(const child_room *room) { return static_cast<uint32_t>(room->path) + room->cost; }

uint32_t path_and_branch(const child_room *room) {
  return static_cast<uint32_t>(room->path) + static_cast<uint32_t>(int32_t{room->longest});
}

int32_t measure_child(const tcamv6_anc_data *root, const tcamv6_anc_data *child, const tcamv6_pcmpr_place *place,
                      child_room *room) {
  if (child->orig == TM_CHUNK_IDX_NULL) {
    zel_fatal("\n%s child_anc NULL", walk);
  }
  if (root->orig == TM_CHUNK_IDX_NULL) {
    zel_fatal("\n%s root_anc NULL", walk);
  }
  *room = tcamv6_measure_child(child, place);
  TM_LOG(info, "%s: Path to child %d", walk, room->path);
  if (room->path < 0) {
    TM_LOG(error, "%s: pcmpr_len() failed %d", walk, room->path);
    return room->path;
  }
  return TM_OK;
}

void set_dummy(const tcamv6_anc_data *root, tcamv6_anc_data *child) {
  tcamv6_anc_set_uses_pcmpr(child, false);
  tcamv6_anc_set_lim(child, 0);
  TM_LOG(info, "%s: formula 0 root(cost:%d,ht:%d,lim:%d) child(cost:%d,ht:%d,lim:%d) extension", walk, root->cost,
         root->ht, tcamv6_anc_lim(root), child->cost, child->ht, 0);
}

void log_formula(int formula, const tcamv6_anc_data *root, const tcamv6_anc_data *child, const child_room *room) {
  TM_LOG(info,
         "%s: formula %d root(cost:%d,ht:%d,lim:%d) path to child %d longest child branch %d "
         "child(cost:%d,ht:%d,lim:%d)",
         walk, formula, root->cost, root->ht, tcamv6_anc_lim(root), room->path, room->longest, room->cost, child->ht,
         room->limit);
}

// A root that cannot give a child its path and what lies below loses the branching of the path-compressed trie.
void check_paths(tcamv6_anc_data *root, int32_t lim, const child_room *room) {
  if (static_cast<uint32_t>(lim) < path_and_branch(room)) {
    TM_LOG(
        error,
        "%s: WARNING: Path length from the root to a child (%d) to its furthest leaf (%d) exceeds the root limit (%d)",
        walk, room->path, room->longest, lim);
    tcamv6_anc_set_uses_pcmpr(root, false);
  }
  if (static_cast<uint32_t>(lim) < path_and_cost(room)) {
    TM_LOG(error,
           "%s: WARNING: Path length from the root to a child (%d) plus its bit cost (%d) exceeds the root limit (%d)",
           walk, room->path, room->cost, lim);
    tcamv6_anc_set_uses_pcmpr(root, false);
  }
}

// An ancestor-tree node and its node in the path-compressed trie, null where it has none.
struct tree_place {
  tm_n_ary_node *anc_node;
  const tm_util_trie_node *pcmpr_node;
};

int32_t set_limits(const tcamv6_state *state, const tree_place *at, tcamv6_anc_data *root, int32_t limit);

int32_t set_child(const tcamv6_state *state, tcamv6_anc_data *root, tm_n_ary_node *child_node,
                  const tcamv6_pcmpr_place *place) {
  tcamv6_anc_data *child = tcamv6_anc_data_of(child_node);
  child_room room = {};
  const int32_t measured = measure_child(root, child, place, &room);
  if (measured != TM_OK) {
    return measured;
  }
  assert(place != nullptr);  // or there would have been no path
  // A full-length prefix has nothing below it.
  if (tm_trie_node(child->orig)->len == state->max_pref_len) {
    tcamv6_anc_set_uses_pcmpr(child, true);
    tcamv6_anc_set_lim(child, 0);
    log_formula(1, root, child, &room);
    return TM_OK;
  }
  const int32_t lim = tcamv6_anc_lim(root);
  room.limit = tcamv6_child_limit(lim, &room);
  log_formula(2, root, child, &room);
  if (room.limit >= lim) {
    TM_LOG(error, "%s: ERROR: Child limit (%d) exceeds the root limit (%d)", walk, room.limit, lim);
    return TM_EFAULT;
  }
  check_paths(root, lim, &room);
  const tree_place below = {child_node, place->node};
  return set_limits(state, &below, child, room.limit);
}

void require_data(const tcamv6_anc_data *data, const char *text) {
  if (data == nullptr) {
    zel_fatal("\n%s: %s", walk, text);
  }
}

int32_t set_limits(const tcamv6_state *state, const tree_place *at, tcamv6_anc_data *root, int32_t limit) {
  tm_n_ary_node *anc_node = at->anc_node;
  TM_LOG(trace, "%s: Starting ancestor root %p root_data %p (cost:%d,ht:%d,lim:%d)", walk,
         static_cast<void *>(anc_node), static_cast<void *>(root), root->cost, root->ht, tcamv6_anc_lim(root));
  tcamv6_anc_set_lim(root, limit);
  tcamv6_anc_set_uses_pcmpr(root, true);
  const auto set_one = [&](tm_n_ary_node *child, const tcamv6_pcmpr_place *place) {
    tcamv6_anc_data *data = tcamv6_anc_data_of(child);
    require_data(data, "child_data is NULL");
    const bool is_dummy = tcamv6_anc_is_dummy(data);
    TM_LOG(trace, "%s: root %p child %p child_data %p is_dummy=%s root(cost:%d,ht:%d,lim:%d) child(cost:%d,ht:%d)",
           walk, static_cast<void *>(anc_node), static_cast<void *>(child), static_cast<void *>(data),
           is_dummy ? "TRUE" : "FALSE", root->cost, root->ht, tcamv6_anc_lim(root), data->cost, data->ht);
    if (is_dummy) {
      set_dummy(root, data);
      return int32_t{TM_OK};
    }
    return set_child(state, root, child, place);
  };
  const int32_t result = tcamv6_visit_children(at->pcmpr_node, anc_node, set_one);
  TM_LOG(trace, "%s: Complete %d", walk, result);
  return result;
}

}  // namespace

tcamv6_child_room tcamv6_measure_child(const tcamv6_anc_data *child, const tcamv6_pcmpr_place *place) {
  if (place == nullptr) {
    return {TM_EINVAL, 0, child->cost, 0};
  }
  const auto longest = static_cast<int8_t>(tm_ptr<tcamv6_pcmpr_data>(place->node->data)->longest);
  return {place->edges, longest, child->cost, 0};
}

bool tcamv6_branch_is_far(int32_t lim, const tcamv6_child_room *room) {
  return static_cast<uint32_t>(lim) < path_and_branch(room);
}

bool tcamv6_child_is_far(int32_t lim, const tcamv6_child_room *room) {
  return static_cast<uint32_t>(lim) < path_and_cost(room) || tcamv6_branch_is_far(lim, room);
}

int32_t tcamv6_child_limit(int32_t lim, const tcamv6_child_room *room) {
  const int32_t cost = room->cost;
  if (tcamv6_child_is_far(lim, room)) {
    return cost;
  }
  const int32_t limit = tcamv6_room_less_share(lim - room->path, room->longest);
  return limit > cost ? limit : cost;
}

int32_t tcamv6_room_less_share(int32_t room, int32_t longest) {
  if (room <= longest) {
    return room;
  }
  const auto spare = static_cast<uint32_t>(room - longest);
  const auto levels = static_cast<uint32_t>(longest + 2);
  return room - static_cast<int32_t>(levels == 0 ? 0 : spare / levels);
}

int32_t tcamv6_opt_tree_for_updates(tcamv6_state *state, tm_n_ary_node *anc_node, int32_t limit) {
  TM_REQUIRE(walk, anc_node != nullptr, "anc_tree_root is NULL");
  tcamv6_anc_data *root = tcamv6_anc_data_of(anc_node);
  require_data(root, "root_data is NULL");
  const tree_place top = {anc_node, tcamv6_pcmpr_node_of(tm_trie_node(state->pcmpr_root), root)};
  return set_limits(state, &top, root, limit);
}
