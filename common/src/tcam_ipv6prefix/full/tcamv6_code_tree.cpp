// SPDX-License-Identifier: Apache-2.0
// tcamv6_code_tree.cpp - the tight code of one prefix's children, and the bits that it costs.
//
// Each child i of a prefix needs w(i) bits for what lies below it (its `cost`; a leaf or a dummy needs none). The
// children must get codes c(i), none the beginning of another, and the longest c(i) + w(i) is to be as short as
// possible: it is what the prefix itself costs, and the root's cost says whether the table fits 64 bits at all.
//
// The answer is a Huffman tree with another sum: the two lightest are joined again and again, and a joint weighs the
// heavier of them plus one, since both get one bit longer. The children of 2001:db8::/32 in the README's table weigh
//
//   db8:ffff::/48 3    db8:2::/48 1    db8:1::/48 0    (rest) 0
//
//       0 + 0 -> 1          1 + 1 -> 2             3, 2 -> cost 4
//
//                          (4)
//                     0 /       \ 1                 the last two are mirrored: the lighter goes to side 1
//              ffff: (3)         (2)
//                           0 /      \ 1            joints put the lighter on side 0
//                           (1)      (1)
//                          two of 0   db8:2::
//
// so that db8:ffff:: gets one bit, which its own three can well use, and the /32 costs 4 bits where a plain two-bit
// code for four children would cost 5.
//
// The bits are also the answer to a neat sum: cost = ceil(log2(sum of 2^w(i))), and a lone child costs one bit all the
// same. Which codes equal weights get depends on the heap's order among equals and on the two rules above; results
// depend on all three, so none of them may be tidied. With `cost_only` no node is made: that is how a table is measured
// before it is built.
//
// Cost: O(n log n) for n children and one array of n slots.
#include "tcamv6_code_tree.h"

#include "tcamv6_leftovers.h"
#include "tcamv6_siblings.h"
#include "tm_debug.h"
#include "tm_heap.h"
#include "tm_memory.h"

namespace {

constexpr const char *builder = "tcamv6_gen_huffman_tree";

tm_util_trie_node *entry_node(const tm_util_heap_elem *entry) { return tm_trie_node(entry->value); }

void fill_entries(const tm_n_ary_node *node, tm_util_heap_elem *entries) {
  for (const tm_n_ary_node *child = tcamv6_anc_first_child(node); child != nullptr; child = tcamv6_anc_next(child)) {
    const tcamv6_anc_data *data = tcamv6_anc_data_of(child);
    *entries++ = data == nullptr ? tm_util_heap_elem{} : tm_util_heap_elem{data->cost, 0, data->cmpr_node};
  }
}

void set_children(tm_util_trie_node *node, const tm_util_heap_elem *child_0, const tm_util_heap_elem *child_1) {
  node->left = child_0 == nullptr ? TM_CHUNK_IDX_NULL : child_0->value;
  node->right = child_1 == nullptr ? TM_CHUNK_IDX_NULL : child_1->value;
}

int32_t larger_key(const tm_util_heap_elem *a, const tm_util_heap_elem *b) { return a->key > b->key ? a->key : b->key; }

// Join the two minima.
int32_t combine(tm_util_heap_elem *entries, uint32_t *count, int32_t cost_only) {
  tm_util_trie_node *joint = nullptr;
  if (cost_only == 0) {
    joint = static_cast<tm_util_trie_node *>(tm_chunk_malloc(TM_V6_TRIE_NODE));
    if (joint == nullptr) {
      TM_LOG(info, "%s: malloc(%zu bytes) failed", builder, sizeof(tm_util_trie_node));
      return TM_ENOMEM;
    }
    tm_util_trie_node_initialize(joint, nullptr, 0);
  }
  tm_util_heap_elem a = {};
  tm_util_heap_elem b = {};
  int32_t result = tm_util_heap_delmin(entries, count, &a);
  if (result == TM_OK) {
    result = tm_util_heap_delmin(entries, count, &b);
  }
  if (result != TM_OK) {
    TM_LOG(info, "%s: heap_delmin(%d nodes) failed %d", builder, static_cast<int>(*count), result);
    return result;
  }
  if (joint != nullptr) {
    set_children(joint, &a, &b);
  }
  const tm_util_heap_elem joined = {larger_key(&a, &b) + 1, 0, tm_idx(joint)};
  result = tm_util_heap_insert(entries, count, &joined);
  if (result != TM_OK) {
    TM_LOG(info, "%s: heap_insert(%d nodes) failed %d", builder, static_cast<int>(*count), result);
  }
  return result;
}

// Join all entries but two.
int32_t build_tree(tm_util_heap_elem *entries, uint32_t *count, int32_t cost_only) {
  const int32_t result = tm_util_heap_heapify(entries, *count);
  if (result != TM_OK) {
    TM_LOG(info, "%s: heapify(%d nodes) failed %d", builder, static_cast<int>(*count), result);
    return result;
  }
  while (*count > 2) {
    const int32_t combined = combine(entries, count, cost_only);
    if (combined != TM_OK) {
      return combined;
    }
  }
  return TM_OK;
}

void finish(tcamv6_anc_data *data, tm_util_trie_node *trie_node, const tm_util_heap_elem *entries, uint32_t count) {
  const bool single = count == 1;
  if (trie_node != nullptr) {
    set_children(trie_node, single ? &entries[0] : &entries[1], single ? nullptr : &entries[0]);
  }
  const int32_t largest = single ? entries[0].key : larger_key(&entries[0], &entries[1]);
  data->cost = static_cast<uint8_t>(largest + 1);
}

// After a failure the joints hang in the heap array alone.
void abandon_joints(const tm_util_heap_elem *entries, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) {
    tcamv6_abandon_unowned(entry_node(&entries[i]));
  }
}

}  // namespace

int32_t tcamv6_gen_huffman_tree(tm_n_ary_node *anc_node, tm_util_trie_node *trie_node, int32_t cost_only) {
  constexpr const char *function = "tcamv6_gen_huffman_tree";
  TM_LOG(trace, "%s: Starting anc_node index %lx, trie_node %p", function, static_cast<unsigned long>(tm_idx(anc_node)),
         static_cast<void *>(trie_node));
  if (anc_node == nullptr || (cost_only == 0 && trie_node == nullptr)) {
    TM_LOG(info, "%s: Bad arguments", function);
    TM_LOG(trace, "%s: Complete %d", function, TM_EINVAL);
    return TM_EINVAL;
  }
  uint32_t count = tcamv6_count_children(anc_node);
  const size_t bytes = count * sizeof(tm_util_heap_elem);
  auto *entries = static_cast<tm_util_heap_elem *>(zel_malloc_named(TM_MEM_TAG_CODE_HEAP, bytes));
  int32_t result = TM_OK;
  if (entries == nullptr) {
    TM_LOG(info, "%s: malloc(%zu bytes) failed", function, bytes);
    result = TM_ENOMEM;
  } else if (count != 0) {
    fill_entries(anc_node, entries);
    result = build_tree(entries, &count, cost_only);
    tcamv6_anc_data *data = tcamv6_anc_data_of(anc_node);
    if (result != TM_OK) {
      abandon_joints(entries, count);
    } else if (data != nullptr) {
      finish(data, cost_only == 0 ? trie_node : nullptr, entries, count);
    }
  }
  TM_LOG(trace, "%s: Complete %d", function, result);
  tm_free(entries);
  return result;
}
