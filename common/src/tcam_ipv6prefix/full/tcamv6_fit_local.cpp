// SPDX-License-Identifier: Apache-2.0
#include "tcamv6_fit_local.h"

#include "tcamv6_cmpr_path.h"
#include "tcamv6_cmpr_tree.h"
#include "tcamv6_code_tree.h"
#include "tcamv6_fit_blocks.h"
#include "tcamv6_headroom.h"
#include "tcamv6_pcmpr_walk.h"
#include "tcamv6_sparse.h"
#include "tm_debug.h"
#include "tm_key.h"

namespace {

constexpr uint16_t open_and_cut = TCAMV6_FIT_OPEN | TCAMV6_FIT_CUT;
constexpr int32_t keep = 8;  // the relaxed rule leaves a far child at least this part of the spare bits

int32_t smaller(int32_t a, int32_t b) { return a < b ? a : b; }
int32_t larger(int32_t a, int32_t b) { return a > b ? a : b; }

void set_mark(tcamv6_anc_data *data, uint16_t mark, bool on) {
  data->bits = static_cast<uint16_t>(on ? data->bits | mark : data->bits & ~mark);
}

bool has_full_length(const tcamv6_state *state, const tcamv6_anc_data *data) {
  return tm_trie_node(data->orig)->len == state->max_pref_len;
}

// ---- by the rules of the documented run

// May a far child count as long as its tight code only? Not when that leaves it next to nothing of the spare bits.
bool relax(int32_t lim, tcamv6_child_room *room) {
  room->longest = static_cast<int8_t>(room->cost);
  return (lim - room->path - room->cost) * keep >= lim - room->cost;
}

// Visit the children of a node with their places in the path-compressed trie.
template <class Visit>
int32_t visit_children(const tcamv6_state *state, const tm_n_ary_node *node, Visit visit) {
  const tm_util_trie_node *pcmpr_node = tcamv6_pcmpr_node_of(tm_trie_node(state->pcmpr_root), tcamv6_anc_data_of(node));
  return tcamv6_visit_children(pcmpr_node, node, visit);
}

int32_t set_child_limit(const tcamv6_state *state, tcamv6_anc_data *data, tm_n_ary_node *child_node,
                        const tcamv6_pcmpr_place *place, tcamv6_fit_rule rule) {
  tcamv6_anc_data *child = tcamv6_anc_data_of(child_node);
  set_mark(child, TCAMV6_FIT_CUT, false);
  tcamv6_anc_set_uses_pcmpr(child, !tcamv6_anc_is_dummy(child));
  tcamv6_anc_set_lim(child, 0);
  if (tcamv6_anc_is_dummy(child)) {
    return TM_OK;
  }
  tcamv6_child_room room = tcamv6_measure_child(child, place);
  if (room.path < 0) {
    return room.path;
  }
  if (has_full_length(state, child)) {
    return TM_OK;
  }
  const int32_t lim = tcamv6_anc_lim(data);
  if (rule == tcamv6_fit_rule::relaxed && tcamv6_branch_is_far(lim, &room) && !relax(lim, &room)) {
    return TM_EFAULT;
  }
  const int32_t limit = tcamv6_child_limit(lim, &room);
  if (limit >= lim) {
    return TM_EFAULT;
  }
  if (tcamv6_child_is_far(lim, &room)) {
    tcamv6_anc_set_uses_pcmpr(data, false);
    set_mark(child, TCAMV6_FIT_CUT, child_node->child != TM_CHUNK_IDX_NULL);
  }
  tcamv6_anc_set_lim(child, limit);
  return TM_OK;
}

int32_t set_child_limits(const tcamv6_state *state, tm_n_ary_node *node, tcamv6_fit_rule rule, uint32_t *n_cut) {
  tcamv6_anc_data *data = tcamv6_anc_data_of(node);
  tcamv6_anc_set_uses_pcmpr(data, true);
  *n_cut = 0;
  return visit_children(state, node, [&](tm_n_ary_node *child, const tcamv6_pcmpr_place *place) {
    const int32_t result = set_child_limit(state, data, child, place, rule);
    *n_cut += result == TM_OK && (tcamv6_anc_data_of(child)->bits & TCAMV6_FIT_CUT) != 0;
    return result;
  });
}

int32_t put_child_depths(const tcamv6_state *state, const tm_n_ary_node *node) {
  for (const tm_n_ary_node *child = tcamv6_anc_first_child(node); child != nullptr; child = tcamv6_anc_next(child)) {
    const tcamv6_anc_data *data = tcamv6_anc_data_of(child);
    const int32_t depth = static_cast<int32_t>(state->max_cmpr_len) - tcamv6_anc_lim(data);
    if (tcamv6_put_limit(tcamv6_cmpr_node(data), depth, tcamv6_anc_is_dummy(data)) == nullptr) {
      return TM_ENOMEM;
    }
  }
  return TM_OK;
}

// Make the children's nodes and the tree that leads to them.
int32_t build_tree(tcamv6_state *state, tm_n_ary_node *node) {
  for (const tm_n_ary_node *child = tcamv6_anc_first_child(node); child != nullptr; child = tcamv6_anc_next(child)) {
    const int32_t made = tcamv6_make_cmpr_node(tcamv6_anc_data_of(child));
    if (made != TM_OK) {
      return made;
    }
  }
  tcamv6_anc_data *data = tcamv6_anc_data_of(node);
  tm_util_trie_node *top = tcamv6_cmpr_node(data);
  const uint8_t cost = data->cost;  // which the tight tree counts again, in its own way
  const int32_t result = tcamv6_anc_uses_pcmpr(data)
                             ? tcamv6_gen_pcmpr_subtrie(node, tm_trie_node(state->pcmpr_root), top)
                             : tcamv6_gen_huffman_tree(node, top, 0);
  data->cost = cost;
  return result == TM_OK ? put_child_depths(state, node) : result;
}

// Is every node below deeper than the one above it? Puts the depth of the one above into the children's nodes (`len`).
bool depths_grow(tm_util_trie_node *node) {
  const int32_t depth = tcamv6_cmpr_data_of(node)->max_depth;
  for (uint32_t bit = 0; bit < 2; ++bit) {
    tm_util_trie_node *child = tm_trie_child(node, bit);
    if (child == nullptr) {
      continue;
    }
    if (tcamv6_cmpr_data_of(child)->max_depth <= depth || !depths_grow(child)) {
      return false;
    }
    if (child->owners != 0) {
      child->len = static_cast<uint16_t>(depth);
    }
  }
  return true;
}

// Depths of the nodes between, as the documented run sets them.
int32_t set_depths(tm_util_trie_node *top) {
  const int32_t result = tcamv6_set_cmpr_trie_node_limits(top, 0, 0);
  if (result == TM_ENOMEM) {
    return result;
  }
  return result >= 0 && depths_grow(top) ? TM_OK : TM_EFAULT;
}

// ---- as blocks

uint32_t count_prefixes(const tm_n_ary_node *node) {
  uint32_t n = 0;
  for (const tm_n_ary_node *child = tcamv6_anc_first_child(node); child != nullptr; child = tcamv6_anc_next(child)) {
    n += !tcamv6_anc_is_dummy(tcamv6_anc_data_of(child));
  }
  return n;
}

// The room that a child could use in so many bits: what the documented share would leave it, were there no way to it.
int32_t useful_bits(const tcamv6_child_room *room, int32_t bits) {
  return larger(room->cost, tcamv6_room_less_share(bits, room->longest));
}

// Children stand in their parent's chain by descending keys, blocks ascend: block n - 1 - i is child i's.
void describe_blocks(const tcamv6_state *state, const tm_n_ary_node *node, tcamv6_fit_block *blocks, uint32_t n) {
  const int32_t lim = tcamv6_anc_lim(tcamv6_anc_data_of(node));
  const tm_util_trie_node *next = nullptr;
  visit_children(state, node, [&](const tm_n_ary_node *child, const tcamv6_pcmpr_place *place) {
    const tcamv6_anc_data *data = tcamv6_anc_data_of(child);
    if (tcamv6_anc_is_dummy(data)) {
      return TM_OK;
    }
    const tm_util_trie_node *orig = tm_trie_node(data->orig);
    const tcamv6_child_room room = tcamv6_measure_child(data, place);
    const int32_t want = has_full_length(state, data) ? 0 : useful_bits(&room, lim - 1);
    const int32_t common =
        next == nullptr ? 0 : tm_key_common_bits(orig->key, next->key, smaller(orig->len, next->len));
    blocks[--n] = {data->cost, static_cast<uint8_t>(want), static_cast<uint8_t>(common), 0, 0};
    next = orig;
    return TM_OK;
  });
}

struct block_place {
  tm_util_trie_node *top;  // the parent's node
  int32_t depth;           // of it
  int32_t lim;             // bits below it
};

// Hang a child's new node where its block begins: `bits` levels down, every node between exactly where it is.
int32_t hang(const block_place *under, tcamv6_anc_data *child, uint64_t place, int32_t bits, int32_t depth) {
  tm_util_trie_node *node = under->top;
  for (int32_t i = 0; i < bits; ++i) {
    const uint32_t bit = static_cast<uint32_t>(place >> (under->lim - 1 - i)) & 1;
    tm_util_trie_node *below = i + 1 < bits ? tm_trie_child(node, bit) : tcamv6_cmpr_node(child);
    if (below == nullptr) {
      below = static_cast<tm_util_trie_node *>(tm_chunk_malloc(TM_V6_TRIE_NODE));
      if (below == nullptr) {
        return TM_ENOMEM;
      }
      *below = {};
      (bit != 0 ? node->right : node->left) = tm_idx(below);
      if (tcamv6_put_limit(below, under->depth + i + 1, false) == nullptr) {
        return TM_ENOMEM;
      }
    }
    (bit != 0 ? node->right : node->left) = tm_idx(below);
    node = below;
  }
  return tcamv6_put_limit(node, depth, tcamv6_anc_is_dummy(child)) == nullptr ? TM_ENOMEM : TM_OK;
}

int32_t hang_prefix(const tcamv6_state *state, const block_place *under, tcamv6_anc_data *child,
                    const tcamv6_fit_block *block) {
  const int32_t extra = block->slot - block->cost;
  const int32_t lim = smaller(block->want, block->slot - smaller(tcamv6_fit_company, extra / 2));
  tcamv6_anc_set_lim(child, lim);
  tcamv6_anc_set_uses_pcmpr(child, true);
  const int32_t made = tcamv6_make_cmpr_node(child);
  return made != TM_OK ? made
                       : hang(under, child, block->place, under->lim - block->slot,
                              static_cast<int32_t>(state->max_cmpr_len) - lim);
}

int32_t hang_address(const tcamv6_state *state, const block_place *under, tcamv6_anc_data *dummy, uint64_t place) {
  tcamv6_anc_set_lim(dummy, 0);
  const int32_t made = tcamv6_make_cmpr_node(dummy);
  if (made != TM_OK) {
    return made;
  }
  tcamv6_cmpr_node(dummy)->tag = TCAMV6_TAG_DUMMY_PATH;
  return hang(under, dummy, place, under->lim, static_cast<int32_t>(state->max_cmpr_len));
}

int32_t hang_children(const tcamv6_state *state, const tm_n_ary_node *node, const tcamv6_fit_block *blocks, uint32_t n,
                      uint64_t address) {
  const tcamv6_anc_data *data = tcamv6_anc_data_of(node);
  const int32_t lim = tcamv6_anc_lim(data);
  const block_place under = {tcamv6_cmpr_node(data), static_cast<int32_t>(state->max_cmpr_len) - lim, lim};
  for (const tm_n_ary_node *child = tcamv6_anc_first_child(node); child != nullptr; child = tcamv6_anc_next(child)) {
    tcamv6_anc_data *child_data = tcamv6_anc_data_of(child);
    set_mark(child_data, TCAMV6_FIT_CUT, false);
    const int32_t result = tcamv6_anc_is_dummy(child_data) ? hang_address(state, &under, child_data, address)
                                                           : hang_prefix(state, &under, child_data, &blocks[--n]);
    if (result != TM_OK) {
      return result;
    }
  }
  return TM_OK;
}

// Move a child up its own chain, which nothing else uses. Above it a few levels stay free for prefixes beside it.
void raise(const tcamv6_state *state, tcamv6_anc_data *child, const tcamv6_pcmpr_place *place) {
  const tcamv6_child_room room = tcamv6_measure_child(child, place);
  tm_util_trie_node *node = tcamv6_cmpr_node(child);
  const int32_t bits = static_cast<int32_t>(state->max_cmpr_len) - node->len - 1;
  const int32_t lim = useful_bits(&room, bits) - smaller(tcamv6_fit_company, (bits - room.cost) / 2);
  tcamv6_anc_set_lim(child, larger(tcamv6_anc_lim(child), lim));
  tcamv6_cmpr_data_of(node)->max_depth =
      static_cast<int8_t>(static_cast<int32_t>(state->max_cmpr_len) - tcamv6_anc_lim(child));
}

void forget_nodes_below(const tm_n_ary_node *node) {
  for (const tm_n_ary_node *child = tcamv6_anc_first_child(node); child != nullptr; child = tcamv6_anc_next(child)) {
    tcamv6_anc_data_of(child)->cmpr_node = TM_CHUNK_IDX_NULL;
    forget_nodes_below(child);
  }
}

}  // namespace

int32_t tcamv6_fit_local_tree(tcamv6_state *state, tm_n_ary_node *node, tcamv6_fit_rule rule, uint32_t *n_cut) {
  int32_t result = set_child_limits(state, node, rule, n_cut);
  if (result != TM_OK) {
    return result;
  }
  result = build_tree(state, node);
  if (result != TM_OK) {
    return result;
  }
  result = set_depths(tcamv6_cmpr_node(tcamv6_anc_data_of(node)));
  if (result == TM_EFAULT) {
    tcamv6_fit_release_below(node);
  }
  return result;
}

int32_t tcamv6_fit_local_blocks(tcamv6_state *state, tm_n_ary_node *node) {
  tcamv6_anc_data *data = tcamv6_anc_data_of(node);
  const uint32_t n = count_prefixes(node);
  auto *blocks = static_cast<tcamv6_fit_block *>(zel_malloc_named(TM_MEM_TAG_CELL, n * sizeof(tcamv6_fit_block)));
  if (blocks == nullptr) {
    return TM_ENOMEM;
  }
  describe_blocks(state, node, blocks, n);
  uint64_t address = 0;
  tcamv6_fit_blocks(blocks, n, tcamv6_anc_lim(data), tm_trie_node(data->orig)->len, &address);
  tcamv6_anc_set_uses_pcmpr(data, false);
  const int32_t result = hang_children(state, node, blocks, n, address);
  zel_free_named(blocks);
  return result;
}

void tcamv6_fit_release_below(tm_n_ary_node *node) {
  tm_util_trie_node *top = tcamv6_cmpr_node(tcamv6_anc_data_of(node));
  tm_util_trie_free(tm_trie_child(top, 0), 1, TM_V6_ORIG_DATA);
  tm_util_trie_free(tm_trie_child(top, 1), 1, TM_V6_ORIG_DATA);
  top->left = TM_CHUNK_IDX_NULL;
  top->right = TM_CHUNK_IDX_NULL;
  forget_nodes_below(node);
}

void tcamv6_fit_raise(const tcamv6_state *state, const tm_n_ary_node *node) {
  visit_children(state, node, [&](const tm_n_ary_node *child, const tcamv6_pcmpr_place *place) {
    tcamv6_anc_data *data = tcamv6_anc_data_of(child);
    if ((data->bits & open_and_cut) == open_and_cut) {
      raise(state, data, place);
    }
    return TM_OK;
  });
}
