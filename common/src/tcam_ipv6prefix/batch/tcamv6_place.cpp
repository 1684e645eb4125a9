// SPDX-License-Identifier: Apache-2.0
// tcamv6_place.cpp - a place beside the neighbours.
//
// Containment needs no order among siblings: any free code below the parent's is right. But a later prefix can come
// above some of them, and then it needs a node that holds these and no others. So a new prefix is put where it stands
// in the uncompressed table: close to those that share most bits with it, outside their common code, and inside the
// next wider group's.
//
//      uncompressed                     compressed                       X leaves the path to g1, g2 at the
//            P                              P                            branch E. v is the common code of
//           / \                            / .                           the group {g1, g2}. From v upwards
//          .   f                         o    f                          the sides marked ( ) are free: the
//         /                             / .                              run. Below it lies the group, above
//        E--- X (new)                 o   ( )                            it f, of the wider group. X goes
//       / \                          / .                                 where it leaves E, in proportion:
//      g1  g2                       v  ( )                               near v when it left late, near the
//                                  / .                                   end of the run when it left early.
//                                g1   g2
//
// X does not take the whole free side. It goes down to the depth that its length deserves, and at least two bits: a
// quarter of the side or less, so that a block cannot be used up by a handful of siblings. Where there is no run, the
// nearest free depth is taken. That finds a place whenever there is one.
//
// A level goes between the adopted children's common code v and the highest node above it that holds nothing else; in
// proportion, too. Such a node holds others exactly when one of the sides on the way up to it is taken.
//
// Corner cases: the group's code can be outside the parent's while a level is made, and takes no part then; a side can
// be all of the parent's block but an address; a code of 64 bits has nothing below it.
//
// Cost: the keys' bits, for a sample of the group; the search for the nearest free depth walks what is begun and not
// owned above it.
#include "tcamv6_place.h"

#include "tcamv6_incr_add.h"

namespace {

constexpr uint32_t most_samples = 8;  // of a group's codes; more change nothing in the histories measured
constexpr int32_t end_bits = 2;       // left below every code but a full-length prefix's
// What a place takes of a free side: 1 / 2^n of it, n being a sixth of the bits below the side, in these limits. A
// quarter throughout moves three times as many entries in tables that grow; an eighth or less throughout is short of
// bits where a deep prefix is split into hundreds.
constexpr int32_t share_of_side = 6;
constexpr int32_t least_share_bits = 2;
constexpr int32_t most_share_bits = 6;

int32_t larger(int32_t a, int32_t b) { return a > b ? a : b; }
int32_t smaller(int32_t a, int32_t b) { return a < b ? a : b; }

// ---- the nearest free code

struct free_search {
  const tcamv6_code *avoid;
  tcamv6_code best;
};

bool avoids(const tcamv6_code *avoid, tcamv6_code code) { return avoid != nullptr && tcamv6_code_covers(*avoid, code); }

// A path that leads nowhere any more is as good as none.
bool is_free(const tm_util_trie_node *node) { return node == nullptr || (node->owners == 0 && tm_trie_is_leaf(node)); }

void look_below(free_search *search, const tm_util_trie_node *node) {
  if (node->len + 1 >= search->best.len) {
    return;
  }
  const tcamv6_code code = tcamv6_code_of(node);
  for (uint32_t turn = 0; turn < 2; ++turn) {
    const tcamv6_code side = tcamv6_code_child(code, 1 - turn);
    if (is_free(tm_trie_child(node, 1 - turn)) && !avoids(search->avoid, side)) {
      search->best = side;
      return;
    }
  }
  for (uint32_t turn = 0; turn < 2; ++turn) {
    const tm_util_trie_node *child = tm_trie_child(node, 1 - turn);
    if (child != nullptr && child->owners == 0 && !avoids(search->avoid, tcamv6_code_child(code, 1 - turn))) {
      look_below(search, child);
    }
  }
}

// ---- the group

struct group {
  tcamv6_code parent;
  tcamv6_code common;
  bool is_empty;
};

void add_to_group(group *of, const tm_util_trie_node *stored) {
  const tcamv6_anc_data *data = tcamv6_data_of_stored(stored);
  if (data == nullptr || data->cmpr_node == TM_CHUNK_IDX_NULL) {
    return;
  }
  const tcamv6_code code = tcamv6_code_of(tcamv6_cmpr_node(data));
  if (code.len > of->parent.len && tcamv6_code_covers(of->parent, code)) {
    of->common = of->is_empty ? code : tcamv6_code_common(of->common, code);
    of->is_empty = false;
  }
}

// Take a sample of the shortest prefixes at or below a node, spread over its branches. Returns how many were met.
uint32_t sample(group *of, const tm_util_trie_node *node, uint32_t most) {
  while (node->tag == 0) {
    const tm_util_trie_node *left = tm_trie_child(node, 0);
    const tm_util_trie_node *right = tm_trie_child(node, 1);
    if (left != nullptr && right != nullptr && most > 1) {
      const uint32_t met = sample(of, left, most / 2);
      const bool decided = !of->is_empty && of->common.len <= of->parent.len + 1;
      return decided ? most : met + sample(of, right, most - met);
    }
    const bool goes_right = left == nullptr || (right != nullptr && node->len % 2 != 0);
    node = goes_right ? right : left;
    if (node == nullptr) {
      return 0;
    }
  }
  add_to_group(of, node);
  return 1;
}

// The node from which a group's prefixes branch, or that of its only prefix.
const tm_util_trie_node *end_of_path(const tm_util_trie_node *node) {
  while (node->tag == 0 && (tm_trie_child(node, 0) == nullptr) != (tm_trie_child(node, 1) == nullptr)) {
    node = tm_trie_child(node, tm_trie_child(node, 0) == nullptr);
  }
  return node;
}

// ---- the run of free sides

// Round a fraction of a width; part lies within 0..whole, or is brought there.
int32_t in_proportion(int32_t width, int32_t part, int32_t whole) {
  if (whole <= 0 || part <= 0) {
    return 0;
  }
  return part >= whole ? width : (2 * width * part + whole) / (2 * whole);
}

// The nodes from a prefix's code down to, not including, a code below it.
struct code_path {
  const tm_util_trie_node *nodes[TM_KEY_BITS];
  int32_t n;
};

void find_path(const tm_util_trie_node *from, tcamv6_code to, code_path *path) {
  path->n = 0;
  for (const tm_util_trie_node *node = from; node != nullptr && node->len < to.len;
       node = tm_trie_child(node, tcamv6_code_bit(to, node->len))) {
    path->nodes[path->n++] = node;
  }
}

const tm_util_trie_node *side_of(const tm_util_trie_node *node, tcamv6_code path_to) {
  return tm_trie_child(node, 1 - tcamv6_code_bit(path_to, node->len));
}

// The side that leaves the way to a code at a depth.
tcamv6_code side_at(tcamv6_code path_to, int32_t depth) {
  return tcamv6_code_child(tcamv6_code_cut(path_to, depth), 1 - tcamv6_code_bit(path_to, depth));
}

// Depths, from the first to the last, at which the sides of the way to a code are free.
struct free_run {
  int32_t first;
  int32_t last;
};

// Find the run that is nearest to a code. A path that leads nowhere ends it: to see that it does would take a look at
// every side's node.
bool find_run(const tm_util_trie_node *from, tcamv6_code to, const tcamv6_place_wish *wish, free_run *run) {
  const int32_t end = wish->deepest == tcamv6_any_depth ? to.len : smaller(to.len, wish->deepest);
  *run = {-1, -1};
  bool goes_on = false;
  const tm_util_trie_node *node = from;
  while (node != nullptr && node->len < end) {
    const uint32_t bit = tcamv6_code_bit(to, node->len);
    const bool is_empty = (bit != 0 ? node->left : node->right) == TM_CHUNK_IDX_NULL;
    if (is_empty && !avoids(wish->avoid, side_at(to, node->len))) {
      *run = {goes_on ? run->first : int32_t{node->len}, node->len};
      goes_on = true;
    } else {
      goes_on = false;
    }
    node = tm_trie_child(node, bit);
  }
  return run->last >= 0;
}

bool find_beside(const tcamv6_spot *spot, const tm_util_trie_node *parent_node, const tcamv6_place_wish *wish,
                 tcamv6_code *slot) {
  const tcamv6_departure *from = &spot->from;
  if (from->group == nullptr) {
    return false;
  }
  const tm_util_trie_node *group_end = end_of_path(from->group);
  group near = {tcamv6_code_of(parent_node), {}, true};
  sample(&near, group_end, most_samples);
  free_run run;
  if (near.is_empty || !find_run(parent_node, near.common, wish, &run)) {
    return false;
  }
  const int32_t depth =
      run.first + in_proportion(run.last - run.first, from->at - from->above, group_end->len - from->above);
  *slot = side_at(near.common, depth);
  return true;
}

// ---- the depth

// A share of the parent's bits as large as the prefix's share of those between the parent's length and the next end.
int32_t local_depth(const tcamv6_spot *spot, int32_t parent_len) {
  const int32_t end = spot->length < 64 ? 64 : TCAMV6_MAX_PREF_LEN;
  const int32_t span = end - spot->parent->len;
  return parent_len + ((spot->most - parent_len) * (spot->length - spot->parent->len) + span - 1) / span;
}

int32_t bits_into(const tcamv6_spot *spot, int32_t slot_len) {
  return smaller(most_share_bits, larger(least_share_bits, (spot->most - slot_len) / share_of_side));
}

int32_t depth_in(const tcamv6_spot *spot, const tcamv6_place_wish *wish, int32_t parent_len, int32_t slot_len) {
  if (wish->deepest != tcamv6_any_depth) {
    return larger(slot_len, smaller(wish->deepest, slot_len + least_share_bits));
  }
  if (spot->length == TCAMV6_MAX_PREF_LEN) {
    return spot->most;
  }
  int32_t depth = larger(tcamv6_target_length(spot->length, spot->most), slot_len + bits_into(spot, slot_len));
  depth = larger(depth, local_depth(spot, parent_len));
  return larger(slot_len, smaller(depth, spot->most - end_bits));
}

// ---- levels

// Are the topmost owned nodes at or below a node no more than n?
bool holds_at_most(const tm_util_trie_node *node, size_t *n) {
  if (node == nullptr) {
    return true;
  }
  if (node->owners != 0) {
    return (*n)-- > 0;
  }
  return holds_at_most(tm_trie_child(node, 0), n) && holds_at_most(tm_trie_child(node, 1), n);
}

// Place of a level between two depths on the way to a code.
int32_t level_depth(const tcamv6_spot *spot, const tm_util_trie_node *trie_node, int32_t top, int32_t lowest) {
  const int32_t left_at = spot->from.at;
  const int32_t end = end_of_path(trie_node)->len;
  const int32_t depth = top + in_proportion(lowest - top, spot->length - left_at, end - left_at);
  const bool left_before = spot->length > left_at + 1;
  return depth == top && lowest - top > 1 && left_before ? top + 1 : depth;
}

}  // namespace

bool tcamv6_free_below(const tm_util_trie_node *top, int32_t most, const tcamv6_code *avoid, tcamv6_code *found) {
  free_search search = {avoid, {0, most + 1}};
  look_below(&search, top);
  *found = search.best;
  return search.best.len <= most;
}

bool tcamv6_place_leaf(const tcamv6_spot *spot, const tcamv6_place_wish *wish, tcamv6_code *found) {
  const tm_util_trie_node *parent_node = tcamv6_cmpr_node(tcamv6_data_of_stored(spot->parent));
  tcamv6_code slot;
  const bool beside = !wish->nearest && find_beside(spot, parent_node, wish, &slot);
  if (!beside && !tcamv6_free_below(parent_node, spot->most, wish->avoid, &slot)) {
    return false;
  }
  if (wish->deepest != tcamv6_any_depth && slot.len > wish->deepest) {
    return false;
  }
  *found = tcamv6_code_cut(slot, depth_in(spot, wish, parent_node->len, slot.len));
  return true;
}

bool tcamv6_place_level(const tcamv6_spot *spot, const tm_util_trie_node *trie_node, tm_n_ary_node *const *children,
                        size_t n, tcamv6_code *found) {
  const tm_util_trie_node *parent_node = tcamv6_cmpr_node(tcamv6_data_of_stored(spot->parent));
  const tcamv6_code common = tcamv6_common_code(children, n);
  if (common.len <= parent_node->len) {
    return false;
  }
  const tm_util_trie_node *common_node = tcamv6_node_at(parent_node, common);
  size_t left = n;
  if (common_node == nullptr || !holds_at_most(common_node, &left)) {
    return false;
  }
  tcamv6_code unused;
  const bool takes_common = common_node->owners == 0 && tcamv6_free_below(common_node, spot->most, nullptr, &unused);
  code_path path;
  find_path(parent_node, common, &path);
  const int32_t lowest = common.len - !takes_common;
  int32_t top = common.len;
  while (top - 1 > parent_node->len && is_free(side_of(path.nodes[top - 1 - parent_node->len], common))) {
    --top;
  }
  if (top > lowest) {
    return false;
  }
  *found = tcamv6_code_cut(common, level_depth(spot, trie_node, top, lowest));
  return true;
}

tcamv6_code tcamv6_common_code(tm_n_ary_node *const *nodes, size_t n) {
  tcamv6_code common = tcamv6_code_of(tcamv6_cmpr_node(tcamv6_anc_data_of(nodes[0])));
  for (size_t i = 1; i < n; ++i) {
    common = tcamv6_code_common(common, tcamv6_code_of(tcamv6_cmpr_node(tcamv6_anc_data_of(nodes[i]))));
  }
  return common;
}

const tm_util_trie_node *tcamv6_node_at(const tm_util_trie_node *from, tcamv6_code code) {
  const tm_util_trie_node *node = from;
  while (node != nullptr && node->len < code.len) {
    node = tm_trie_child(node, tcamv6_code_bit(code, node->len));
  }
  return node;
}

bool tcamv6_free_address(const tm_util_trie_node *from, tcamv6_code code, int32_t most, tcamv6_code *found) {
  const tm_util_trie_node *top = tcamv6_node_at(from, code);
  *found = tcamv6_code_cut(code, most);
  const tm_util_trie_node *node = top;
  while (node != nullptr && (node == top || node->owners == 0)) {
    if (node->len == most) {
      return node->owners == 0;
    }
    node = tm_trie_child(node, 0);
  }
  if (node == nullptr) {
    return true;
  }
  if (!tcamv6_free_below(top, most, nullptr, found)) {
    return false;
  }
  *found = tcamv6_code_cut(*found, most);
  return true;
}
