// SPDX-License-Identifier: Apache-2.0
// tcamv6_read_index.cpp - the memory of read indexes.
#include "tcamv6_read_index.h"

#include "tm_memory.h"
#include "tm_trie_internal.h"

namespace {

void free_index(tcamv6_read_index *index) {
  tm_free(index->items);
  tm_free(index->answers_block);
  tm_free(index->words);
  zel_free_named(index);
}

}  // namespace

// Half a kilobyte per prefix, at 1032 bytes per node, and some for the smallest tables.
uint32_t tcamv6_read_index_max_nodes(uint32_t n_prefixes) {
  constexpr uint32_t most = ~TCAMV6_READ_KIND / TCAMV6_READ_NODE_WORDS;  // an entry leads to no further
  const uint32_t allowed = n_prefixes / 2 + 64;
  return allowed < most ? allowed : most;
}

void tcamv6_release_read_index(tcamv6_state *state) {
  if (state->read_index != 0) {
    free_index(tcamv6_read_index_at(state->read_index));
    state->read_index = 0;
  }
}

tcamv6_read_index *tcamv6_make_read_index(tcamv6_state *state) {
  tcamv6_read_index *index = tcamv6_read_index_at(state->read_index);
  if (index == nullptr) {
    index = static_cast<tcamv6_read_index *>(zel_calloc_named(TM_MEM_TAG_LIST, 1, sizeof *index));
    if (index == nullptr) {
      return nullptr;
    }
    state->read_index = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(index));
  }
  index->is_live = 0;
  if (!tcamv6_build_read_index(index, tm_trie_node(state->orig_root), state->n_prefs)) {
    tcamv6_release_read_index(state);
    return nullptr;
  }
  return index;
}
