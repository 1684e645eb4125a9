// tcamv6_incr_newlvl.cpp - a new level of the ancestor tree.
//
//        P                     P
//      / | \        =>       / | .               A = common ancestor, in the compressed trie, of the nodes of c1, c2
//    c1  c2  s              s  D' X              F = deepest branching or tagged node from P's node down to A
//    (and P's dummy D')         / | .            N = node halfway from F to A: X's compressed node
//                              D  c1 c2
//
// c1 and c2 are adopted: X contains them. s and D' stay. X gets a dummy D, whose path extends N to the full length.
// As written, N can be a node that another prefix owns, or have staying nodes below it; safe updates refuse both.
#include "tcamv6_incr_newlvl.h"

#include "tcamv6_cmpr_path.h"
#include "tcamv6_incr_add.h"
#include "tcamv6_leftovers.h"
#include "tcamv6_safe.h"
#include "tm_debug.h"
#include "tm_journal.h"
#include "tm_memory.h"

namespace {

constexpr const char *leveler = "tcav6_incr_add_pref_newlvl";

// Some of the parent's children, in the order of its list. Both sets share one array.
struct child_set {
  tm_n_ary_node **nodes;
  size_t count;
};

struct new_level {
  tm_util_trie_node *orig_root;
  const tcamv6_prefix *prefix;
  int32_t max_cmpr_len;
  tm_util_trie_node *trie_node;  // E: where the prefix will live
  tm_n_ary_node *parent;
  tcamv6_anc_data *parent_data;
  child_set adopted;
  child_set staying;
  tm_util_trie_node *cmpr_node;  // N
  tm_n_ary_node *dummy;
  tm_util_trie_node *dummy_end;
  tm_trie_grown dummy_path;
  tm_n_ary_node *anc_node;
  tcamv6_orig_data *orig;
};

tm_util_trie_node *cmpr_node_of(const tm_n_ary_node *node) { return tcamv6_cmpr_node(tcamv6_anc_data_of(node)); }

int32_t find_parent(new_level *level) {
  const tcamv6_prefix *prefix = level->prefix;
  level->trie_node = tm_util_trie_lookup(level->orig_root, prefix->address, prefix->length, 0);
  if (level->trie_node == nullptr) {
    TM_LOG(error, "%s: original trie lookup failed", leveler);
    return TM_EFAULT;
  }
  const tm_util_trie_node *enclosing = tm_util_trie_lookup(level->orig_root, prefix->address, prefix->length, 1);
  if (enclosing == nullptr) {
    TM_LOG(info, "%s: BMP lookup on original trie failed", leveler);
    return TM_EFAULT;
  }
  const auto *orig = tm_ptr<tcamv6_orig_data>(enclosing->data);
  if (orig == nullptr) {
    TM_LOG(info, "%s: Trie node (tag %d) does not point to anc_node", leveler, static_cast<int>(enclosing->tag));
    return TM_EFAULT;
  }
  level->parent = tcamv6_anc_node(orig->anc_node_idx);
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

// Does the prefix contain a child of its parent? 0 yes, -2 no, else a failure.
int32_t contains_child(const new_level *level, const tcamv6_anc_data *child) {
  if (tcamv6_anc_is_dummy(child)) {
    return TM_ENOENT;
  }
  const int32_t result = tm_util_trie_is_ancestor(level->trie_node, tm_trie_node(child->orig), 1);
  if (result != TM_OK && result != TM_ENOENT) {
    TM_LOG(info, "%s: trie_is_ancestor() failed %d", leveler, result);
  }
  return result;
}

// One array for both sets, also when there are no children: adopted ones from its start, staying ones after room for
// all to be adopted.
int32_t allocate_sets(new_level *level) {
  size_t n = 0;
  for (const tm_n_ary_node *child = tcamv6_anc_first_child(level->parent); child != nullptr;
       child = tcamv6_anc_next(child)) {
    ++n;
  }
  level->adopted.nodes =
      static_cast<tm_n_ary_node **>(zel_malloc_named(TM_MEM_TAG_CELL, (2 * n + 1) * sizeof(tm_n_ary_node *)));
  if (level->adopted.nodes == nullptr) {
    TM_LOG(info, "%s: list_insert failed %d", leveler, TM_ENOMEM);
    return TM_ENOMEM;
  }
  level->staying.nodes = level->adopted.nodes + n;
  return TM_OK;
}

int32_t split_children(new_level *level) {
  const int32_t allocated = allocate_sets(level);
  if (allocated != TM_OK) {
    return allocated;
  }
  for (tm_n_ary_node *child = tcamv6_anc_first_child(level->parent); child != nullptr; child = tcamv6_anc_next(child)) {
    const tcamv6_anc_data *data = tcamv6_anc_data_of(child);
    if (data == nullptr) {
      TM_LOG(info, "%s: anc_node has NULL data", leveler);
      return TM_EFAULT;
    }
    const int32_t contained = contains_child(level, data);
    if (contained != TM_OK && contained != TM_ENOENT) {
      return contained;
    }
    child_set *set = contained == TM_OK ? &level->adopted : &level->staying;
    set->nodes[set->count++] = child;
  }
  if (level->adopted.count == 0) {
    TM_LOG(info, "%s: No descendents of prefix in anc_tree %d", leveler, TM_EINVAL);
    return TM_EINVAL;
  }
  return TM_OK;
}

// Common ancestor, in the compressed trie, of the adopted children's nodes; null when there is none. Folded from the
// last child on: key bits beyond the shorter node can decide, and so the order does.
tm_util_trie_node *common_code(const new_level *level) {
  const auto *root_orig = tm_ptr<tcamv6_orig_data>(level->orig_root->data);
  const tcamv6_anc_data *root_data =
      root_orig == nullptr ? nullptr : tcamv6_anc_data_of(tcamv6_anc_node(root_orig->anc_node_idx));
  tm_util_trie_node *cmpr_root = root_data == nullptr ? nullptr : tcamv6_cmpr_node(root_data);
  size_t i = level->adopted.count - 1;
  tm_util_trie_node *common = cmpr_node_of(level->adopted.nodes[i]);
  while (i-- > 0) {
    tm_util_trie_node *node = cmpr_node_of(level->adopted.nodes[i]);
    common = tcamv6_safe_updates_on() ? tcamv6_safe_common_ancestor(cmpr_root, common, node)
                                      : tm_util_trie_common_ancestor(cmpr_root, common, node, 1);
  }
  return common;
}

int32_t refuse() {
  TM_LOG(info, "%s: WARNING: Specified prefix cannot be inserted incrementally. Reoptimize.", leveler);
  return TM_ENOENT;
}

// Safe updates: is N the new prefix's alone, above all adopted children, with no staying one at or below it?
bool is_right_place(const new_level *level) {
  const tm_util_trie_node *place = level->cmpr_node;
  if (place->tag != 0) {
    return false;
  }
  for (size_t i = 0; i < level->adopted.count; ++i) {
    if (tm_util_trie_is_ancestor(place, cmpr_node_of(level->adopted.nodes[i]), 1) != TM_OK) {
      return false;
    }
  }
  for (size_t i = 0; i < level->staying.count; ++i) {
    const tm_util_trie_node *node = cmpr_node_of(level->staying.nodes[i]);
    if (node == place || tm_util_trie_is_ancestor(place, node, 1) == TM_OK) {
      return false;
    }
  }
  return true;
}

int32_t find_place(new_level *level) {
  const tm_util_trie_node *common = common_code(level);
  for (size_t i = 0; i < level->staying.count; ++i) {
    if (tm_util_trie_is_ancestor(cmpr_node_of(level->staying.nodes[i]), common, 1) == TM_OK) {
      return refuse();
    }
  }
  if (common == nullptr) {
    return TM_ENOENT;
  }
  tm_util_trie_node *parent_node = tcamv6_cmpr_node(level->parent_data);
  tm_util_trie_node *first = tm_util_trie_tracepath(parent_node, common->key, parent_node->len, common->len, 1, 1);
  if (first == nullptr) {
    TM_LOG(info, "%s: cmpr_pref_node NULL. Fault.", leveler);
    return TM_EFAULT;
  }
  const int32_t halfway = (common->len + first->len + 1) / 2;
  tm_util_trie_node *place = tm_util_trie_tracepath(first, common->key, first->len, halfway, 0, 0);
  level->cmpr_node = place != nullptr ? place : first;
  return tcamv6_safe_updates_on() && !is_right_place(level) ? refuse() : TM_OK;
}

void log_prefix(const new_level *level, const char *label) {
  TM_LOG(error, "%s " TM_ADDR_FORMAT " / %d", label, TM_ADDR_ARGS(level->prefix->address), level->prefix->length);
}

int32_t make_dummy(new_level *level) {
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

int32_t make_records(new_level *level) {
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

// Chain a set's nodes in their order, in front of `chain`. Returns the first.
tm_chunk_idx chain_set(const child_set *set, tm_chunk_idx chain) {
  for (size_t i = set->count; i-- > 0;) {
    tm_n_ary_node *node = set->nodes[i];
    if (node->sibling != chain) {
      tm_edit(&node->sibling, chain);
    }
    chain = tm_idx(node);
  }
  return chain;
}

// From here on nothing fails.
void link_level(const new_level *level) {
  tcamv6_anc_data *data = tcamv6_anc_data_of(level->anc_node);
  level->dummy->sibling = chain_set(&level->adopted, TM_CHUNK_IDX_NULL);
  level->anc_node->child = tm_idx(level->dummy);
  tm_edit(&level->parent->child, chain_set(&level->staying, tm_idx(level->anc_node)));
  tcamv6_own_cmpr_node(tcamv6_anc_data_of(level->dummy), level->dummy_end);
  tcamv6_own_cmpr_node(data, level->cmpr_node);
  tm_edit(&level->cmpr_node->tag, TCAMV6_TAG_PREFIX_PATH);

  tm_util_trie_node *node = level->trie_node;
  level->orig->anc_node_idx = tm_idx(level->anc_node);
  tm_edit(&node->data, tm_idx(level->orig));
  tm_edit(&node->tag, tcamv6_new_tag(level->prefix));
  tcamv6_add_counters(node, level->prefix);
  data->dummy = tm_idx(level->dummy);
  data->orig = tm_idx(node);
  data->tag_word = tm_prefix_with_tag(data->tag_word, node->tag);
  data->bits = static_cast<uint16_t>(data->bits | (level->parent_data->bits & TCAMV6_ANC_USE_PCMPR));
}

// The compressed path of the dummy stays where it is, and keeps its place until it is reclaimed.
void clean_up(const new_level *level) {
  tcamv6_abandon_anc_node(level->dummy);
  tcamv6_abandon_anc_node(level->anc_node);
  const auto *root_orig = tm_ptr<tcamv6_orig_data>(level->orig_root->data);
  if (level->dummy_path.end != nullptr && root_orig != nullptr) {
    const tcamv6_anc_data *root_data = tcamv6_anc_data_of(tcamv6_anc_node(root_orig->anc_node_idx));
    tcamv6_remember_path(tcamv6_cmpr_node(root_data), &level->dummy_path);
  }
}

int32_t add_level(new_level *level) {
  using step = int32_t (*)(new_level *);
  constexpr step steps[] = {find_parent, split_children, find_place, make_dummy, make_records};
  for (const step next : steps) {
    const int32_t result = next(level);
    if (result != TM_OK) {
      return result;
    }
  }
  return tm_journal_reserve_edits(level->adopted.count + level->staying.count);
}

}  // namespace

int32_t tcav6_incr_add_pref_newlvl(tm_util_trie_node *orig_root, const tcamv6_prefix *prefix, int32_t max_cmpr_len) {
  TM_LOG(trace, "%s: Starting orig_trie %p, prefix %p (len %d)", __func__, static_cast<void *>(orig_root),
         static_cast<const void *>(prefix), max_cmpr_len);
  int32_t result = TM_EINVAL;
  new_level level = {};
  if (orig_root == nullptr || prefix == nullptr) {
    TM_LOG(info, "%s: Bad arguments", __func__);
  } else {
    level.orig_root = orig_root;
    level.prefix = prefix;
    level.max_cmpr_len = max_cmpr_len;
    result = add_level(&level);
    if (result == TM_OK) {
      link_level(&level);
    } else {
      clean_up(&level);
    }
  }
  tm_free(level.adopted.nodes);
  TM_LOG(trace, "%s: Complete %d", __func__, result);
  return result;
}
