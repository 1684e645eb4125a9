// SPDX-License-Identifier: Apache-2.0
// tcamv6_recode.cpp - lift, then put.
//
// All that is lifted gives its nodes up first, the deepest prefixes before those above them, and with them the paths
// that lead nowhere any more. Then the new paths are grown. So old and new places may overlap in any way, and what
// remains in between is the table without these prefixes: places can be looked for in it.
//
// Everything else about a prefix stays: its place in the ancestor tree, counters, tag and handle. The journal covers
// every step; no release makes room before the batch is accepted, so old and new paths exist together until then.
#include "tcamv6_recode.h"

#include <string.h>

#include "tcamv6_cmpr_path.h"
#include "tcamv6_cmpr_places.h"
#include "tcamv6_moves_internal.h"
#include "tcamv6_siblings.h"
#include "tm_debug.h"
#include "tm_journal.h"
#include "tm_memory.h"

namespace {

constexpr const char *recoder = "tcamv6_recode";
constexpr uint32_t first_room = 8;

tm_util_trie_node *cmpr_root(const tcamv6_state *state) { return tm_trie_node(state->cmpr_root); }

tcamv6_anc_data *dummy_of(const tcamv6_anc_data *data) { return tcamv6_anc_data_of(tcamv6_anc_node(data->dummy)); }

bool is_placed(const tcamv6_anc_data *data) { return data != nullptr && data->cmpr_node != TM_CHUNK_IDX_NULL; }

int32_t most_of(const tcamv6_state *state) { return static_cast<int32_t>(state->max_cmpr_len); }

bool grow(tcamv6_recoding *recoding) {
  const uint32_t room = recoding->room == 0 ? first_room : 2 * recoding->room;
  auto *list = static_cast<tcamv6_recoded *>(zel_malloc_named(TM_MEM_TAG_LIST, room * sizeof(tcamv6_recoded)));
  if (list == nullptr) {
    return false;
  }
  if (recoding->count != 0) {
    memcpy(list, recoding->list, recoding->count * sizeof *list);
  }
  tm_free(recoding->list);
  recoding->list = list;
  recoding->room = room;
  return true;
}

// Take a compressed node from its owner, and the path to it as far as nobody else needs it.
int32_t give_up(const tcamv6_state *state, tcamv6_anc_data *data) {
  const int32_t reserved = tm_journal_reserve_record(recoder);
  if (reserved != TM_OK) {
    return reserved;
  }
  tm_util_trie_node *node = tcamv6_cmpr_node(data);
  tcamv6_disown_cmpr_node(data);
  tm_edit(&data->cmpr_node, TM_CHUNK_IDX_NULL);
  if (node->owners == 0) {
    tcamv6_clear_cmpr_tag(cmpr_root(state), node);
  }
  const int32_t released = node->len > 0 ? tcamv6_release_cmpr_path(cmpr_root(state), node) : TM_OK;
  return released == TM_ENOMEM ? released : int32_t{TM_OK};
}

int32_t drop_dummy(const tcamv6_recoded *leaf) {
  tcamv6_anc_data *data = tcamv6_anc_data_of(leaf->node);
  tm_n_ary_node *dummy = tcamv6_anc_node(data->dummy);
  if (!leaf->drops_dummy || dummy == nullptr) {
    return TM_OK;
  }
  const int32_t result = tcamv6_unlink_child(leaf->node, dummy);
  if (result == TM_OK) {
    tm_edit(&data->dummy, TM_CHUNK_IDX_NULL);
    tm_n_ary_tree_freenode(dummy, 1, TM_V6_ANC_DATA);
  }
  return result;
}

int32_t take(tcamv6_anc_data *data, tcamv6_code code, tm_util_trie_node *above, uint32_t tag) {
  const int32_t reserved = tm_journal_reserve_record(recoder);
  if (reserved != TM_OK) {
    return reserved;
  }
  uint8_t key[TM_KEY_BYTES];
  tcamv6_code_key(code, key);
  tm_trie_grown grown;
  tm_util_trie_node *node = tm_trie_insert_below(above, key, code.len, &grown);
  if (node == nullptr) {
    return TM_ENOMEM;
  }
  // Places are looked for among free ones. Only where levels were added in compatible mode, two prefixes can have one
  // node, and a leaf's address be its parent's, too.
  if (node->owners != 0) {
    TM_LOG(info, "%s: codes nest where prefixes do not: a place is taken. Reoptimize.", recoder);
    return TM_ENOENT;
  }
  tcamv6_own_cmpr_node(data, node);
  tm_edit(&node->tag, tag);
  return TM_OK;
}

bool has_changed(const tcamv6_recoded *recoded) {
  return recoded->had_code &&
         (recoded->old_code.bits != recoded->new_code.bits || recoded->old_code.len != recoded->new_code.len ||
          recoded->old_address.bits != recoded->new_address.bits);
}

int32_t note_move(const tcamv6_recoded *recoded) {
  const tcamv6_anc_data *data = tcamv6_anc_data_of(recoded->node);
  const tm_util_trie_node *stored = tm_trie_node(data->orig);
  zel_v6comp_move move = {};
  tm_key_copy_bits(move.address, stored->key, stored->len);
  tm_key_store_word(move.old_key, recoded->old_code.bits);
  tm_key_store_word(move.new_key, recoded->new_code.bits);
  tm_key_store_word(move.old_address, recoded->old_address.bits);
  tm_key_store_word(move.new_address, recoded->new_address.bits);
  move.length = static_cast<uint8_t>(stored->len);
  move.old_length = static_cast<uint8_t>(recoded->old_code.len);
  move.new_length = static_cast<uint8_t>(recoded->new_code.len);
  move.reference = data->handle;
  return tcamv6_moves_add(&move);
}

// Bits of a code below a block, put below another block.
uint64_t shifted(uint64_t bits, tcamv6_code from, tcamv6_code to) {
  const uint64_t within = from.len == 64 ? 0 : bits << from.len;
  return to.bits | (to.len == 64 ? 0 : within >> to.len);
}

}  // namespace

tcamv6_recoding tcamv6_recoding_of(tcamv6_state *state) { return {state, nullptr, 0, 0}; }

void tcamv6_recoding_free(tcamv6_recoding *recoding) {
  tm_free(recoding->list);
  *recoding = {};
}

int32_t tcamv6_recoding_add(tcamv6_recoding *recoding, tm_n_ary_node *node) {
  if (recoding->count == recoding->room && !grow(recoding)) {
    return TM_ENOMEM;
  }
  const tcamv6_anc_data *data = tcamv6_anc_data_of(node);
  tcamv6_recoded *recoded = &recoding->list[recoding->count++];
  *recoded = {};
  recoded->node = node;
  recoded->subtree = 1;
  recoded->had_code = is_placed(data);
  if (recoded->had_code) {
    const tcamv6_anc_data *dummy = dummy_of(data);
    recoded->old_code = tcamv6_code_of(tcamv6_cmpr_node(data));
    recoded->old_address = is_placed(dummy) ? tcamv6_code_of(tcamv6_cmpr_node(dummy))
                                            : tcamv6_code_cut(recoded->old_code, most_of(recoding->state));
  }
  recoded->new_code = recoded->old_code;
  recoded->new_address = recoded->old_address;
  return TM_OK;
}

int32_t tcamv6_recoding_add_subtree(tcamv6_recoding *recoding, tm_n_ary_node *node) {
  const uint32_t at = recoding->count;
  int32_t result = tcamv6_recoding_add(recoding, node);
  for (tm_n_ary_node *child = tcamv6_anc_first_child(node); result == TM_OK && child != nullptr;
       child = tcamv6_anc_next(child)) {
    if (!tcamv6_anc_is_dummy(tcamv6_anc_data_of(child))) {
      result = tcamv6_recoding_add_subtree(recoding, child);
    }
  }
  if (result == TM_OK) {
    recoding->list[at].subtree = recoding->count - at;
  }
  return result;
}

void tcamv6_recoding_shift(tcamv6_recoding *recoding, tcamv6_code to) {
  const tcamv6_code from = recoding->list[0].old_code;
  for (uint32_t i = 0; i < recoding->count; ++i) {
    tcamv6_recoded *recoded = &recoding->list[i];
    recoded->new_code = {shifted(recoded->old_code.bits, from, to), recoded->old_code.len - from.len + to.len};
    recoded->new_address = {shifted(recoded->old_address.bits, from, to), recoded->old_address.len};
  }
}

int32_t tcamv6_recoding_lift(const tcamv6_recoding *recoding) {
  int32_t result = TM_OK;
  for (uint32_t i = recoding->count; result == TM_OK && i-- > 0;) {
    tcamv6_anc_data *data = tcamv6_anc_data_of(recoding->list[i].node);
    tcamv6_anc_data *dummy = dummy_of(data);
    if (is_placed(dummy)) {
      result = give_up(recoding->state, dummy);
    }
    if (result == TM_OK && is_placed(data)) {
      result = give_up(recoding->state, data);
    }
    if (result == TM_OK) {
      result = drop_dummy(&recoding->list[i]);
    }
  }
  return result;
}

int32_t tcamv6_recoding_put(const tcamv6_recoding *recoding) {
  int32_t result = TM_OK;
  for (uint32_t i = 0; result == TM_OK && i < recoding->count; ++i) {
    const tcamv6_recoded *recoded = &recoding->list[i];
    result = tcamv6_put_code(recoded->node, recoded->new_code, cmpr_root(recoding->state));
    if (result == TM_OK) {
      result = tcamv6_put_address(recoded->node, recoded->new_address);
    }
    if (result == TM_OK && has_changed(recoded)) {
      result = note_move(recoded);
    }
  }
  return result;
}

int32_t tcamv6_put_code(const tm_n_ary_node *node, tcamv6_code code, tm_util_trie_node *above) {
  return take(tcamv6_anc_data_of(node), code, above, TCAMV6_TAG_PREFIX_PATH);
}

int32_t tcamv6_put_address(const tm_n_ary_node *node, tcamv6_code address) {
  const tcamv6_anc_data *data = tcamv6_anc_data_of(node);
  tcamv6_anc_data *dummy = dummy_of(data);
  return dummy == nullptr ? int32_t{TM_OK} : take(dummy, address, tcamv6_cmpr_node(data), TCAMV6_TAG_DUMMY_PATH);
}

uint32_t tcamv6_entries_at(const tm_n_ary_node *node) {
  const tcamv6_anc_data *data = tcamv6_anc_data_of(node);
  if (tcamv6_anc_is_dummy(data)) {
    return 0;
  }
  uint32_t entries = !tcamv6_is_anchor_only(tm_trie_node(data->orig));
  for (const tm_n_ary_node *child = tcamv6_anc_first_child(node); child != nullptr; child = tcamv6_anc_next(child)) {
    entries += tcamv6_entries_at(child);
  }
  return entries;
}
