// SPDX-License-Identifier: Apache-2.0
// tcamv6_room.cpp - in room mode a prefix is placed where there is room (tcamv6_place.h), and room is made where there
// is none (tcamv6_repair.h).
#include "tcamv6_room.h"

#include "tcamv6_incr_newlvl.h"
#include "tcamv6_moves_internal.h"
#include "tcamv6_newcomer.h"
#include "tcamv6_repair.h"
#include "tcamv6_stored.h"
#include "tm_debug.h"
#include "tm_memory.h"
#include "tm_stable_sort.h"

namespace {

constexpr const char *adder = "tcamv6_incr_add_prefix";

tcamv6_outcome place(tcamv6_newcomer *newcomer, bool nearest) {
  tcamv6_outcome outcome = tcamv6_newcomer_bring_dummy(newcomer);
  if (outcome != tcamv6_outcome::placed) {
    return outcome;
  }
  const tcamv6_spot spot = tcamv6_spot_of(newcomer);
  const tcamv6_place_wish anywhere = {tcamv6_any_depth, nullptr, nearest};
  const bool is_leaf = newcomer->n_adopted == 0;
  tcamv6_code code;
  const bool found =
      is_leaf ? tcamv6_place_leaf(&spot, &anywhere, &code)
              : tcamv6_place_level(&spot, newcomer->trie_node, newcomer->adopted, newcomer->n_adopted, &code);
  if (found) {
    return tcamv6_newcomer_settle(newcomer, code);
  }
  if ((newcomer->state->marks & TCAMV6_MARK_LOOSE_LEVELS) != 0) {
    TM_LOG(info, "%s: codes nest where prefixes do not: nothing can be moved. Reoptimize.", adder);
    return tcamv6_outcome::needs_level;
  }
  return is_leaf ? tcamv6_repair_leaf(newcomer) : tcamv6_repair_level(newcomer);
}

// ---- which moves count

int compare_nodes(const void *a, const void *b) {
  const auto x = *static_cast<const tm_util_trie_node *const *>(a);
  const auto y = *static_cast<const tm_util_trie_node *const *>(b);
  return (x > y) - (x < y);
}

bool is_listed(const tm_util_trie_node *const *sorted, uint32_t n, const tm_util_trie_node *node) {
  uint32_t first = 0;
  while (first < n) {
    const uint32_t middle = first + (n - first) / 2;
    if (sorted[middle] == node) {
      return true;
    }
    if (sorted[middle] < node) {
      first = middle + 1;
    } else {
      n = middle;
    }
  }
  return false;
}

// The prefixes that the batch made entries of the table, sorted by their nodes. Returns their number.
uint32_t list_new_entries(const tcamv6_state *state, const tcamv6_prefix *records, const tcamv6_cmpr_pref *results,
                          uint32_t count, const tm_util_trie_node **nodes) {
  uint32_t n = 0;
  for (uint32_t i = 0; i < count; ++i) {
    const bool made = (records[i].flags_tag & TM_PREFIX_FLAG_ADD) != 0 && results[i].own_node == 1;
    const tm_util_trie_node *node = made ? tcamv6_find_stored(state, &records[i]) : nullptr;
    if (node != nullptr) {
      nodes[n++] = node;
    }
  }
  tm_stable_sort(nodes, n, sizeof *nodes, compare_nodes);
  return n;
}

const tm_util_trie_node *find_moved(const tcamv6_state *state, const zel_v6comp_move *move) {
  const tm_util_trie_node *node = tm_util_trie_lookup(tm_trie_node(state->orig_root), move->address, move->length, 0);
  return tcamv6_holds_prefix(node, move->length) && !tcamv6_is_anchor_only(node) ? node : nullptr;
}

}  // namespace

tcamv6_outcome tcamv6_room_add(tcamv6_state *state, const tcamv6_update_rules *rules, const tcamv6_prefix *prefix,
                               tm_util_trie_node **node) {
  tcamv6_newcomer newcomer;
  tcamv6_outcome outcome = tcamv6_newcomer_find(state, prefix, &newcomer);
  *node = newcomer.trie_node;
  if (outcome == tcamv6_outcome::placed) {
    const bool loose = (state->marks & TCAMV6_MARK_LOOSE_LEVELS) != 0;
    outcome = loose && newcomer.n_adopted != 0
                  ? tcamv6_outcome_of(tcav6_incr_add_pref_newlvl(state, rules, prefix, newcomer.most))
                  : place(&newcomer, rules->nearest);
  }
  if (newcomer.node != nullptr) {
    *node = tm_trie_node(tcamv6_anc_data_of(newcomer.node)->orig);
  }
  tcamv6_newcomer_free(&newcomer);
  return outcome;
}

int32_t tcamv6_room_settle_moves(const tcamv6_state *state, const tcamv6_update_rules *rules,
                                 const tcamv6_prefix *records, const tcamv6_cmpr_pref *results, uint32_t count) {
  tcamv6_move_list *moves = tcamv6_moves_collected();
  if (moves->count == 0) {
    return TM_OK;
  }
  auto *made = static_cast<const tm_util_trie_node **>(zel_malloc_named(TM_MEM_TAG_LIST, count * sizeof(void *)));
  if (made == nullptr) {
    return TM_ENOMEM;
  }
  const uint32_t n_made = list_new_entries(state, records, results, count, made);
  uint32_t kept = 0;
  for (uint32_t i = 0; i < moves->count; ++i) {
    const tm_util_trie_node *node = find_moved(state, &moves->moves[i]);
    if (node != nullptr && !is_listed(made, n_made, node)) {
      moves->moves[kept++] = moves->moves[i];
    }
  }
  moves->count = kept;
  zel_free_named(made);
  return kept > rules->most_moves ? int32_t{TM_ENOSPC} : int32_t{TM_OK};
}
