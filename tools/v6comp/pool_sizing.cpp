// SPDX-License-Identifier: Apache-2.0
// Of D distinct stored prefixes, I of them with others inside:
//
//   ancestor tree   a node and a data record for each prefix, and for the rest that each of the I keeps: D + I
//   original trie   a node for each bit string that begins a stored prefix, counted exactly; a data record for each
//                   prefix
//   path-compressed trie   nodes of prefixes and branches, fewer than 2 D, each of which can be split once: 4 D.
//                   Released before the request returns, but in use beside the two other tries
//   compressed trie a leaf for each prefix without others inside and for the rest of each of the I: D leaves. A
//                   binary trie of D leaves, none deeper than 64, has at most min(2^k, D) nodes of depth k. Its data
//                   records share the pool of the original trie's
//
// A pool's memory is committed when it is first used, so that a generous bound costs address space only.
#include "pool_sizing.h"

#include <algorithm>

namespace v6tool {

namespace {

constexpr uint64_t slack = 64;

// Sorted, each prefix shares with its predecessor all that it shares with any earlier one.
uint64_t count_trie_nodes(const std::vector<ip_prefix> &sorted) {
  uint64_t nodes = 1;
  const ip_prefix *before = nullptr;
  for (const ip_prefix &prefix : sorted) {
    unsigned shared = 0;
    if (before != nullptr) {
      shared = std::min({common_bits(before->key, prefix.key), unsigned{before->length}, unsigned{prefix.length}});
    }
    nodes += prefix.length - shared;
    before = &prefix;
  }
  return nodes;
}

uint64_t most_code_nodes(uint64_t leaves) {
  uint64_t nodes = 0;
  for (unsigned depth = 0; depth <= TCAMV6_MAX_CMPR_LEN; ++depth) {
    nodes += depth < 32 ? std::min(leaves, uint64_t{1} << depth) : leaves;
  }
  return nodes;
}

}  // namespace

pool_needs find_pool_needs(const stored_prefixes &stored) {
  const uint64_t distinct = stored.prefixes.size();
  const uint64_t tree = distinct + stored.forest.count_inner();
  const uint64_t trie = count_trie_nodes(stored.prefixes);
  const uint64_t code_nodes = most_code_nodes(distinct);
  pool_needs needs = {};
  needs[TM_V6_ANC_TREE] = {tree, tree + slack};
  needs[TM_V6_ANC_DATA] = {tree, tree + slack};
  needs[TM_V6_ORIG_DATA] = {distinct + tree, distinct + code_nodes + slack};
  needs[TM_V6_PCMPR_DATA] = {distinct, 4 * distinct + slack};
  needs[TM_V6_TRIE_NODE] = {trie + distinct + tree, trie + 4 * distinct + code_nodes + slack};
  return needs;
}

}  // namespace v6tool
