// SPDX-License-Identifier: Apache-2.0
// tcamv6_recompress.cpp - compressing anew, in place, what an instance holds.
//
// The trie of uncompressed prefixes stays, with its counters: it is the table. Beside the old ancestor tree and the old
// compressed trie new ones are built; only then are the old ones released, or, after a failure, the new ones:
//
//                                 old                      new
//      trie node [2001:db8::/32] --x--> orig data A         orig data B <--- the node's link meanwhile
//            |                           |                   |
//        saved: A, tag              ancestor tree        ancestor tree
//                                        |                   |
//                                   compressed trie      compressed trie
//
// The one thing that both need is the node's link and its tag, so these two are saved, for every prefix, on the heap.
// Until the last step, which needs no memory, putting them back undoes everything. Pools must hold both tries at once.
#include "tcamv6_recompress.h"

#include <string.h>

#include "tcamv6_anc_tree.h"
#include "tcamv6_leftovers.h"
#include "tcamv6_moves_internal.h"
#include "tcamv6_output.h"
#include "tcamv6_phases.h"
#include "tcamv6_read_index.h"
#include "tcamv6_state_internal.h"
#include "tm_debug.h"
#include "tm_key.h"
#include "tm_memory.h"
#include "tm_n_ary_tree.h"

namespace {

constexpr const char *driver = "tcamv6_recompress";

// A stored prefix and what leads to its old code.
struct stored_prefix {
  tm_util_trie_node *node;
  tm_chunk_idx data;
  uint32_t tag;
};

// The state's links that a layout makes anew.
struct layout_links {
  tm_chunk_idx anc_root;
  tm_chunk_idx cmpr_root;
  int32_t trees_built;
  uint32_t tags_handed_out;
};

struct recompression {
  tcamv6_state *state;
  stored_prefix *prefixes;  // in the order of their bits, containing ones first
  uint32_t count;
  layout_links old;
};

// ---- the stored prefixes

uint32_t count_prefixes(const tm_util_trie_node *node) {
  return node == nullptr
             ? 0
             : (node->tag != 0) + count_prefixes(tm_trie_child(node, 0)) + count_prefixes(tm_trie_child(node, 1));
}

void list_prefixes(tm_util_trie_node *node, recompression *run) {
  if (node == nullptr) {
    return;
  }
  if (node->tag != 0) {
    run->prefixes[run->count++] = {node, node->data, node->tag};
  }
  list_prefixes(tm_trie_child(node, 0), run);
  list_prefixes(tm_trie_child(node, 1), run);
}

int32_t save_table(recompression *run) {
  tm_util_trie_node *root = tm_trie_node(run->state->orig_root);
  const size_t bytes = (size_t{count_prefixes(root)} + 1) * sizeof(stored_prefix);
  run->prefixes = static_cast<stored_prefix *>(zel_malloc_named(TM_MEM_TAG_LIST, bytes));
  if (run->prefixes == nullptr) {
    TM_LOG(info, "%s: malloc(%zu bytes) failed", driver, bytes);
    return TM_ENOMEM;
  }
  list_prefixes(root, run);
  return TM_OK;
}

// ---- the table without its old codes

// Tags come anew, as a full compression gives them: none is 0 in the 20 bits that compressed nodes keep of it.
void set_old_aside(recompression *run) {
  tcamv6_state *state = run->state;
  run->old = {state->anc_root, state->cmpr_root, state->trees_built, tcamv6_tags_handed_out()};
  state->anc_root = TM_CHUNK_IDX_NULL;
  state->cmpr_root = TM_CHUNK_IDX_NULL;
  state->trees_built = 0;
  for (uint32_t i = 0; i < run->count; ++i) {
    run->prefixes[i].node->data = TM_CHUNK_IDX_NULL;
    run->prefixes[i].node->tag = i % TM_PREFIX_TAG_MASK + 1;
  }
}

void release_pcmpr_trie(tcamv6_state *state) {
  tm_util_trie_free(tm_trie_node(state->pcmpr_root), 1, TM_V6_PCMPR_DATA);
  state->pcmpr_root = TM_CHUNK_IDX_NULL;
}

void put_old_back(recompression *run) {
  tcamv6_state *state = run->state;
  tcamv6_abandon_anc_tree(tcamv6_anc_node(state->anc_root));
  for (uint32_t i = 0; i < run->count; ++i) {
    stored_prefix *prefix = &run->prefixes[i];
    if (prefix->node->data != TM_CHUNK_IDX_NULL) {
      tm_chunk_free(TM_V6_ORIG_DATA, tm_ptr<void>(prefix->node->data));
    }
    prefix->node->data = prefix->data;
    prefix->node->tag = prefix->tag;
  }
  tm_chunk_release_abandoned();
  state->anc_root = run->old.anc_root;
  state->cmpr_root = run->old.cmpr_root;
  state->trees_built = run->old.trees_built;
  tcamv6_take_back_tags(run->old.tags_handed_out);
}

// ---- what moved

tcamv6_anc_data *anc_data_behind(tm_chunk_idx orig_data) {
  return tcamv6_anc_data_of(tcamv6_anc_node_of(tm_ptr<tcamv6_orig_data>(orig_data)));
}

struct code {
  uint8_t key[8];
  uint8_t address[8];
  uint8_t length;
};

code code_of(tcamv6_anc_data *data) {
  const tm_util_trie_node *node = tcamv6_cmpr_node(data);
  uint8_t key[TM_KEY_BYTES];
  tm_key_copy_bits(key, node->key, node->len);
  tcamv6_cmpr_addr address;
  tcamv6_gen_trie_addr(tcamv6_cmpr_node(tcamv6_address_data(data, driver)), &address);
  code c = {};
  memcpy(c.key, key, sizeof c.key);
  memcpy(c.address, address.bytes, sizeof c.address);
  c.length = static_cast<uint8_t>(node->len);
  return c;
}

int32_t note_move(const stored_prefix *prefix) {
  tcamv6_anc_data *before = anc_data_behind(prefix->data);
  const code from = code_of(before);
  const code to = code_of(anc_data_behind(prefix->node->data));
  if (memcmp(&from, &to, sizeof from) == 0) {
    return TM_OK;
  }
  zel_v6comp_move move = {};
  tm_key_copy_bits(move.address, prefix->node->key, prefix->node->len);
  memcpy(move.old_key, from.key, sizeof from.key);
  memcpy(move.new_key, to.key, sizeof to.key);
  memcpy(move.old_address, from.address, sizeof from.address);
  memcpy(move.new_address, to.address, sizeof to.address);
  move.length = static_cast<uint8_t>(prefix->node->len);
  move.old_length = from.length;
  move.new_length = to.length;
  move.reference = before->handle;
  return tcamv6_moves_add(&move);
}

int32_t note_moves(const recompression *run) {
  for (uint32_t i = 0; i < run->count; ++i) {
    if (tcamv6_is_anchor_only(run->prefixes[i].node)) {
      continue;
    }
    const int32_t result = note_move(&run->prefixes[i]);
    if (result != TM_OK) {
      TM_LOG(info, "%s: no memory to note what moved", driver);
      return result;
    }
  }
  return TM_OK;
}

// ---- the new layout

int32_t lay_out(recompression *run, bool fits) {
  tcamv6_phases layout = {run->state, tm_trie_node(run->state->orig_root), nullptr, nullptr, fits};
  const int32_t result = tcamv6_run_phases(&layout);
  release_pcmpr_trie(run->state);
  run->state->cmpr_root = tm_idx(layout.cmpr_root);
  return result;
}

// The last step, which cannot fail: handles go over, and what is old is released.
void keep_new(recompression *run) {
  for (uint32_t i = 0; i < run->count; ++i) {
    const stored_prefix *prefix = &run->prefixes[i];
    tcamv6_anc_data *data = anc_data_behind(prefix->node->data);
    data->handle = anc_data_behind(prefix->data)->handle;
  }
  for (uint32_t i = 0; i < run->count; ++i) {
    tm_chunk_free(TM_V6_ORIG_DATA, tm_ptr<void>(run->prefixes[i].data));
  }
  tm_util_trie_free(tm_trie_node(run->old.cmpr_root), 1, TM_V6_ORIG_DATA);
  tm_util_n_ary_tree_free(tcamv6_anc_node(run->old.anc_root), 1, TM_V6_ANC_DATA);
  run->state->marks &= ~static_cast<uint32_t>(TCAMV6_MARK_LOOSE_LEVELS);
}

int32_t recompress(recompression *run, bool fits) {
  int32_t result = save_table(run);
  if (result != TM_OK) {
    return result;
  }
  set_old_aside(run);
  result = lay_out(run, fits);
  if (result == TM_OK) {
    result = note_moves(run);
  }
  if (result == TM_OK) {
    keep_new(run);
  } else {
    put_old_back(run);
  }
  return result;
}

}  // namespace

int32_t tcamv6_recompress(tcamv6_state *state, bool fits) {
  TM_LOG(trace, "%s: Starting state %p", driver, static_cast<void *>(state));
  int32_t result = TM_EINVAL;
  if (tcamv6_state_unusable(state) || state->opt_done != 1) {
    TM_LOG(info, "%s: Bad arguments", driver);
  } else {
    tcamv6_drop_read_index(state);
    recompression run = {state, nullptr, 0, {}};
    result = recompress(&run, fits);
    tm_free(run.prefixes);
  }
  TM_LOG(trace, "%s: Complete %d", driver, result);
  return result;
}
