// SPDX-License-Identifier: Apache-2.0
#include "tcamv6_slide.h"

#include "tcamv6_incr_add.h"

namespace {

constexpr int32_t longest_slide_up = 4;  // bits that a block grows at once

int32_t larger(int32_t a, int32_t b) { return a > b ? a : b; }
int32_t smaller(int32_t a, int32_t b) { return a < b ? a : b; }

struct slide {
  tm_n_ary_node *prefix;  // null: none was found
  tcamv6_code to;         // as far as it can go
  uint32_t cost;          // entries
};

tcamv6_outcome slide_to(const tcamv6_newcomer *newcomer, tm_n_ary_node *prefix, tcamv6_code to) {
  tcamv6_recoding recoding = tcamv6_recoding_of(newcomer->state);
  tcamv6_outcome outcome = tcamv6_outcome_of(tcamv6_recoding_add(&recoding, prefix));
  if (outcome == tcamv6_outcome::placed) {
    tcamv6_recoded *recoded = &recoding.list[0];
    recoded->new_code = to;
    if (!tcamv6_code_covers(to, recoded->old_address)) {
      recoded->new_address = tcamv6_code_cut(to, newcomer->most);
    }
    if (tcamv6_anc_data_of(prefix)->dummy == TM_CHUNK_IDX_NULL) {
      recoded->new_address = tcamv6_code_cut(to, newcomer->most);
    }
    outcome = tcamv6_lift_and_put(&recoding);
  }
  tcamv6_recoding_free(&recoding);
  return outcome;
}

uint32_t own_entry(const tm_n_ary_node *prefix) { return !tcamv6_is_anchor_only(tcamv6_prefix_stored(prefix)); }

// The highest code above a prefix's that has nothing else below it.
tcamv6_code highest_above(const tcamv6_newcomer *newcomer, tm_n_ary_node *prefix, int32_t below) {
  const tcamv6_code code = tcamv6_prefix_code(prefix);
  int32_t highest = code.len;
  const tm_util_trie_node *node = tcamv6_cmpr_root_of(newcomer);
  while (node != nullptr && node->len < code.len) {
    const uint32_t bit = tcamv6_code_bit(code, node->len);
    const bool alone = node->len > below && node->owners == 0 && tm_trie_child(node, 1 - bit) == nullptr;
    highest = alone ? smaller(highest, node->len) : code.len;
    node = tm_trie_child(node, bit);
  }
  return tcamv6_code_cut(code, highest);
}

// The deepest code below a prefix's that still covers all that it covers.
tcamv6_code lowest_below(const tcamv6_newcomer *newcomer, const tm_n_ary_node *prefix) {
  const tm_util_trie_node *node = tcamv6_prefix_node(prefix);
  if (tm_trie_is_leaf(node)) {
    return tcamv6_code_cut(tcamv6_code_of(node), newcomer->most);
  }
  for (;;) {
    const tm_util_trie_node *left = tm_trie_child(node, 0);
    const tm_util_trie_node *right = tm_trie_child(node, 1);
    const tm_util_trie_node *next = left != nullptr ? left : right;
    if ((left != nullptr && right != nullptr) || next == nullptr || next->owners != 0) {
      return tcamv6_code_of(node);
    }
    node = next;
  }
}

// How far a code that can go down to `lowest` is to go.
tcamv6_code part_of_the_way_down(const tcamv6_newcomer *newcomer, const tm_n_ary_node *prefix, tcamv6_code lowest,
                                 int32_t least) {
  const int32_t len = tcamv6_prefix_code(prefix).len;
  const int32_t wanted = tcamv6_target_length(tcamv6_prefix_stored(prefix)->len, newcomer->most) - len;
  const int32_t half = larger(least, (lowest.len - len) / 2);
  return tcamv6_code_cut(lowest, len + smaller(half, larger(2, wanted)));
}

// The cheapest slide that makes room below the parent: the parent's own, or that of the shortest code below it.
slide find_slide(const tcamv6_newcomer *newcomer) {
  slide best = {};
  int32_t best_len = 0;
  const auto offer = [&](tm_n_ary_node *prefix, tcamv6_code to, int32_t len) {
    const uint32_t cost = own_entry(prefix);
    if (best.prefix == nullptr || cost < best.cost || (cost == best.cost && len < best_len)) {
      best = {prefix, to, cost};
      best_len = len;
    }
  };
  if (newcomer->n_enclosing > 1) {
    const tm_util_trie_node *around =
        tcamv6_cmpr_node(tcamv6_data_of_stored(newcomer->enclosing[newcomer->n_enclosing - 2]));
    const tcamv6_code highest = highest_above(newcomer, newcomer->parent, around->len);
    if (highest.len < tcamv6_prefix_code(newcomer->parent).len) {
      offer(newcomer->parent, highest, 0);
    }
  }
  for (tm_n_ary_node *child = tcamv6_anc_first_child(newcomer->parent); child != nullptr;
       child = tcamv6_anc_next(child)) {
    if (!tcamv6_prefix_is_dummy(child)) {
      const tcamv6_code lowest = lowest_below(newcomer, child);
      const int32_t len = tcamv6_prefix_code(child).len;
      if (lowest.len > len) {
        offer(child, lowest, len);
      }
    }
  }
  return best;
}

tcamv6_outcome make(const tcamv6_newcomer *newcomer, const slide *found) {
  if (found->prefix == newcomer->parent) {
    const int32_t len = tcamv6_prefix_code(found->prefix).len;
    const tcamv6_code to =
        tcamv6_code_cut(tcamv6_prefix_code(found->prefix), larger(found->to.len, len - longest_slide_up));
    return slide_to(newcomer, found->prefix, to);
  }
  return slide_to(newcomer, found->prefix, part_of_the_way_down(newcomer, found->prefix, found->to, 1));
}

}  // namespace

tcamv6_outcome tcamv6_lift_and_put(const tcamv6_recoding *recoding) {
  int32_t result = tcamv6_recoding_lift(recoding);
  if (result == TM_OK) {
    result = tcamv6_recoding_put(recoding);
  }
  return tcamv6_outcome_of(result);
}

bool tcamv6_slide_for_leaf(const tcamv6_newcomer *newcomer, tcamv6_outcome *outcome) {
  const slide found = find_slide(newcomer);
  if (found.prefix == nullptr) {
    return false;
  }
  *outcome = make(newcomer, &found);
  return true;
}

bool tcamv6_slide_adopted(tcamv6_newcomer *newcomer, tcamv6_outcome *outcome) {
  if (newcomer->n_adopted != 1) {
    return false;
  }
  tm_n_ary_node *child = newcomer->adopted[0];
  const tcamv6_code code = tcamv6_prefix_code(child);
  const tcamv6_code lowest = lowest_below(newcomer, child);
  if (lowest.len == code.len) {
    return false;
  }
  *outcome = slide_to(newcomer, child, part_of_the_way_down(newcomer, child, lowest, 1));
  if (*outcome == tcamv6_outcome::placed) {
    *outcome = tcamv6_newcomer_settle(newcomer, code);
  }
  return true;
}
