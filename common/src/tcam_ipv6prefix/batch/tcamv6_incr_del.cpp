// SPDX-License-Identifier: Apache-2.0
// tcamv6_incr_del.cpp - taking a prefix out of the structures without moving any other.
//
// A node of the trie of uncompressed prefixes carries the weights of all records that named its prefix, anchors
// included. A deletion takes its record's weight off. While something is left the prefix stays, and only a change
// between "anchors alone" and "a row of the table" shows. When nothing is left, it goes; how depends on what lies
// below.
//
//   the README's table                  a leaf goes: - 2001:db8:2:3::/64        an inner one: - 2001:db8:2::/48
//
//   2001:db8::/32  (0x000/9)            2001:db8::/32                           2001:db8::/32
//    +-- db8:1::/48                      +-- db8:1::/48                          +-- db8:1::/48
//    +-- db8:2::/48 (0x00001ff/28)       +-- db8:2::/48                          +-- (rest)
//    |    +-- db8:2:3::/64               |    +-- (rest)                         +-- db8:2:3::/64  (its key stays)
//    |    +-- (rest)                     +-- (rest)
//    +-- (rest)
//
// A leaf leaves all three structures: its node of the trie and the chain above it as far as nothing else hangs
// there, its node of the ancestor tree, and the tail of its path in the compressed trie. The prefix around it keeps
// its dummy, even when this was its last longer prefix: its compressed address is in the hardware and stays as it
// is. So a prefix can be a leaf and have a dummy; when it goes itself, the dummy goes along.
//
// An inner prefix hands its children to the prefix around it, behind that one's own. Its dummy and the dummy's path
// go. Its compressed node stays, without tag and owner, as a plain node on the way to the children: their keys begin
// with its key. The trie node stays too, on the way to longer prefixes, but forgets its data. A later addition of
// the same prefix finds a plain node there and is a new one.
//
// Invariants: no stored prefix but the deleted one changes its code or its address; what another prefix owns in the
// compressed trie is never released, whatever hangs where (tcamv6_cmpr_path); ::/0 is never removed, its weight goes
// back to 1.
//
// Cost: a few walks down, and for an inner prefix a write for each child that is handed over. The ways in the
// compressed trie begin at the enclosing prefix's node: from the root they come to nodes that nothing else has called
// into a cache, and a removal from a table of 160,000 prefixes takes 1.4 times as long.
//
// Corner cases: in compatible mode a deletion counts down whatever is stored, also the weight that anchors gave;
// safe updates take from a prefix only its own share. The prefix's node can be shared with the dummy of another:
// then only the dummy's own path below it is released. Children handed over can be more than a journal's usual
// allotment: their notes are reserved before anything changes.
#include "tcamv6_incr_del.h"

#include "tcamv6_cmpr_path.h"
#include "tcamv6_cmpr_places.h"
#include "tcamv6_read_index.h"
#include "tcamv6_safe.h"
#include "tcamv6_siblings.h"
#include "tcamv6_stored.h"
#include "tm_debug.h"
#include "tm_journal.h"

namespace {

constexpr const char *deleter = "tcamv6_incr_del_prefix";

// A prefix that is about to leave the structures, and the one around it.
struct deletion {
  tm_util_trie_node *orig_root;
  tm_util_trie_node *cmpr_root;
  tm_util_trie_node *trie_node;
  tcamv6_orig_data *orig;
  tm_n_ary_node *anc_node;
  tcamv6_anc_data *data;
  tm_util_trie_node *cmpr_node;
  tm_n_ary_node *parent;
  tm_util_trie_node *way;  // where the ways to the prefix's compressed nodes begin
};

void require(bool condition, const char *text) {
  if (!condition) {
    zel_fatal("\n%s: %s", deleter, text);
  }
}

int32_t report(const char *text, int32_t result) {
  if (result != TM_OK) {
    TM_LOG(error, "%s: %s %d", deleter, text, result);
  }
  return result;
}

// Take the record's weights off the node's counters, if it has as much.
int32_t take_counters(tm_util_trie_node *node, const tcamv6_update_rules *rules, const tcamv6_prefix *prefix,
                      tcamv6_state *state, int32_t *changed) {
  const uint32_t stored = rules->exact_counters && !tm_prefix_is_anchor(prefix) ? tcamv6_own_share(node) : node->aux1;
  if (prefix->weight > stored) {
    TM_LOG(error, "%s: requested node count %d is more than existing %d refs len:%d p_len:%d dummy_ref_ct:%d data:%d",
           deleter, static_cast<int>(prefix->weight), static_cast<int>(stored), node->len, prefix->length, node->aux2,
           static_cast<int>(node->tag));
    return TM_EINVAL;
  }
  const bool was_anchor = tcamv6_is_anchor_only(node);
  tm_edit(&node->aux1, node->aux1 - prefix->weight);
  tm_edit(&node->aux2, node->aux2 - prefix->anchor_ref);
  const bool is_anchor = tcamv6_is_anchor_only(node);
  state->n_rows += static_cast<uint32_t>(was_anchor) - static_cast<uint32_t>(is_anchor);
  *changed = was_anchor != is_anchor;
  return TM_OK;
}

void find_links(deletion *del, const tcamv6_state *state) {
  del->orig_root = tm_trie_node(state->orig_root);
  del->cmpr_root = tm_trie_node(state->cmpr_root);
  del->orig = tcamv6_orig_data_of(del->trie_node);
  require(del->orig != nullptr, "orig_trie_data is NULL");
  del->anc_node = tcamv6_anc_node_of(del->orig);
  require(del->anc_node != nullptr, "anc_node is NULL");
  del->data = tcamv6_anc_data_of(del->anc_node);
  require(del->data != nullptr, "anc_data is NULL");
  del->cmpr_node = tcamv6_cmpr_node(del->data);
}

// The enclosing prefix, found by looking the node's own key up once it is no prefix any more.
void find_parent(deletion *del) {
  const tm_util_trie_node *enclosing = tm_util_trie_lookup(del->orig_root, del->trie_node->key, del->trie_node->len, 1);
  require(enclosing != nullptr, "bmp_trie_node is NULL");
  const tcamv6_orig_data *orig = tcamv6_orig_data_of(enclosing);
  require(orig != nullptr, "orig_trie_data is NULL");
  del->parent = tcamv6_anc_node_of(orig);
  require(del->parent != nullptr, "anc_parent is NULL");
  require(del->parent->data != TM_CHUNK_IDX_NULL, "anc_parent_data is NULL");
  del->way = tcamv6_cmpr_way_to(del->cmpr_node, tcamv6_cmpr_node(tcamv6_anc_data_of(del->parent)), del->cmpr_root);
}

// Release the path to a compressed node as far as nobody else needs it. Returns 0, -17 or -12.
int32_t release_path(tm_util_trie_node *way, tm_util_trie_node *node) {
  tcamv6_clear_cmpr_tag(way, node);
  return tcamv6_release_cmpr_path(way, node);
}

// A leaf leaves all three structures, and the dummy that it may still have from longer prefixes of the past goes along.
int32_t delete_leaf(const deletion *del) {
  tm_n_ary_node *dummy = tcamv6_anc_node(del->data->dummy);
  const tcamv6_anc_data *dummy_data = tcamv6_anc_data_of(dummy);
  const int32_t removed = report("failed to remove trailing path in original trie",
                                 tm_util_trie_free_trailing_path(del->orig_root, del->trie_node, 1, TM_V6_ORIG_DATA));
  if (removed != TM_OK) {
    return removed;
  }
  tcamv6_disown_cmpr_node(del->data);
  if (dummy_data != nullptr) {
    tcamv6_disown_cmpr_node(dummy_data);
  }
  int32_t released = release_path(del->way, del->cmpr_node);
  if (released == TM_EEXIST && dummy_data != nullptr) {
    // The prefix's node is shared and stays; what hangs from it for the dummy alone need not.
    tm_util_trie_node *dummy_node = tcamv6_cmpr_node(dummy_data);
    released = release_path(tcamv6_cmpr_way_to(dummy_node, del->way, del->cmpr_root), dummy_node);
  }
  if (released == TM_ENOMEM) {
    return released;
  }
  tm_n_ary_tree_freenode(del->anc_node, 1, TM_V6_ANC_DATA);
  tm_n_ary_tree_freenode(dummy, 1, TM_V6_ANC_DATA);
  return TM_OK;
}

// An inner prefix hands its children to its parent. Its compressed node stays as a path node, so that the children's
// keys do not change.
int32_t delete_inner(const deletion *del) {
  tm_n_ary_node *dummy = tcamv6_anc_node(del->data->dummy);
  require(dummy != nullptr, "dummy is NULL");
  const tcamv6_anc_data *dummy_data = tcamv6_anc_data_of(dummy);
  require(dummy_data != nullptr, "dummy_nary is NULL");
  tm_util_trie_node *dummy_node = tcamv6_cmpr_node(dummy_data);
  require(dummy_node != nullptr, "dummy_cmpr is NULL");
  const int32_t unlinked =
      report("failed to delete dummy for node to delete", tcamv6_unlink_child(del->anc_node, dummy));
  if (unlinked != TM_OK) {
    return unlinked;
  }
  tcamv6_disown_cmpr_node(dummy_data);
  tm_n_ary_tree_freenode(dummy, 1, TM_V6_ANC_DATA);
  tcamv6_move_children(del->parent, del->anc_node);
  require(del->orig != nullptr, "dummy_orig is NULL");
  tm_chunk_free(TM_V6_ORIG_DATA, del->orig);
  // The prefix's own node still counts as owned.
  if (release_path(tcamv6_cmpr_way_to(dummy_node, del->cmpr_node, del->cmpr_root), dummy_node) == TM_ENOMEM) {
    return TM_ENOMEM;
  }
  tm_edit(&del->trie_node->data, TM_CHUNK_IDX_NULL);
  tcamv6_clear_cmpr_tag(del->way, del->cmpr_node);
  tcamv6_disown_cmpr_node(del->data);
  tm_n_ary_tree_freenode(del->anc_node, 1, TM_V6_ANC_DATA);
  return TM_OK;
}

int32_t remove_prefix(deletion *del, const tcamv6_state *state) {
  find_links(del, state);
  const int32_t reserved = tcamv6_reserve_moving(del->anc_node);
  if (reserved != TM_OK) {
    return reserved;
  }
  tm_edit(&del->trie_node->tag, 0);
  find_parent(del);
  if (del->parent->child == TM_CHUNK_IDX_NULL) {
    TM_LOG(info, "%s: Error - parent has NULL child pointer", deleter);
    return TM_EFAULT;
  }
  const int32_t unlinked =
      report("failed to delete child from parent's child list", tcamv6_unlink_child(del->parent, del->anc_node));
  if (unlinked != TM_OK) {
    return unlinked;
  }
  return tm_trie_is_leaf(del->trie_node) ? delete_leaf(del) : delete_inner(del);
}

int32_t delete_reference(tcamv6_state *state, const tcamv6_update_rules *rules, const tcamv6_prefix *prefix,
                         int32_t *changed, uint32_t *remaining) {
  tm_util_trie_node *node = tm_util_trie_lookup(tm_trie_node(state->orig_root), prefix->address, prefix->length, 1);
  if (node == nullptr) {
    TM_LOG(error, "%s: Lookup on original trie failed for pref len %d", deleter, prefix->length);
    return TM_EFAULT;
  }
  if (!tcamv6_holds_prefix(node, prefix->length)) {
    TM_LOG(error, "%s: Prefix does not exist", deleter);
    return TM_ENOENT;
  }
  const int32_t taken = take_counters(node, rules, prefix, state, changed);
  if (taken != TM_OK || node->aux1 != 0) {
    return taken;
  }
  if (tm_idx(node) == state->orig_root) {
    // The root prefix is never removed.
    const bool was_anchor = tcamv6_is_anchor_only(node);
    tm_edit(&node->aux1, 1);
    state->n_rows += static_cast<uint32_t>(was_anchor) - static_cast<uint32_t>(tcamv6_is_anchor_only(node));
    return TM_OK;
  }
  *remaining = 0;
  state->n_rows -= !tcamv6_is_anchor_only(node);
  deletion del = {};
  del.trie_node = node;
  return remove_prefix(&del, state);
}

}  // namespace

int32_t tcamv6_incr_del_prefix(tcamv6_state *state, const tcamv6_update_rules *rules, const tcamv6_prefix *prefix,
                               tcamv6_cmpr_pref * /*slot*/, int32_t *changed, uint32_t *remaining) {
  constexpr const char *function = "tcamv6_incr_del_prefix";
  TM_LOG(trace, "%s: Starting statep %p, prefix %p, length %d", function, static_cast<void *>(state),
         static_cast<const void *>(prefix), prefix == nullptr ? 0 : prefix->length);
  *changed = 0;
  if (prefix == nullptr) {
    return TM_EINVAL;
  }
  tcamv6_drop_read_index(state);
  const int32_t result = delete_reference(state, rules, prefix, changed, remaining);
  if (result != TM_OK) {
    *changed = 0;
  }
  TM_LOG(trace, "%s: Complete %d", function, result);
  return result;
}
