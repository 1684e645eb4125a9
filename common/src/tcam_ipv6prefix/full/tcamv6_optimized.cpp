// SPDX-License-Identifier: Apache-2.0
// tcamv6_optimized.cpp - the full compression of one table, phase by phase:
//
//   working list -> trie of uncompressed prefixes -> ancestor tree and path-compressed trie, costed -> limits
//   -> compressed trie -> made sparse -> nodes per record -> result records
//
// A phase that fails ends the run. What the run took stays allocated when it returns, and is given back when the next
// request is accepted (tcamv6_leftovers.h).
#include "tcamv6_optimized.h"

#include <string.h>

#include "tcamv6_leftovers.h"
#include "tcamv6_output.h"
#include "tcamv6_phases.h"
#include "tcamv6_prefix_list_internal.h"
#include "tcamv6_read_index.h"
#include "tcamv6_rules.h"
#include "tcamv6_state_internal.h"
#include "tm_bits.h"
#include "tm_debug.h"
#include "tm_memory.h"
#include "tm_pcmpr_trie.h"

namespace {

constexpr const char *pipeline = "tcamv6_optimized_compress";

using node_array = tm_util_trie_node **;

// One run: its input, its working arrays (a pointer per record) and its results.
struct full_run {
  tcamv6_state *state;
  uint32_t count;
  const tcamv6_prefix *list;
  tcamv6_cmpr_pref *cmpr_prefs;
  tcamv6_cmpr_addr *cmpr_addrs;
  node_array orig_nodes;     // of the trie of uncompressed prefixes: where the record was inserted
  node_array cmpr_nodes;     // whose key is the record's compressed prefix
  node_array replace_nodes;  // whose key is its compressed address
  uint32_t n_rows;           // of a dump
  bool fits;                 // lay out what the documented limits refuse
  tm_util_trie_node *orig_root;
  tm_util_trie_node *cmpr_root;
  tm_n_ary_node *anc_root;
};

int32_t report(const char *format_tail, int32_t result) {
  if (tcamv6_debug_flags.info != 0) {
    zel_buginf("%s: %s failed %d", pipeline, format_tail, result);
    zel_buginf("\n");
  }
  return result;
}

int32_t report_no_memory(size_t bytes) {
  TM_LOG(info, "%s: malloc(%zu bytes) failed", pipeline, bytes);
  return TM_ENOMEM;
}

int32_t allocate_arrays(full_run *run) {
  const size_t bytes = run->count * sizeof(tm_util_trie_node *);
  node_array *const arrays[] = {&run->orig_nodes, &run->cmpr_nodes, &run->replace_nodes};
  for (node_array *array : arrays) {
    *array = static_cast<node_array>(zel_malloc_named(TM_MEM_TAG_LIST, bytes));
    if (*array == nullptr) {
      return report_no_memory(bytes);
    }
  }
  return TM_OK;
}

void free_arrays(full_run *run) {
  tm_free(run->orig_nodes);
  tm_free(run->cmpr_nodes);
  tm_free(run->replace_nodes);
}

int32_t make_root(full_run *run) {
  run->orig_root = static_cast<tm_util_trie_node *>(tm_chunk_malloc(TM_V6_TRIE_NODE));
  if (run->orig_root == nullptr) {
    return report_no_memory(sizeof(tm_util_trie_node));
  }
  tm_util_trie_node_initialize(run->orig_root, nullptr, 0);
  return TM_OK;
}

// Put a record on its node: the first one gives it its index, all of them add their weights, modulo 2^16.
void count_record(tcamv6_state *state, tm_util_trie_node *node, const tcamv6_prefix *record, uint32_t index) {
  if (node->tag == 0) {
    node->tag = index + 1;
    node->aux1 = 0;
    node->aux2 = 0;
    ++state->n_prefs;
  }
  node->aux1 = static_cast<uint16_t>(node->aux1 + record->weight);
  node->aux2 = static_cast<uint16_t>(node->aux2 + record->anchor_ref);
}

// The path of the record inserted last. The list is sorted, so the next one shares most of it.
struct insertion_path {
  tm_util_trie_node *nodes[TM_KEY_BITS + 1];  // by depth
  const tcamv6_prefix *record;                // null before the first one
};

// Insert a record, walking from where its path leaves the last one's.
tm_util_trie_node *insert_record(insertion_path *path, const tcamv6_prefix *record) {
  int32_t depth = 0;
  if (path->record != nullptr) {
    const int32_t most = record->length < path->record->length ? record->length : path->record->length;
    depth = tm_key_common_bits(record->address, path->record->address, most);
  }
  path->record = record;
  tm_util_trie_node *node = path->nodes[depth];
  while (depth < record->length) {
    const uint32_t bit = tm_key_bit(record->address, depth);
    tm_util_trie_node *child = tm_trie_child(node, bit);
    node = child != nullptr ? child : tm_trie_make_child(node, bit);
    if (node == nullptr) {
      return nullptr;
    }
    path->nodes[++depth] = node;
  }
  return node;
}

int32_t insert_list(full_run *run) {
  run->state->n_prefs = 0;
  insertion_path path;
  path.record = nullptr;
  path.nodes[0] = run->orig_root;
  for (uint32_t i = 0; i < run->count; ++i) {
    const tcamv6_prefix *record = &run->list[i];
    TM_LOG(result, "%s " TM_ADDR_FORMAT " / %d %s", pipeline, TM_ADDR_ARGS(record->address), record->length,
           tm_anchor_text(tm_prefix_is_anchor(record)));
    tm_util_trie_node *node = insert_record(&path, record);
    if (node == nullptr) {
      TM_LOG(info, "%s: failed to insert prefix %d in orig trie", pipeline, static_cast<int>(i));
      return TM_ENOMEM;
    }
    run->orig_nodes[i] = node;
    count_record(run->state, node, record, i);
  }
  return TM_OK;
}

int32_t make_printable(full_run *run) {
  uint8_t key[TM_KEY_BYTES] = {};
  const int32_t result = tm_util_trie_make_printable(run->orig_root, key, 0, TCAMV6_MAX_PREF_LEN);
  return result == TM_OK ? TM_OK : report("util_trie_make_printable()", result);
}

int32_t lay_out(full_run *run) {
  tcamv6_phases layout = {run->state, run->orig_root, nullptr, nullptr, run->fits};
  const int32_t result = tcamv6_run_phases(&layout);
  run->anc_root = layout.anc_root;
  run->cmpr_root = layout.cmpr_root;
  return result;
}

// Rows of a dump: stored prefixes that are not anchors only.
uint32_t count_rows(uint32_t count, tm_util_trie_node *const *orig_nodes) {
  uint32_t rows = 0;
  for (uint32_t i = 0; i < count; ++i) {
    rows += orig_nodes[i]->tag == i + 1 && !tcamv6_is_anchor_only(orig_nodes[i]);
  }
  return rows;
}

int32_t collect_nodes(full_run *run) {
  run->n_rows = count_rows(run->count, run->orig_nodes);
  memset(run->cmpr_nodes, 0, run->count * sizeof *run->cmpr_nodes);
  int32_t result = tcamv6_gen_trie_ptrs(run->anc_root, run->count, run->cmpr_nodes, run->replace_nodes);
  if (result != TM_OK) {
    return report("gen_trie_ptrs()", result);
  }
  // By tag, only the first of equal records has found its node so far.
  for (uint32_t i = 0; i < run->count; ++i) {
    run->cmpr_prefs[i].own_node = run->cmpr_nodes[i] != nullptr;
  }
  // Tags of more than 20 bits, or that of a made-up root, may have led to the nodes of others.
  if (run->count > TM_PREFIX_TAG_MASK || run->orig_root->tag == 0) {
    memset(run->cmpr_nodes, 0, run->count * sizeof *run->cmpr_nodes);
  }
  result = tcamv6_gen_output_trie_ptrs(run->orig_nodes, run->list, run->count, run->cmpr_nodes, run->replace_nodes);
  return result == TM_OK ? TM_OK : report("gen_output_trie_ptrs()", result);
}

void log_record(const full_run *run, uint32_t i) {
  const tcamv6_prefix *record = &run->list[i];
  const tcamv6_cmpr_pref *pref = &run->cmpr_prefs[i];
  TM_LOG(result, " Index %d Tag %d %p", static_cast<int>(i), static_cast<int>(tm_prefix_tag(record->flags_tag)),
         static_cast<void *>(run->cmpr_nodes[i]));
  TM_LOG(result, "%s " TM_ADDR_FORMAT " / %d %s", " Original", TM_ADDR_ARGS(record->address), record->length,
         tm_anchor_text(false));
  TM_LOG(result, "%s " TM_ADDR_FORMAT " / %d", " Compressed", TM_ADDR_ARGS(pref->key), pref->length);
}

int32_t fill_results(full_run *run) {
  for (uint32_t i = 0; i < run->count; ++i) {
    if (run->cmpr_nodes[i] == nullptr || run->replace_nodes[i] == nullptr) {
      TM_LOG(info, "%s: Output trie does not contain node or replace address for prefix number %d", pipeline,
             static_cast<int>(i));
      return TM_EFAULT;
    }
    tcamv6_cmpr_pref *pref = &run->cmpr_prefs[i];
    const uint32_t own_node = pref->own_node;
    tcamv6_gen_trie_pref(run->cmpr_nodes[i], pref);
    pref->own_node = own_node;
    tcamv6_gen_trie_addr(run->replace_nodes[i], &run->cmpr_addrs[i]);
    pref->flags_tag = tm_prefix_with_tag(pref->flags_tag, tm_prefix_tag(run->list[i].flags_tag));
    if (!tm_prefix_is_anchor(&run->list[i])) {
      log_record(run, i);
    }
  }
  return TM_OK;
}

int32_t run_phases(full_run *run) {
  using phase = int32_t (*)(full_run *);
  constexpr phase phases[] = {
      allocate_arrays, make_root, insert_list, make_printable, lay_out, collect_nodes, fill_results,
  };
  for (const phase next : phases) {
    const int32_t result = next(run);
    if (result != TM_OK) {
      return result;
    }
  }
  return TM_OK;
}

void keep_run(full_run *run) {
  tcamv6_state *state = run->state;
  state->orig_root = tm_idx(run->orig_root);
  state->cmpr_root = tm_idx(run->cmpr_root);
  state->n_rows = run->n_rows;
  state->opt_done = 1;
}

void abandon_run(full_run *run) {
  tcamv6_state *state = run->state;
  tcamv6_abandon_anc_tree(tcamv6_anc_node(state->anc_root));
  tcamv6_abandon_trie(run->orig_root);
  state->anc_root = TM_CHUNK_IDX_NULL;
  state->trees_built = 0;
  state->marks |= TCAMV6_MARK_FAILED;
}

// A full compression starts with an empty instance.
void empty_state(tcamv6_state *state) {
  if (state->orig_root != TM_CHUNK_IDX_NULL) {
    tcamv6_reclaim_leftovers();  // paths of failed additions lead into these tries
    tcamv6_release_contents(state);
    tcamv6_clear_state(state);
  }
  tcamv6_drop_read_index(state);
  state->marks = 0;
  state->trees_built = 0;
  state->anc_root = TM_CHUNK_IDX_NULL;
}

void release_pcmpr_trie(tcamv6_state *state) {
  tm_util_trie_free(tm_trie_node(state->pcmpr_root), 1, TM_V6_PCMPR_DATA);
  state->pcmpr_root = TM_CHUNK_IDX_NULL;
}

bool has_arguments(const full_run *run, const uint32_t *n_distinct_out) {
  return !tcamv6_state_unusable(run->state) && n_distinct_out != nullptr && run->cmpr_prefs != nullptr &&
         run->cmpr_addrs != nullptr && run->count != 0 && tcamv6_are_prefixes(run->list, run->count);
}

}  // namespace

int32_t tcamv6_optimized_compress(tcamv6_state *state, uint32_t count, const tcamv6_prefix *list,
                                  tcamv6_cmpr_pref *cmpr_prefs, tcamv6_cmpr_addr *cmpr_addrs,
                                  uint32_t *n_distinct_out) {
  constexpr const char *function = "tcamv6_optimized_compress";
  TM_LOG(trace, "%s: Starting handle %p, n_prefs %d, inp_prefs %p, cmpr_prefs %p, cmpr_addr %p", function,
         static_cast<void *>(state), static_cast<int>(count), static_cast<const void *>(list),
         static_cast<void *>(cmpr_prefs), static_cast<void *>(cmpr_addrs));
  full_run run = {};
  run.state = state;
  run.count = count;
  run.list = list;
  run.fits = tcamv6_rules_now().room;
  run.cmpr_prefs = cmpr_prefs;
  run.cmpr_addrs = cmpr_addrs;
  if (!has_arguments(&run, n_distinct_out)) {
    TM_LOG(info, "%s: Bad arguments", function);
    TM_LOG(trace, "%s: Complete %d", function, TM_EINVAL);
    return TM_EINVAL;
  }
  empty_state(state);
  tm_chunk_log_statistics("Starting point");
  *n_distinct_out = tcamv6_check_no_of_prefixes_in_array(count, list);
  const int32_t result = run_phases(&run);
  release_pcmpr_trie(state);
  if (result == TM_OK) {
    keep_run(&run);
  } else {
    abandon_run(&run);
    *n_distinct_out = 0;
  }
  tm_chunk_log_statistics("End point");
  TM_LOG(trace, "%s: Complete %d", function, result);
  free_arrays(&run);
  return result;
}
