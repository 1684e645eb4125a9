// SPDX-License-Identifier: Apache-2.0
// tcamv6_incr_newlvl.cpp - a new level of the ancestor tree.
//
//        P                     P
//      / | \        =>       / | .               A = common ancestor, in the compressed trie, of the nodes of c1, c2
//    c1  c2  s              s  D' X              F = deepest branching or tagged node from P's node down to A
//    (and P's dummy D')         / | .            N = node halfway from F to A: X's compressed node
//                              D  c1 c2
//
// c1 and c2 are adopted: X contains them. s and D' stay. X gets a dummy D, whose path extends N to the full length.
// In compatible mode N can be a node that another prefix owns, or have staying nodes below it; safe updates refuse
// both.
//
// An enclosing prefix can have tens of thousands of children, so nothing looks at each of those that stay. The adopted
// are found in the trie below X's node. That no staying one has a compressed node in the way is seen by counting
// owners: when those of the nodes in question are all accounted for, none of them is a staying child. Only when they
// are not are the staying children looked at one by one.
#include "tcamv6_incr_newlvl.h"

#include "tcamv6_cmpr_path.h"
#include "tcamv6_incr_add.h"
#include "tcamv6_leftovers.h"
#include "tcamv6_new_level.h"
#include "tcamv6_siblings.h"
#include "tm_debug.h"
#include "tm_journal.h"
#include "tm_key.h"
#include "tm_memory.h"
#include "tm_stable_sort.h"

namespace {

constexpr const char *leveler = "tcav6_incr_add_pref_newlvl";
constexpr size_t edits_per_adopted = 16;  // words of the links of the child and its neighbours in both chains

// Walk to the prefix's node and note the stored prefixes on the way.
int32_t find_trie_node(tcamv6_new_level *level) {
  const tcamv6_prefix *prefix = level->prefix;
  tm_util_trie_node *node = tm_trie_node(level->state->orig_root);
  for (int32_t depth = 0; node != nullptr; ++depth) {
    if (node->tag != 0) {
      level->enclosing[level->n_enclosing++] = node;
    }
    if (depth == prefix->length) {
      break;
    }
    node = tm_trie_child(node, tm_key_bit(prefix->address, depth));
  }
  level->trie_node = node;
  if (node == nullptr) {
    TM_LOG(error, "%s: original trie lookup failed", leveler);
    return TM_EFAULT;
  }
  if (level->n_enclosing == 0) {
    TM_LOG(info, "%s: BMP lookup on original trie failed", leveler);
    return TM_EFAULT;
  }
  return TM_OK;
}

int32_t find_parent(tcamv6_new_level *level) {
  const int32_t result = find_trie_node(level);
  if (result != TM_OK) {
    return result;
  }
  const tm_util_trie_node *enclosing = level->enclosing[level->n_enclosing - 1];
  const tcamv6_orig_data *orig = tcamv6_orig_data_of(enclosing);
  if (orig == nullptr) {
    TM_LOG(info, "%s: Trie node (tag %d) does not point to anc_node", leveler, static_cast<int>(enclosing->tag));
    return TM_EFAULT;
  }
  level->parent = tcamv6_anc_node_of(orig);
  if (level->parent == nullptr) {
    zel_fatal("\n%s: anc_parent is NULL", leveler);
  }
  level->parent_data = tcamv6_anc_data_of(level->parent);
  if (level->parent_data == nullptr) {
    TM_LOG(info, "%s: anc_node for trie node (tag %d) has empty data", leveler, static_cast<int>(enclosing->tag));
    return TM_EFAULT;
  }
  return TM_OK;
}

// ---- which children are adopted

// The nodes of a trie that hold the shortest of the prefixes below a node, right ones first: the order in which a full
// compression chains them. `visit` returns false to end the walk.
template <class Visit>
bool for_each_shortest_below(const tm_util_trie_node *top, Visit visit) {
  const tm_util_trie_node *waiting[TM_KEY_BITS + 2];
  size_t n = 0;
  const auto wait = [&](const tm_util_trie_node *node) {
    for (uint32_t bit = 0; bit < 2; ++bit) {
      const tm_util_trie_node *child = tm_trie_child(node, bit);
      if (child != nullptr) {
        waiting[n++] = child;
      }
    }
  };
  wait(top);
  while (n > 0) {
    const tm_util_trie_node *node = waiting[--n];
    if (node->tag == 0) {
      wait(node);
    } else if (!visit(node)) {
      return false;
    }
  }
  return true;
}

int compare_orders(const void *a, const void *b) {
  const int32_t x = static_cast<const tcamv6_adopted_child *>(a)->order;
  const int32_t y = static_cast<const tcamv6_adopted_child *>(b)->order;
  return (x > y) - (x < y);
}

// Put the adopted in the order of the parent's chain.
void sort_adopted(tcamv6_new_level *level) {
  tm_stable_sort(level->adopted, level->n_adopted, sizeof *level->adopted, compare_orders);
  for (size_t i = 1; i < level->n_adopted; ++i) {
    if (level->adopted[i - 1].order != level->adopted[i].order) {
      continue;
    }
    // Two children have one number, which happens at the limits of its type: read the order off the chain instead.
    size_t n = 0;
    for (tm_n_ary_node *child = tcamv6_anc_first_child(level->parent); child != nullptr;
         child = tcamv6_anc_next(child)) {
      if (tcamv6_level_contains(level, tcamv6_anc_data_of(child))) {
        level->adopted[n++].node = child;
      }
    }
    return;
  }
}

// Note the child that a trie node below the prefix holds.
int32_t adopt(tcamv6_new_level *level, const tm_util_trie_node *node) {
  tm_n_ary_node *child = tcamv6_anc_node_of(node);
  const tcamv6_anc_data *data = tcamv6_anc_data_of(child);
  if (data == nullptr) {
    TM_LOG(info, "%s: anc_node has NULL data", leveler);
    return TM_EFAULT;
  }
  const int32_t contained = tm_util_trie_is_ancestor(level->trie_node, tm_trie_node(data->orig), 1);
  if (contained != TM_OK) {
    TM_LOG(info, "%s: trie_is_ancestor() failed %d", leveler, contained);
    return contained;
  }
  level->adopted[level->n_adopted++] = {child, data->sibling_order};
  return TM_OK;
}

int32_t collect_adopted(tcamv6_new_level *level) {
  size_t count = 0;
  for_each_shortest_below(level->trie_node, [&](const tm_util_trie_node *) { return ++count, true; });
  if (count == 0) {
    TM_LOG(info, "%s: No descendents of prefix in anc_tree %d", leveler, TM_EINVAL);
    return TM_EINVAL;
  }
  level->adopted =
      static_cast<tcamv6_adopted_child *>(zel_malloc_named(TM_MEM_TAG_CELL, count * sizeof(tcamv6_adopted_child)));
  if (level->adopted == nullptr) {
    TM_LOG(info, "%s: list_insert failed %d", leveler, TM_ENOMEM);
    return TM_ENOMEM;
  }
  int32_t result = TM_OK;
  for_each_shortest_below(level->trie_node, [&](const tm_util_trie_node *node) {
    result = adopt(level, node);
    return result == TM_OK;
  });
  if (result != TM_OK) {
    return result;
  }
  sort_adopted(level);
  return TM_OK;
}

// ---- making it

void log_prefix(const tcamv6_new_level *level, const char *label) {
  TM_LOG(error, "%s " TM_ADDR_FORMAT " / %d", label, TM_ADDR_ARGS(level->prefix->address), level->prefix->length);
}

int32_t make_dummy(tcamv6_new_level *level) {
  const int32_t result = tcamv6_anc_tree_node_new(true, &level->dummy);
  if (result != TM_OK) {
    log_prefix(level, ": Failed to create dummy for new node");
    return result;
  }
  level->dummy_end = tcamv6_grow_cmpr_path(level->cmpr_node, level->max_cmpr_len - level->cmpr_node->len,
                                           TCAMV6_TAG_DUMMY_PATH, &level->dummy_path);
  if (level->dummy_end == nullptr) {
    log_prefix(level, "%s: No extending path for dummy prefix");
    return TM_ENOSPC;
  }
  return TM_OK;
}

int32_t make_records(tcamv6_new_level *level) {
  const int32_t result = tcamv6_anc_tree_node_new(false, &level->anc_node);
  if (result != TM_OK) {
    TM_LOG(info, "%s: Failed to create new anc node %d", leveler, result);
    return result;
  }
  level->orig = static_cast<tcamv6_orig_data *>(tm_chunk_malloc(TM_V6_ORIG_DATA));
  if (level->orig == nullptr) {
    TM_LOG(error, "%s: malloc(%zu bytes) failed", leveler, sizeof(tcamv6_orig_data));
    return TM_ENOMEM;
  }
  return TM_OK;
}

// From here on nothing fails.
void link_level(const tcamv6_new_level *level) {
  tcamv6_anc_data *data = tcamv6_anc_data_of(level->anc_node);
  tcamv6_push_child(level->anc_node, level->dummy);
  for (size_t i = 0; i < level->n_adopted; ++i) {
    tcamv6_unlink_child(level->parent, level->adopted[i].node);
    tcamv6_append_child(level->anc_node, level->adopted[i].node);
  }
  tcamv6_append_child(level->parent, level->anc_node);
  tcamv6_own_cmpr_node(tcamv6_anc_data_of(level->dummy), level->dummy_end);
  tcamv6_own_cmpr_node(data, level->cmpr_node);
  tm_edit(&level->cmpr_node->tag, TCAMV6_TAG_PREFIX_PATH);
  if (!level->rules->right_places) {
    level->state->marks |= TCAMV6_MARK_LOOSE_LEVELS;
  }

  tm_util_trie_node *node = level->trie_node;
  tcamv6_lead_to(level->orig, level->anc_node);
  tm_edit(&node->data, tm_idx(level->orig));
  tm_edit(&node->tag, tcamv6_new_tag(level->prefix));
  tcamv6_begin_counters(node, level->rules, level->prefix);
  data->dummy = tm_idx(level->dummy);
  data->orig = tm_idx(node);
  tcamv6_anc_set_tag(data, node->tag);
  data->bits = static_cast<uint16_t>(data->bits | (level->parent_data->bits & TCAMV6_ANC_USE_PCMPR));
}

// The compressed path of the dummy stays where it is, and keeps its place until it is reclaimed.
void clean_up(const tcamv6_new_level *level) {
  tcamv6_abandon_anc_node(level->dummy);
  tcamv6_abandon_anc_node(level->anc_node);
  tm_util_trie_node *cmpr_root = level->dummy_path.end == nullptr ? nullptr : tcamv6_level_cmpr_root(level);
  if (cmpr_root != nullptr) {
    tcamv6_remember_path(cmpr_root, &level->dummy_path);
  }
}

int32_t reserve_links(tcamv6_new_level *level) {
  return tm_journal_reserve_edits(leveler, level->n_adopted * edits_per_adopted);
}

int32_t add_level(tcamv6_new_level *level) {
  using step = int32_t (*)(tcamv6_new_level *);
  constexpr step steps[] = {find_parent, collect_adopted, reserve_links, tcamv6_find_level_place,
                            make_dummy,  make_records};
  for (const step next : steps) {
    const int32_t result = next(level);
    if (result != TM_OK) {
      return result;
    }
  }
  return TM_OK;
}

}  // namespace

int32_t tcav6_incr_add_pref_newlvl(tcamv6_state *state, const tcamv6_update_rules *rules, const tcamv6_prefix *prefix,
                                   int32_t max_cmpr_len) {
  constexpr const char *function = "tcav6_incr_add_pref_newlvl";
  TM_LOG(trace, "%s: Starting orig_trie %p, prefix %p (len %d)", function,
         static_cast<void *>(state == nullptr ? nullptr : tm_trie_node(state->orig_root)),
         static_cast<const void *>(prefix), max_cmpr_len);
  int32_t result = TM_EINVAL;
  tcamv6_new_level level = {};
  if (state == nullptr || state->orig_root == TM_CHUNK_IDX_NULL || prefix == nullptr) {
    TM_LOG(info, "%s: Bad arguments", function);
  } else {
    level.state = state;
    level.rules = rules;
    level.prefix = prefix;
    level.max_cmpr_len = max_cmpr_len;
    result = add_level(&level);
    if (result == TM_OK) {
      link_level(&level);
    } else {
      clean_up(&level);
    }
  }
  tm_free(level.adopted);
  TM_LOG(trace, "%s: Complete %d", function, result);
  return result;
}
