// SPDX-License-Identifier: Apache-2.0
// tcamv6_extra_ops.cpp - handing out the extra operations of a batch.
//
// A host names each prefix to rewrite by the address of its node in 32 bits. Addresses are not followed before they are
// known: all are looked for in one walk of the ancestor tree, whose nodes lead to their prefixes' nodes.
#include "tcamv6_extra_ops.h"

#include "tcamv6_anc_tree.h"
#include "tcamv6_output.h"
#include "tcamv6_state_internal.h"
#include "tm_debug.h"
#include "tm_memory.h"
#include "tm_stable_sort.h"

namespace {

// One reference, and the data of the prefix that it names; null until that is found.
struct named_prefix {
  uint32_t reference;
  uint32_t slot;
  const tcamv6_anc_data *data;
};

int cmp_reference(const void *a, const void *b) {
  const uint32_t x = static_cast<const named_prefix *>(a)->reference;
  const uint32_t y = static_cast<const named_prefix *>(b)->reference;
  return (x > y) - (x < y);
}

int cmp_slot(const void *a, const void *b) {
  const uint32_t x = static_cast<const named_prefix *>(a)->slot;
  const uint32_t y = static_cast<const named_prefix *>(b)->slot;
  return (x > y) - (x < y);
}

// First of the sorted names whose reference is not below this address.
uint32_t find_name(const named_prefix *names, uint32_t n, uint64_t address) {
  uint32_t first = 0;
  while (first < n) {
    const uint32_t middle = first + (n - first) / 2;
    if (names[middle].reference < address) {
      first = middle + 1;
    } else {
      n = middle;
    }
  }
  return first;
}

void find_named(const tm_n_ary_node *node, named_prefix *names, uint32_t n) {
  const tcamv6_anc_data *data = tcamv6_anc_data_of(node);
  if (data == nullptr) {
    return;
  }
  if (data->orig != TM_CHUNK_IDX_NULL) {
    for (uint32_t i = find_name(names, n, data->orig); i < n && names[i].reference == data->orig; ++i) {
      names[i].data = data;
    }
  }
  for (const tm_n_ary_node *child = tcamv6_anc_first_child(node); child != nullptr; child = tcamv6_anc_next(child)) {
    find_named(child, names, n);
  }
}

void rewrite_slot(const tm_util_trie_node *node, uint32_t handle, uint32_t operation, tcamv6_cmpr_pref *slot) {
  slot->operation = operation;
  slot->reference = handle;
  tcamv6_gen_trie_pref(node, slot);
}

// Rewrite both slots of a name. Returns false when it names no prefix.
bool rewrite(const tcamv6_state *state, const named_prefix *name) {
  if (name->data == nullptr) {
    return false;
  }
  const tm_util_trie_node *node = tm_trie_node(name->data->orig);
  const uint32_t handle = name->data->handle;
  rewrite_slot(node, handle, 0, &state->extra_ops[name->slot]);
  rewrite_slot(node, handle, 1, &state->extra_ops[state->extra_op_count + name->slot]);
  return true;
}

// Slots before the first one without a reference.
uint32_t count_names(const tcamv6_state *state) {
  uint32_t n = 0;
  while (state->extra_ops != nullptr && n < state->extra_op_count && state->extra_ops[n].reference != 0) {
    ++n;
  }
  return n;
}

// Find and rewrite n slots from `first` on, with room for n names. Returns how many, up to the first that leads
// nowhere.
uint32_t rewrite_slots(const tcamv6_state *state, uint32_t first, named_prefix *names, uint32_t n) {
  for (uint32_t i = 0; i < n; ++i) {
    names[i] = {state->extra_ops[first + i].reference, first + i, nullptr};
  }
  tm_stable_sort(names, n, sizeof *names, cmp_reference);
  find_named(tcamv6_anc_node(state->anc_root), names, n);
  tm_stable_sort(names, n, sizeof *names, cmp_slot);
  uint32_t done = 0;
  while (done < n && rewrite(state, &names[done])) {
    ++done;
  }
  return done;
}

uint32_t rewrite_named_slots(const tcamv6_state *state) {
  const uint32_t n = count_names(state);
  if (n == 0) {
    return 0;
  }
  auto *names = static_cast<named_prefix *>(zel_malloc_named(TM_MEM_TAG_LIST, n * sizeof(named_prefix)));
  uint32_t done = 0;
  if (names != nullptr) {
    done = rewrite_slots(state, 0, names, n);
  } else {
    named_prefix one;
    while (done < n && rewrite_slots(state, done, &one, 1) == 1) {
      ++done;
    }
  }
  tm_free(names);
  return done;
}

}  // namespace

int32_t tcamv6_extra_ops_get(tcamv6_state *state, tcamv6_cmpr_pref **first_half, tcamv6_cmpr_pref **second_half,
                             uint32_t *count) {
  constexpr const char *function = "tcamv6_extra_ops_get";
  if (tcamv6_state_unusable(state) || first_half == nullptr || second_half == nullptr || count == nullptr) {
    TM_LOG(info, "%s: Bad arguments", function);
    return TM_EINVAL;
  }
  *count = state->extra_op_count;
  *first_half = state->extra_ops;
  *second_half = state->extra_ops == nullptr ? nullptr : state->extra_ops + state->extra_op_count;
  if (rewrite_named_slots(state) != state->extra_op_count) {
    TM_LOG(info, "%s: Error - Original prefix points to NULL anc_data", function);
    return TM_EFAULT;
  }
  return TM_OK;
}

int32_t tcamv6_extra_ops_free(tcamv6_state *state) {
  constexpr const char *function = "tcamv6_extra_ops_free";
  if (state == nullptr) {
    TM_LOG(info, "%s: Bad arguments", function);
    return TM_EINVAL;
  }
  state->extra_op_count = 0;
  if (state->extra_ops != nullptr) {
    zel_free_named(state->extra_ops);
    state->extra_ops = nullptr;
  }
  return TM_OK;
}
