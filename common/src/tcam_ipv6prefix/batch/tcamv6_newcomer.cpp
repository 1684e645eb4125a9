// SPDX-License-Identifier: Apache-2.0
#include "tcamv6_newcomer.h"

#include "tcamv6_incr_add.h"
#include "tcamv6_recode.h"
#include "tcamv6_siblings.h"
#include "tm_debug.h"
#include "tm_journal.h"
#include "tm_memory.h"

namespace {

constexpr const char *adder = "tcamv6_incr_add_prefix";
constexpr size_t edits_per_adopted = 16;  // words of the links of the child and its neighbours in both chains

tcamv6_outcome report_broken(const char *what) {
  TM_LOG(info, "%s: %s", adder, what);
  return tcamv6_outcome::broken;
}

// Visit the shortest prefixes strictly below a node, by their addresses.
template <class Visit>
void for_each_shortest_below(const tm_util_trie_node *node, Visit visit) {
  for (uint32_t bit = 0; bit < 2; ++bit) {
    const tm_util_trie_node *child = tm_trie_child(node, bit);
    if (child == nullptr) {
      continue;
    }
    if (child->tag != 0) {
      visit(child);
    } else {
      for_each_shortest_below(child, visit);
    }
  }
}

tcamv6_outcome adopt(tcamv6_newcomer *newcomer) {
  size_t n = 0;
  for_each_shortest_below(newcomer->trie_node, [&](const tm_util_trie_node *) { ++n; });
  if (n == 0) {
    return report_broken("a path of the trie leads to no prefix");
  }
  newcomer->adopted = static_cast<tm_n_ary_node **>(zel_malloc_named(TM_MEM_TAG_CELL, n * sizeof *newcomer->adopted));
  if (newcomer->adopted == nullptr) {
    return tcamv6_outcome::no_memory;
  }
  bool whole = true;
  for_each_shortest_below(newcomer->trie_node, [&](const tm_util_trie_node *stored) {
    tm_n_ary_node *node = tcamv6_anc_node_of(stored);
    whole = whole && tcamv6_anc_data_of(node) != nullptr;
    newcomer->adopted[newcomer->n_adopted++] = node;
  });
  return whole ? tcamv6_outcome::placed : report_broken("anc_node has NULL data");
}

tcamv6_outcome link_adopted(const tcamv6_newcomer *newcomer) {
  if (tm_journal_reserve_edits(adder, newcomer->n_adopted * edits_per_adopted) != TM_OK) {
    return tcamv6_outcome::no_memory;
  }
  for (size_t i = 0; i < newcomer->n_adopted; ++i) {
    if (tcamv6_unlink_child(newcomer->parent, newcomer->adopted[i]) != TM_OK) {
      return report_broken("a child is missing in its parent's chain");
    }
    tcamv6_append_child(newcomer->node, newcomer->adopted[i]);
  }
  return tcamv6_outcome::placed;
}

// Make an anc node with a dummy below it, linked below nothing.
tcamv6_outcome give_dummy(tm_n_ary_node *node) {
  tm_n_ary_node *dummy;
  if (tcamv6_anc_tree_node_new(true, &dummy) != TM_OK) {
    return tcamv6_outcome::no_memory;
  }
  tm_edit(&tcamv6_anc_data_of(node)->dummy, tm_idx(dummy));
  tcamv6_push_child(node, dummy);
  return tcamv6_outcome::placed;
}

}  // namespace

tcamv6_outcome tcamv6_newcomer_find(tcamv6_state *state, const tcamv6_prefix *prefix, tcamv6_newcomer *newcomer) {
  newcomer->state = state;
  newcomer->prefix = prefix;
  newcomer->most = static_cast<int32_t>(state->max_cmpr_len);
  newcomer->n_enclosing = 0;  // what it counts need not be cleared, and is a kilobyte
  newcomer->from = {};
  newcomer->parent = nullptr;
  newcomer->adopted = nullptr;
  newcomer->n_adopted = 0;
  newcomer->node = nullptr;
  tm_util_trie_node *node = tm_trie_node(state->orig_root);
  while (node != nullptr && node->len < prefix->length) {
    if (node->tag != 0) {
      newcomer->enclosing[newcomer->n_enclosing++] = node;
      newcomer->from = tcamv6_departure_begin(node);
    }
    const uint32_t bit = tm_key_bit(prefix->address, node->len);
    tcamv6_departure_step(&newcomer->from, node, bit);
    node = tm_trie_child(node, bit);
  }
  newcomer->trie_node = node;
  if (node != nullptr && !tcamv6_is_path_node(node)) {
    return tcamv6_outcome::present;
  }
  if (newcomer->n_enclosing == 0) {
    return report_broken("no prefix encloses the new one");
  }
  newcomer->parent = tcamv6_anc_node_of(newcomer->enclosing[newcomer->n_enclosing - 1]);
  const tcamv6_anc_data *data = tcamv6_anc_data_of(newcomer->parent);
  if (data == nullptr || data->cmpr_node == TM_CHUNK_IDX_NULL) {
    return report_broken("the enclosing prefix has no code");
  }
  return node == nullptr ? tcamv6_outcome::placed : adopt(newcomer);
}

void tcamv6_newcomer_free(tcamv6_newcomer *newcomer) { tm_free(newcomer->adopted); }

tcamv6_outcome tcamv6_newcomer_bring_dummy(const tcamv6_newcomer *newcomer) {
  const tcamv6_anc_data *data = tcamv6_anc_data_of(newcomer->parent);
  if (data->dummy != TM_CHUNK_IDX_NULL) {
    return tcamv6_outcome::placed;
  }
  const tcamv6_outcome outcome = give_dummy(newcomer->parent);
  const tcamv6_code code = tcamv6_code_of(tcamv6_cmpr_node(data));
  if (outcome != tcamv6_outcome::placed || code.len == newcomer->most) {
    return outcome;
  }
  return tcamv6_outcome_of(tcamv6_put_address(newcomer->parent, tcamv6_code_cut(code, newcomer->most)));
}

tcamv6_outcome tcamv6_newcomer_link(tcamv6_newcomer *newcomer) {
  const tcamv6_prefix *prefix = newcomer->prefix;
  if (tm_journal_reserve_record(adder) != TM_OK || tcamv6_anc_tree_node_new(false, &newcomer->node) != TM_OK) {
    return tcamv6_outcome::no_memory;
  }
  auto *orig = static_cast<tcamv6_orig_data *>(tm_chunk_malloc(TM_V6_ORIG_DATA));
  tm_trie_grown grown;
  tm_util_trie_node *around = newcomer->enclosing[newcomer->n_enclosing - 1];
  tm_util_trie_node *stored =
      orig == nullptr ? nullptr : tm_trie_insert_below(around, prefix->address, prefix->length, &grown);
  if (stored == nullptr || (newcomer->n_adopted != 0 && give_dummy(newcomer->node) != tcamv6_outcome::placed)) {
    return tcamv6_outcome::no_memory;
  }
  tcamv6_lead_to(orig, newcomer->node);
  tm_edit(&stored->data, tm_idx(orig));
  tm_edit(&stored->tag, tcamv6_new_tag(prefix));
  tcamv6_set_counters(stored, prefix);
  tcamv6_anc_data *data = tcamv6_anc_data_of(newcomer->node);
  data->orig = tm_idx(stored);
  data->tag_word = tm_prefix_with_tag(data->tag_word, stored->tag);
  tcamv6_push_child(newcomer->parent, newcomer->node);
  return link_adopted(newcomer);
}

tcamv6_outcome tcamv6_newcomer_settle(tcamv6_newcomer *newcomer, tcamv6_code code) {
  const tcamv6_outcome outcome = tcamv6_newcomer_link(newcomer);
  if (outcome != tcamv6_outcome::placed) {
    return outcome;
  }
  tm_util_trie_node *above = tcamv6_cmpr_node(tcamv6_anc_data_of(newcomer->parent));
  int32_t result = tcamv6_put_code(newcomer->node, code, above);
  if (result == TM_OK && newcomer->n_adopted != 0) {
    tcamv6_code address;
    if (!tcamv6_free_address(above, code, newcomer->most, &address)) {
      return tcamv6_outcome::no_room;
    }
    result = tcamv6_put_address(newcomer->node, address);
  }
  return tcamv6_outcome_of(result);
}
