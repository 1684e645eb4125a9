// SPDX-License-Identifier: Apache-2.0
// tcamv6_read_index.cpp - the memory of read indexes.
#include "tcamv6_read_index.h"

#include "tm_memory.h"
#include "tm_trie_internal.h"

namespace {

uint64_t n_contents = 0;  // that went live so far; instances may be indexed by several threads at once

void free_index(tcamv6_read_index *index) {
  tm_free(index->items);
  tm_free(index->answers_block);
  tm_free(index->words);
  zel_free_named(index);
}

}  // namespace

void tcamv6_read_index_go_live(tcamv6_read_index *index) {
  index->live = __atomic_add_fetch(&n_contents, 1, __ATOMIC_RELAXED);
}

// At 1032 bytes per node half a kilobyte per prefix, and some for the smallest tables: anchors, one inside the other on
// paths of their own, would take twice as much. Without the nodes for single bytes, a node has two prefixes or nodes
// below it, so that there are fewer of them than prefixes.
uint32_t tcamv6_read_index_max_nodes(uint32_t n_prefixes, bool rows_only) {
  constexpr uint32_t most = ~TCAMV6_READ_KIND / TCAMV6_READ_NODE_WORDS;  // an entry leads to no further
  const uint32_t at_least_two_ways = rows_only ? n_prefixes : n_prefixes / 2 + 64;
  const uint32_t allowed = at_least_two_ways + tcamv6_read_index_max_spread(n_prefixes, rows_only);
  return allowed < most ? allowed : most;
}

void tcamv6_release_read_index(tcamv6_state *state) {
  if (state->read_index != 0) {
    free_index(tcamv6_read_index_at(state->read_index));
    state->read_index = 0;
  }
}

tcamv6_read_index *tcamv6_make_read_index(tcamv6_state *state, bool rows_only) {
  tcamv6_read_index *index = tcamv6_read_index_at(state->read_index);
  if (index == nullptr) {
    index = static_cast<tcamv6_read_index *>(zel_calloc_named(TM_MEM_TAG_LIST, 1, sizeof *index));
    if (index == nullptr) {
      return nullptr;
    }
    state->read_index = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(index));
  }
  index->live = 0;
  index->rows_only = rows_only;
  const uint32_t n_expected = rows_only ? state->n_rows : state->n_prefs;
  if (!tcamv6_build_read_index(index, tm_trie_node(state->orig_root), n_expected)) {
    tcamv6_release_read_index(state);
    return nullptr;
  }
  return index;
}
