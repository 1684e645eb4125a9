// SPDX-License-Identifier: Apache-2.0
// table_pools.cpp - a bound for the elements that n prefixes need, known before any of them is.
//
// A prefix brings up to four anchors (/32, /48, /64, /96) along: at most D = 5 n + 1 distinct prefixes are stored. I of
// them have others inside.
//
//   ancestor tree   a node and a data record for each prefix, and for the rest that each of the I keeps: D + I
//   tries           a binary trie of L leaves, none deeper than d, has at most min(2^k, L) nodes of depth k.
//                   Uncompressed prefixes: n leaves of depth 128, for anchors lie on their prefixes' paths.
//                   Codes: a leaf for each prefix without others inside and for the rest of each of the I: D leaves
//                   of depth 64. Their data records share the pool of the prefixes'
//   path-compressed trie   fewer than 2 D nodes, each of which can be split once. Full compressions only
//
// Batches take before they give back, and what they move stands twice for a while: half as much again. A pool's memory
// is committed when it is first used, so that a generous bound costs address space only.
#include "table_pools.h"

#include "zel_v6comp_table.h"

namespace {

constexpr uint64_t slack = 4096;

uint64_t most_nodes(uint64_t leaves, uint32_t depth) {
  uint64_t nodes = 0;
  for (uint32_t k = 0; k <= depth; ++k) {
    const uint64_t of_depth = k < 40 ? uint64_t{1} << k : leaves;
    nodes += of_depth < leaves ? of_depth : leaves;
  }
  return nodes;
}

uint64_t with_reserve(uint64_t elements) {
  const uint64_t most = UINT32_MAX;
  const uint64_t all = elements + elements / 2 + slack;
  return all < most ? all : most;
}

}  // namespace

table_pool_sizes table_size_pools(uint32_t n_prefixes) {
  const uint64_t n = uint64_t{n_prefixes} + 1;
  const uint64_t distinct = 5 * n;
  const uint64_t codes = most_nodes(distinct, 64);
  table_pool_sizes sizes = {};
  sizes.elements[TM_V6_ANC_TREE] = with_reserve(2 * distinct);
  sizes.elements[TM_V6_ANC_DATA] = with_reserve(2 * distinct);
  sizes.elements[TM_V6_ORIG_DATA] = with_reserve(distinct + codes);
  sizes.elements[TM_V6_PCMPR_DATA] = with_reserve(4 * distinct);
  sizes.elements[TM_V6_TRIE_NODE] = with_reserve(most_nodes(n, 128) + 4 * distinct + codes);
  return sizes;
}

void zel_v6comp_table_size_pools(uint32_t prefixes, uint64_t elements[ZEL_V6COMP_TABLE_POOLS]) {
  const table_pool_sizes sizes = table_size_pools(prefixes);
  for (uint32_t i = 0; elements != nullptr && i < ZEL_V6COMP_TABLE_POOLS; ++i) {
    elements[i] = sizes.elements[TM_V6_ANC_TREE + i];
  }
}
