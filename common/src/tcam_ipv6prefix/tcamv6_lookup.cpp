#include "tcamv6_lookup.h"

#include <assert.h>
#include <string.h>

#include "tcamv6_output.h"
#include "tcamv6_read_index_find.h"
#include "tcamv6_stored.h"
#include "tm_debug.h"

namespace {

// What a lookup writes. Whoever looks up a prefix is not told the prefix: null.
struct answer_records {
  tcamv6_prefix *prefix;
  tcamv6_cmpr_pref *cmpr_pref;
  tcamv6_cmpr_addr *cmpr_addr;
};

// Gather the answer from the node that a lookup found, if it found one.
int32_t answer_from_tries(const tm_util_trie_node *node, const char *function, const answer_records *out) {
  if (node == nullptr) {
    TM_LOG(info, "%s: Prefix does not exist", function);
    return TM_EINVAL;
  }
  tcamv6_anc_data *data = nullptr;
  const int32_t result = tcamv6_anc_data_of_prefix(node, function, &data);
  if (result == TM_OK) {
    if (out->prefix != nullptr) {
      tcamv6_gen_trie_pref(node, out->prefix);
    }
    tcamv6_gen_trie_pref(tcamv6_cmpr_node(data), out->cmpr_pref);
    tcamv6_gen_trie_addr(tcamv6_cmpr_node(tcamv6_address_data(data, function)), out->cmpr_addr);
  }
  return result;
}

// Gather the answer into the index. Not through the caller's records: they may overlap.
int32_t gather(const tm_util_trie_node *node, const char *function, tcamv6_read_answer *answer) {
  tcamv6_prefix prefix;
  tcamv6_cmpr_pref cmpr_pref;
  const answer_records out = {&prefix, &cmpr_pref, &answer->cmpr_addr};
  const int32_t result = answer_from_tries(node, function, &out);
  if (result == TM_OK) {
    memcpy(answer->address, prefix.address, sizeof answer->address);
    answer->length = prefix.length;
    answer->weight = static_cast<uint16_t>(prefix.weight);
    answer->anchor_ref = static_cast<uint16_t>(prefix.anchor_ref);
    memcpy(answer->code, cmpr_pref.key, sizeof answer->code);
    answer->code_length = cmpr_pref.length;
    answer->own_node = static_cast<uint16_t>(cmpr_pref.own_node);
    answer->node_aux = static_cast<uint16_t>(cmpr_pref.node_aux);
  }
  return result;
}

void write_prefix(const tcamv6_read_answer *answer, tcamv6_prefix *prefix) {
  memcpy(prefix->address, answer->address, sizeof prefix->address);
  prefix->length = answer->length;
  prefix->weight = answer->weight;
  prefix->anchor_ref = answer->anchor_ref;
}

void write_translation(const tcamv6_read_answer *answer, tcamv6_cmpr_pref *cmpr_pref, tcamv6_cmpr_addr *cmpr_addr) {
  memcpy(cmpr_pref->key, answer->code, sizeof cmpr_pref->key);
  cmpr_pref->length = answer->code_length;
  cmpr_pref->own_node = answer->own_node;
  cmpr_pref->node_aux = answer->node_aux;
  *cmpr_addr = answer->cmpr_addr;
}

// The answer for the prefix of this number of the index was not asked for before, or the tries have none.
__attribute__((noinline)) int32_t gather_first(const tcamv6_read_index *index, uint32_t number, const char *function) {
  tcamv6_read_answer *answer = &index->answers[number];
  const int32_t result = gather(tm_trie_node(index->items[number].node), function, answer);
  if (result == TM_OK) {
    answer->generation = index->generation;
  }
  return result;
}

inline int32_t make_answer(const tcamv6_read_index *index, uint32_t number, const char *function) {
  const bool is_there = index->answers[number].generation == index->generation;
  return __builtin_expect(is_there, 1) ? TM_OK : gather_first(index, number, function);
}

// Is this what the tries say? Builds with assertions ask them too.
[[maybe_unused]] bool is_answer_of_tries(const tcamv6_read_answer *given, const tm_util_trie_node *node,
                                         const char *function) {
  tcamv6_read_answer answer;
  return node != nullptr && gather(node, function, &answer) == TM_OK &&
         memcmp(&answer, given, offsetof(tcamv6_read_answer, reserved)) == 0;
}

const tm_util_trie_node *find_covering(const tcamv6_state *state, const uint8_t *address) {
  return tm_util_trie_lookup(tm_trie_node(state->orig_root), address, TCAMV6_MAX_PREF_LEN, 1);
}

__attribute__((noinline)) int32_t look_up_in_tries(const tm_util_trie_node *node, const char *function,
                                                   tcamv6_prefix *prefix, tcamv6_cmpr_pref *cmpr_pref,
                                                   tcamv6_cmpr_addr *cmpr_addr) {
  const answer_records out = {prefix, cmpr_pref, cmpr_addr};
  return answer_from_tries(node, function, &out);
}

int32_t look_up_prefix(tcamv6_state *state, const tcamv6_prefix *prefix, const char *function,
                       tcamv6_cmpr_pref *cmpr_pref, tcamv6_cmpr_addr *cmpr_addr) {
  // Longer than any prefix: the tries know.
  const tcamv6_read_index *index =
      prefix->length <= TCAMV6_MAX_PREF_LEN ? tcamv6_read_index_for_lookup(state) : nullptr;
  if (index == nullptr) {
    return look_up_in_tries(tcamv6_find_stored(state, prefix), function, nullptr, cmpr_pref, cmpr_addr);
  }
  const uint32_t number = tcamv6_read_index_exact(index, prefix->address, prefix->length);
  assert(tm_trie_node(index->items[number].node) == tcamv6_find_stored(state, prefix));
  const int32_t result = make_answer(index, number, function);
  if (result == TM_OK) {
    assert(is_answer_of_tries(&index->answers[number], tcamv6_find_stored(state, prefix), function));
    write_translation(&index->answers[number], cmpr_pref, cmpr_addr);
  }
  return result;
}

int32_t look_up_address(tcamv6_state *state, const uint8_t *address, const char *function, tcamv6_prefix *prefix,
                        tcamv6_cmpr_pref *cmpr_pref, tcamv6_cmpr_addr *cmpr_addr) {
  const tcamv6_read_index *index = tcamv6_read_index_for_lookup(state);
  if (index == nullptr) {
    return look_up_in_tries(find_covering(state, address), function, prefix, cmpr_pref, cmpr_addr);
  }
  const uint32_t number = tcamv6_read_index_covering(index, address);
  assert(tm_trie_node(index->items[number].node) == find_covering(state, address));
  const int32_t result = make_answer(index, number, function);
  if (result == TM_OK) {
    assert(is_answer_of_tries(&index->answers[number], find_covering(state, address), function));
    write_prefix(&index->answers[number], prefix);
    write_translation(&index->answers[number], cmpr_pref, cmpr_addr);
  }
  return result;
}

}  // namespace

int32_t tcamv6_lookup_prefix(tcamv6_state *state, const tcamv6_prefix *prefix, tcamv6_cmpr_pref *cmpr_pref_p,
                             tcamv6_cmpr_addr *cmpr_addr_p) {
  TM_LOG(trace, "%s: Starting state_hndl %p, prefix %p, cmpr_pref_p %p cmpr_addr_p %p", __func__,
         static_cast<void *>(state), static_cast<const void *>(prefix), static_cast<void *>(cmpr_pref_p),
         static_cast<void *>(cmpr_addr_p));
  int32_t result = TM_EINVAL;
  if (tcamv6_state_unusable(state) || prefix == nullptr || cmpr_pref_p == nullptr || cmpr_addr_p == nullptr) {
    TM_LOG(info, "%s: Bad arguments", __func__);
  } else {
    result = look_up_prefix(state, prefix, __func__, cmpr_pref_p, cmpr_addr_p);
  }
  TM_LOG(trace, "%s: Complete %d", __func__, result);
  return result;
}

int32_t tcamv6_lookup_address(tcamv6_state *state, const uint8_t lkup_addr[16], tcamv6_prefix *prefix,
                              tcamv6_cmpr_pref *cmpr_pref_p, tcamv6_cmpr_addr *cmpr_addr_p) {
  TM_LOG(trace, "%s: Starting state_hndl %p, lkup_addr %p, prefix %p, cmpr_pref_p %p cmpr_addr_p %p", __func__,
         static_cast<void *>(state), static_cast<const void *>(lkup_addr), static_cast<void *>(prefix),
         static_cast<void *>(cmpr_pref_p), static_cast<void *>(cmpr_addr_p));
  int32_t result = TM_EINVAL;
  if (tcamv6_state_unusable(state) || lkup_addr == nullptr || prefix == nullptr || cmpr_pref_p == nullptr ||
      cmpr_addr_p == nullptr) {
    TM_LOG(info, "%s: Bad arguments", __func__);
  } else {
    result = look_up_address(state, lkup_addr, __func__, prefix, cmpr_pref_p, cmpr_addr_p);
  }
  TM_LOG(trace, "%s: Complete %d", __func__, result);
  return result;
}
