// SPDX-License-Identifier: Apache-2.0
// tcamv6_lookup.cpp - what is the code of this prefix, and which prefix does this address meet?
//
// Both questions end at a stored prefix's node of the trie of uncompressed prefixes, and from there the answer is
// one chain away (tcamv6_anc_tree.h): its code is the key of its compressed node, its compressed address the key of
// its dummy's node, or of its own when it has no dummy. On the README's table:
//
//   tcamv6_lookup_prefix   2001:db8:2::/48         that node, if it holds a prefix     0x00001ff/28, 0x00001fffffffffff
//   tcamv6_lookup_address  2001:db8:2:3::77        the deepest stored prefix above it:
//
//        ::/0 --- 2001:db8::/32 --- 2001:db8:2::/48 --- 2001:db8:2:3::/64 --- (no node)
//                                                       the answer            the walk ends here
//
// An address walks down its bits and keeps the last node that holds a prefix: the longest match, which is what a
// packet meets. Anchors are stored prefixes too: an address can be answered with one that the caller never sent.
//
// That walk touches one node for each bit, up to 128, and then five records. A host that asks a lot can have a read
// index built beside the tries (tcamv6_lookup_index.h): arrays in which the prefix is found in a few steps, with each
// prefix's answer beside it. So a lookup takes one of two ways:
//
//   index is live   ->  the number of the prefix, and its answer copied out
//   otherwise       ->  the walk; also for what the index does not hold, since that has a line to print
//
// Invariants: both give the same bytes (builds with assertions ask the tries each time); any change of the table drops
// the index before it begins. A lookup builds, counts and allocates nothing: with an index, many threads may look up
// at once while nobody changes the table.
//
// Cost: with an index some hundred instructions; by the walk a step for each bit.
//
// Corner cases: with the trace word on every lookup takes the long way, as it has lines to print; a caller's records
// may overlap, and answers are written field by field; a prefix that is not stored is an error, -22.
#include "tcamv6_lookup.h"

#include <assert.h>
#include <string.h>

#include "tcamv6_lookup_index.h"
#include "tcamv6_output.h"
#include "tcamv6_read_index_find.h"
#include "tcamv6_state_internal.h"
#include "tcamv6_stored.h"
#include "tm_debug.h"

namespace {

// What a lookup writes. The prefix is null when a prefix is looked up: the caller has it.
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

// Is this what the tries say? Builds with assertions ask them too.
[[maybe_unused]] bool is_answer_of_tries(const tcamv6_read_answer *given, const tm_util_trie_node *node) {
  tcamv6_read_answer answer;
  return node != nullptr && tcamv6_gather_answer(node, &answer) == TM_OK &&
         memcmp(&answer, given, offsetof(tcamv6_read_answer, reserved)) == 0;
}

const tm_util_trie_node *find_covering(const tcamv6_state *state, const uint8_t *address) {
  return tm_util_trie_lookup(tm_trie_node(state->orig_root), address, TCAMV6_MAX_PREF_LEN, 1);
}

int32_t look_up_prefix(const tcamv6_state *state, const tcamv6_prefix *prefix, const char *function,
                       tcamv6_cmpr_pref *cmpr_pref, tcamv6_cmpr_addr *cmpr_addr) {
  const answer_records out = {nullptr, cmpr_pref, cmpr_addr};
  return answer_from_tries(tcamv6_find_stored(state, prefix), function, &out);
}

int32_t look_up_address(const tcamv6_state *state, const uint8_t *address, const char *function, tcamv6_prefix *prefix,
                        tcamv6_cmpr_pref *cmpr_pref, tcamv6_cmpr_addr *cmpr_addr) {
  const answer_records out = {prefix, cmpr_pref, cmpr_addr};
  return answer_from_tries(find_covering(state, address), function, &out);
}

// Lookups that the index does not answer. Not inline, so that the others need little stack.
__attribute__((noinline)) int32_t any_lookup_prefix(tcamv6_state *state, const tcamv6_prefix *prefix,
                                                    tcamv6_cmpr_pref *cmpr_pref, tcamv6_cmpr_addr *cmpr_addr) {
  constexpr const char *function = "tcamv6_lookup_prefix";
  TM_LOG(trace, "%s: Starting state_hndl %p, prefix %p, cmpr_pref_p %p cmpr_addr_p %p", function,
         static_cast<void *>(state), static_cast<const void *>(prefix), static_cast<void *>(cmpr_pref),
         static_cast<void *>(cmpr_addr));
  int32_t result = TM_EINVAL;
  if (tcamv6_state_unusable(state) || !tcamv6_are_prefixes(prefix, 1) || cmpr_pref == nullptr || cmpr_addr == nullptr) {
    TM_LOG(info, "%s: Bad arguments", function);
  } else {
    result = look_up_prefix(state, prefix, function, cmpr_pref, cmpr_addr);
  }
  TM_LOG(trace, "%s: Complete %d", function, result);
  return result;
}

__attribute__((noinline)) int32_t any_lookup_address(tcamv6_state *state, const uint8_t *address, tcamv6_prefix *prefix,
                                                     tcamv6_cmpr_pref *cmpr_pref, tcamv6_cmpr_addr *cmpr_addr) {
  constexpr const char *function = "tcamv6_lookup_address";
  TM_LOG(trace, "%s: Starting state_hndl %p, lkup_addr %p, prefix %p, cmpr_pref_p %p cmpr_addr_p %p", function,
         static_cast<void *>(state), static_cast<const void *>(address), static_cast<void *>(prefix),
         static_cast<void *>(cmpr_pref), static_cast<void *>(cmpr_addr));
  int32_t result = TM_EINVAL;
  if (tcamv6_state_unusable(state) || address == nullptr || prefix == nullptr || cmpr_pref == nullptr ||
      cmpr_addr == nullptr) {
    TM_LOG(info, "%s: Bad arguments", function);
  } else {
    result = look_up_address(state, address, function, prefix, cmpr_pref, cmpr_addr);
  }
  TM_LOG(trace, "%s: Complete %d", function, result);
  return result;
}

// Only usable states have a live index.
inline const tcamv6_read_index *index_of(const tcamv6_state *state) {
  return state != nullptr ? tcamv6_read_index_for_lookup(state) : nullptr;
}

}  // namespace

int32_t tcamv6_lookup_prefix(tcamv6_state *state, const tcamv6_prefix *prefix, tcamv6_cmpr_pref *cmpr_pref_p,
                             tcamv6_cmpr_addr *cmpr_addr_p) {
  const tcamv6_read_index *index = index_of(state);
  if (index != nullptr && prefix != nullptr && cmpr_pref_p != nullptr && cmpr_addr_p != nullptr &&
      prefix->length <= TCAMV6_MAX_PREF_LEN) {
    const uint32_t number = tcamv6_read_index_exact(index, prefix->address, prefix->length);
    assert(tm_trie_node(index->items[number].node) == tcamv6_find_stored(state, prefix));
    if (number != 0) {
      const tcamv6_read_answer *answer = &index->answers[number];
      assert(is_answer_of_tries(answer, tcamv6_find_stored(state, prefix)));
      write_translation(answer, cmpr_pref_p, cmpr_addr_p);
      return TM_OK;
    }
  }
  return any_lookup_prefix(state, prefix, cmpr_pref_p, cmpr_addr_p);
}

int32_t tcamv6_lookup_address(tcamv6_state *state, const uint8_t lkup_addr[16], tcamv6_prefix *prefix,
                              tcamv6_cmpr_pref *cmpr_pref_p, tcamv6_cmpr_addr *cmpr_addr_p) {
  const tcamv6_read_index *index = index_of(state);
  if (index != nullptr && lkup_addr != nullptr && prefix != nullptr && cmpr_pref_p != nullptr &&
      cmpr_addr_p != nullptr) {
    const uint32_t number = tcamv6_read_index_covering(index, lkup_addr);
    assert(tm_trie_node(index->items[number].node) == find_covering(state, lkup_addr));
    if (number != 0) {
      const tcamv6_read_answer *answer = &index->answers[number];
      assert(is_answer_of_tries(answer, find_covering(state, lkup_addr)));
      write_prefix(answer, prefix);
      write_translation(answer, cmpr_pref_p, cmpr_addr_p);
      return TM_OK;
    }
  }
  return any_lookup_address(state, lkup_addr, prefix, cmpr_pref_p, cmpr_addr_p);
}
