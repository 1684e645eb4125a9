// SPDX-License-Identifier: Apache-2.0
// tcamv6_repair.cpp - the fewest stored entries moved.
//
// Three rules make a table right, and no others:
//   (1) a child's code lies strictly below its parent's
//   (2) the codes of siblings and their parent's address do not nest
//   (3) a prefix's address lies below its own code
// So there is much freedom, and a repair uses as little of it as it can. Its means, the cheaper first:
//
//   slide    a code goes up or down its own path, and all below it stays: one entry, or none for an anchor's code.
//
//               p            p                  .            p
//                .    =>    /                  /     =>     /            p up: its block grows
//                 f        .   f              p            .             p down: the side beside it is free
//                /        / .                / .          p   free
//
//   stray    a child leaves a node that others need, with all below it; within its block all keep their places.
//
//              N                 N=X
//             / .               /   .            X adopts a and b. s stands in the way: it gets another block
//            a   .     =>      a     .           of the parent's, outside N. Had it been cheaper, N would have
//               / .                 /            been a deeper node, and a or b would have come into it.
//              s   b               .   b
//
//   enlarge  a whole block goes to a larger free one of the prefix around its own.
//   re-lay   the smallest enclosing subtree whose code fits into its block is laid out anew (tcamv6_layout.h). One
//            that fits exists as long as the table fits at all: the last that is tried is the whole table.
//
// A leaf without a free place below its parent P: P slides up, or one of its children slides down, an anchor rather
// than an entry; else P's block is enlarged; else re-lay.
//
// A level X above the children that it adopts: the only adopted child slides down and X takes its place; else the node
// that costs least (tcamv6_children.h) is cleared of strays, X takes it, and the adopted ones outside come in; or X
// gets a fresh place, and all adopted ones come there, when that is cheaper. Where one of them finds no place of its
// size, X and all below it are laid out anew in a free block, and if that has not the bits, re-lay.
//
// Cost: of a leaf's slides, the parent's children, 64 steps each; of a level, the parent's subtree and what is moved;
// of re-lay, the subtree that is laid out, and its prefixes sorted.
#include "tcamv6_repair.h"

#include "tcamv6_children.h"
#include "tcamv6_layout.h"
#include "tcamv6_recode.h"
#include "tcamv6_slide.h"

namespace {

constexpr int32_t longest_enlarging = 6;
constexpr uint32_t most_level_nodes = 16;  // looked at, the cheapest first, before all adopted ones are moved

int32_t larger(int32_t a, int32_t b) { return a > b ? a : b; }
int32_t smaller(int32_t a, int32_t b) { return a < b ? a : b; }

// ---- re-lay

// The subtree of a prefix on a list, with its costs.
int32_t list_subtree(tcamv6_recoding *recoding, tm_n_ary_node *prefix) {
  const int32_t result = tcamv6_recoding_add_subtree(recoding, prefix);
  if (result == TM_OK) {
    tcamv6_layout_cost(recoding);
  }
  return result;
}

tcamv6_outcome lay_out(tcamv6_recoding *recoding, tcamv6_code top) {
  const tcamv6_outcome outcome = tcamv6_outcome_of(tcamv6_layout(recoding, top));
  return outcome == tcamv6_outcome::placed ? tcamv6_lift_and_put(recoding) : outcome;
}

// Lay the smallest subtree around the newcomer, which is linked, out anew. Its topmost prefix keeps its code.
tcamv6_outcome relay(const tcamv6_newcomer *newcomer) {
  for (int32_t i = newcomer->n_enclosing; i-- > 0;) {
    tm_n_ary_node *prefix = tcamv6_anc_node_of(newcomer->enclosing[i]);
    const tcamv6_code top = tcamv6_prefix_code(prefix);
    tcamv6_recoding recoding = tcamv6_recoding_of(newcomer->state);
    tcamv6_outcome outcome = tcamv6_outcome_of(list_subtree(&recoding, prefix));
    const bool fits = outcome == tcamv6_outcome::placed && recoding.list[0].cost <= newcomer->most - top.len;
    if (fits) {
      outcome = lay_out(&recoding, top);
    }
    tcamv6_recoding_free(&recoding);
    if (fits || outcome != tcamv6_outcome::placed) {
      return outcome;
    }
  }
  return tcamv6_outcome::too_long;
}

// Lay the newcomer, which is linked, and all below it out anew in a free block of its parent's; else re-lay.
tcamv6_outcome relay_in_free_block(const tcamv6_newcomer *newcomer) {
  tcamv6_recoding recoding = tcamv6_recoding_of(newcomer->state);
  tcamv6_outcome outcome = tcamv6_outcome_of(list_subtree(&recoding, newcomer->node));
  tcamv6_code block;
  if (outcome == tcamv6_outcome::placed &&
      tcamv6_free_below(tcamv6_prefix_node(newcomer->parent), newcomer->most, nullptr, &block) &&
      recoding.list[0].cost <= newcomer->most - block.len) {
    const int32_t spare = newcomer->most - block.len - recoding.list[0].cost;
    outcome = lay_out(&recoding, tcamv6_code_cut(block, block.len + smaller(spare / 2, 2)));
  } else if (outcome == tcamv6_outcome::placed) {
    outcome = relay(newcomer);
  }
  tcamv6_recoding_free(&recoding);
  return outcome;
}

tcamv6_outcome link_and_relay(tcamv6_newcomer *newcomer) {
  const tcamv6_outcome outcome = tcamv6_newcomer_link(newcomer);
  return outcome == tcamv6_outcome::placed ? relay(newcomer) : outcome;
}

// ---- a larger block

// Give the parent a larger free block of the prefix around it. Its children keep their places, in the first part.
// Returns false when there is none.
bool enlarge(const tcamv6_newcomer *newcomer, tcamv6_outcome *outcome) {
  if (newcomer->n_enclosing < 2) {
    return false;
  }
  const tm_util_trie_node *around =
      tcamv6_cmpr_node(tcamv6_data_of_stored(newcomer->enclosing[newcomer->n_enclosing - 2]));
  const tcamv6_code old = tcamv6_prefix_code(newcomer->parent);
  tcamv6_code block;
  if (!tcamv6_free_below(around, newcomer->most, nullptr, &block) || block.len >= old.len) {
    return false;
  }
  block = tcamv6_code_cut(block, larger(block.len, old.len - longest_enlarging));
  tcamv6_recoding recoding = tcamv6_recoding_of(newcomer->state);
  *outcome = tcamv6_outcome_of(tcamv6_recoding_add_subtree(&recoding, newcomer->parent));
  if (*outcome == tcamv6_outcome::placed) {
    tcamv6_recoding_shift(&recoding, tcamv6_code_cut(block, old.len));
    recoding.list[0].new_code = block;
    *outcome = tcamv6_lift_and_put(&recoding);
  }
  tcamv6_recoding_free(&recoding);
  return true;
}

// ---- moving a child

struct destination {
  tcamv6_code block;
  bool is_whole;  // its prefixes keep their places in it
};

// A place for a child with all below it, under `parent`: a prefix of the trie of uncompressed ones.
bool find_destination(const tcamv6_newcomer *newcomer, const tcamv6_recoding *child, const tm_util_trie_node *parent,
                      const tcamv6_code *avoid, destination *found) {
  const tcamv6_recoded *top = &child->list[0];
  const tm_util_trie_node *stored = tcamv6_prefix_stored(top->node);
  const bool is_leaf = child->count == 1;
  const tcamv6_departure from = tcamv6_departure_of(parent, stored->key, stored->len);
  const tcamv6_spot spot = {newcomer->most, parent, stored->key, stored->len, from};
  const tcamv6_place_wish wish = {is_leaf ? tcamv6_any_depth : top->old_code.len, avoid};
  found->is_whole = tcamv6_place_leaf(&spot, &wish, &found->block);
  if (found->is_whole) {
    return true;
  }
  const tm_util_trie_node *parent_node = tcamv6_cmpr_node(tcamv6_data_of_stored(parent));
  return tcamv6_free_below(parent_node, newcomer->most, avoid, &found->block) &&
         top->cost <= newcomer->most - found->block.len;
}

// Move a child, under its own parent or another one. no_room: nothing was done.
tcamv6_outcome move_child(const tcamv6_newcomer *newcomer, tm_n_ary_node *child, const tm_util_trie_node *parent,
                          const tcamv6_code *avoid) {
  tcamv6_recoding recoding = tcamv6_recoding_of(newcomer->state);
  tcamv6_outcome outcome = tcamv6_outcome_of(list_subtree(&recoding, child));
  destination to;
  if (outcome == tcamv6_outcome::placed && !find_destination(newcomer, &recoding, parent, avoid, &to)) {
    outcome = tcamv6_outcome::no_room;
  } else if (outcome == tcamv6_outcome::placed && to.is_whole && recoding.count > 1) {
    tcamv6_recoding_shift(&recoding, to.block);
    outcome = tcamv6_lift_and_put(&recoding);
  } else if (outcome == tcamv6_outcome::placed) {
    outcome = lay_out(&recoding, to.block);
  }
  tcamv6_recoding_free(&recoding);
  return outcome;
}

// Move the parent's own address out of a node. no_room: nothing was done.
tcamv6_outcome move_address(const tcamv6_newcomer *newcomer, tcamv6_code out_of) {
  tcamv6_code to;
  if (!tcamv6_free_below(tcamv6_prefix_node(newcomer->parent), newcomer->most, &out_of, &to)) {
    return tcamv6_outcome::no_room;
  }
  tcamv6_recoding recoding = tcamv6_recoding_of(newcomer->state);
  tcamv6_outcome outcome = tcamv6_outcome_of(tcamv6_recoding_add(&recoding, newcomer->parent));
  if (outcome == tcamv6_outcome::placed) {
    recoding.list[0].new_address = tcamv6_code_cut(to, newcomer->most);
    outcome = tcamv6_lift_and_put(&recoding);
  }
  tcamv6_recoding_free(&recoding);
  return outcome;
}

// ---- levels

// Can the newcomer take a node: is there a place for the parent's address outside, and one for its own inside?
bool can_take(const tcamv6_newcomer *newcomer, const tcamv6_children *children, tcamv6_code code) {
  size_t first;
  size_t end;
  tcamv6_children_at(children, code, &first, &end);
  bool has_strays = false;
  bool has_address = false;
  for (size_t i = first; i < end; ++i) {
    has_address |= tcamv6_prefix_is_dummy(children->list[i].node);
    has_strays |= !children->list[i].is_adopted;
  }
  tcamv6_code unused;
  if (has_address && !tcamv6_free_below(tcamv6_prefix_node(newcomer->parent), newcomer->most, &code, &unused)) {
    return false;
  }
  return has_strays ||
         tcamv6_free_below(tcamv6_node_at(tcamv6_cmpr_root_of(newcomer), code), newcomer->most, nullptr, &unused);
}

// The cheapest node that the newcomer can take.
bool choose_level_node(const tcamv6_newcomer *newcomer, const tcamv6_children *children, tcamv6_level_node *chosen) {
  const tcamv6_code parent = tcamv6_prefix_code(newcomer->parent);
  tcamv6_level_node last;
  for (uint32_t i = 0; i < most_level_nodes; ++i) {
    if (!tcamv6_best_level_node(children, parent, i == 0 ? nullptr : &last, chosen)) {
      return false;
    }
    if (can_take(newcomer, children, chosen->code)) {
      return true;
    }
    last = *chosen;
  }
  return false;
}

// Move all out of a node that neither is adopted nor lies below the adopted.
tcamv6_outcome clear_node(const tcamv6_newcomer *newcomer, const tcamv6_children *children, tcamv6_code code) {
  const tm_util_trie_node *parent = newcomer->enclosing[newcomer->n_enclosing - 1];
  size_t first;
  size_t end;
  tcamv6_children_at(children, code, &first, &end);
  tcamv6_outcome outcome = tcamv6_outcome::placed;
  for (size_t i = first; i < end && outcome == tcamv6_outcome::placed; ++i) {
    const tcamv6_child *child = &children->list[i];
    if (tcamv6_prefix_is_dummy(child->node)) {
      outcome = move_address(newcomer, code);
    } else if (!child->is_adopted) {
      outcome = move_child(newcomer, child->node, parent, &code);
    }
  }
  return outcome;
}

// The newcomer takes a node, and the adopted ones outside it come in. no_room: it is linked, but not all is in place.
tcamv6_outcome take_node(tcamv6_newcomer *newcomer, tcamv6_code code) {
  tcamv6_outcome outcome = tcamv6_newcomer_settle(newcomer, code);
  for (size_t i = 0; i < newcomer->n_adopted && outcome == tcamv6_outcome::placed; ++i) {
    const tcamv6_code adopted = tcamv6_prefix_code(newcomer->adopted[i]);
    if (adopted.len <= code.len || !tcamv6_code_covers(code, adopted)) {
      outcome = move_child(newcomer, newcomer->adopted[i], tcamv6_prefix_stored(newcomer->node), nullptr);
    }
  }
  return outcome;
}

// Put the newcomer at the node that costs least, or at a fresh one. no_room: not all could be put in place.
tcamv6_outcome put_level(tcamv6_newcomer *newcomer, const tcamv6_children *children) {
  tcamv6_level_node chosen;
  tcamv6_code code;
  const tcamv6_spot spot = tcamv6_spot_of(newcomer);
  constexpr tcamv6_place_wish anywhere = {tcamv6_any_depth, nullptr};
  const bool has_node = choose_level_node(newcomer, children, &chosen);
  if ((!has_node || children->adopted_entries < chosen.cost) && tcamv6_place_leaf(&spot, &anywhere, &code)) {
    return take_node(newcomer, code);
  }
  if (!has_node) {
    return tcamv6_outcome::no_room;
  }
  const tcamv6_outcome outcome = clear_node(newcomer, children, chosen.code);
  return outcome == tcamv6_outcome::placed ? take_node(newcomer, chosen.code) : outcome;
}

}  // namespace

tcamv6_outcome tcamv6_repair_leaf(tcamv6_newcomer *newcomer) {
  const tcamv6_spot spot = tcamv6_spot_of(newcomer);
  constexpr tcamv6_place_wish anywhere = {tcamv6_any_depth, nullptr};
  tcamv6_outcome outcome = tcamv6_outcome::placed;
  const bool moved = tcamv6_slide_for_leaf(newcomer, &outcome) || enlarge(newcomer, &outcome);
  if (outcome != tcamv6_outcome::placed) {
    return outcome;
  }
  tcamv6_code code;
  return moved && tcamv6_place_leaf(&spot, &anywhere, &code) ? tcamv6_newcomer_settle(newcomer, code)
                                                             : link_and_relay(newcomer);
}

tcamv6_outcome tcamv6_repair_level(tcamv6_newcomer *newcomer) {
  tcamv6_outcome outcome;
  if (tcamv6_slide_adopted(newcomer, &outcome)) {
    return outcome;
  }
  tcamv6_children children;
  outcome = tcamv6_outcome_of(tcamv6_children_of(newcomer, &children));
  if (outcome == tcamv6_outcome::placed) {
    outcome = put_level(newcomer, &children);
  }
  if (outcome == tcamv6_outcome::no_room && newcomer->node == nullptr) {
    outcome = tcamv6_newcomer_link(newcomer);
    outcome = outcome == tcamv6_outcome::placed ? tcamv6_outcome::no_room : outcome;
  }
  if (outcome == tcamv6_outcome::no_room) {
    outcome = relay_in_free_block(newcomer);
  }
  tcamv6_children_free(&children);
  return outcome;
}
