// SPDX-License-Identifier: Apache-2.0
// tcamv6_children.cpp - the cost of every node that a level could take.
//
// An entry that keeps its code lies inside the level's node if the level contains it and outside if not. So a node N
// costs the adopted entries outside N and all other entries inside it, and no level can be made for less than the
// cheapest. Sorted by code, the children inside a node follow each other, and sums up to each of them give the cost of
// any node from two searches.
//
// Only nodes above some adopted child's code are of use. Those of one child are at most 63, and those that two share
// are looked at once.
//
// Cost: the parent's subtree once, its children sorted, and 63 searches for each adopted child.
#include "tcamv6_children.h"

#include "tcamv6_recode.h"
#include "tm_memory.h"
#include "tm_stable_sort.h"

namespace {

int compare_codes(const void *a, const void *b) {
  const auto *x = static_cast<const tcamv6_child *>(a);
  const auto *y = static_cast<const tcamv6_child *>(b);
  return (x->code.bits > y->code.bits) - (x->code.bits < y->code.bits);
}

// Enter the parent's children that have a code.
void enter(const tcamv6_newcomer *newcomer, tcamv6_children *children) {
  const uint32_t own = !tcamv6_is_anchor_only(newcomer->enclosing[newcomer->n_enclosing - 1]);
  for (tm_n_ary_node *node = tcamv6_anc_first_child(newcomer->parent); node != nullptr; node = tcamv6_anc_next(node)) {
    const tcamv6_anc_data *data = tcamv6_anc_data_of(node);
    if (data->cmpr_node != TM_CHUNK_IDX_NULL) {
      const uint32_t entries = tcamv6_anc_is_dummy(data) ? own : tcamv6_entries_at(node);
      children->list[children->n++] = {tcamv6_code_of(tcamv6_cmpr_node(data)), node, false, entries, 0, 0};
    }
  }
}

size_t count_chain(const tm_n_ary_node *parent) {
  size_t n = 0;
  for (const tm_n_ary_node *node = tcamv6_anc_first_child(parent); node != nullptr; node = tcamv6_anc_next(node)) {
    ++n;
  }
  return n;
}

// Index of the first child whose bits are at least, or with `above` are greater than, some bits.
size_t first_from(const tcamv6_children *children, uint64_t bits, bool above) {
  size_t first = 0;
  size_t end = children->n;
  while (first < end) {
    const size_t middle = first + (end - first) / 2;
    const uint64_t at = children->list[middle].code.bits;
    if (at < bits || (above && at == bits)) {
      first = middle + 1;
    } else {
      end = middle;
    }
  }
  return first;
}

void mark_adopted(const tcamv6_newcomer *newcomer, const tcamv6_children *children) {
  for (size_t i = 0; i < newcomer->n_adopted; ++i) {
    const tcamv6_code code = tcamv6_code_of(tcamv6_cmpr_node(tcamv6_anc_data_of(newcomer->adopted[i])));
    children->list[first_from(children, code.bits, false)].is_adopted = true;
  }
}

void sum_up(tcamv6_children *children) {
  uint64_t adopted = 0;
  uint64_t staying = 0;
  for (size_t i = 0; i < children->n; ++i) {
    tcamv6_child *child = &children->list[i];
    child->adopted_before = adopted;
    child->staying_before = staying;
    (child->is_adopted ? adopted : staying) += child->entries;
  }
  // One more than there are children: the sums of all.
  children->list[children->n].adopted_before = adopted;
  children->list[children->n].staying_before = staying;
  children->adopted_entries = adopted;
}

tcamv6_level_node rate(const tcamv6_children *children, tcamv6_code code) {
  size_t first;
  size_t end;
  tcamv6_children_at(children, code, &first, &end);
  const uint64_t adopted = children->list[end].adopted_before - children->list[first].adopted_before;
  const uint64_t staying = children->list[end].staying_before - children->list[first].staying_before;
  const uint64_t outside = children->adopted_entries - adopted;
  return {code, outside + staying, outside};
}

bool comes_before(const tcamv6_level_node *a, const tcamv6_level_node *b) {
  if (a->cost != b->cost) {
    return a->cost < b->cost;
  }
  if (a->outside != b->outside) {
    return a->outside < b->outside;
  }
  if (a->code.len != b->code.len) {
    return a->code.len > b->code.len;
  }
  return a->code.bits < b->code.bits;
}

}  // namespace

int32_t tcamv6_children_of(const tcamv6_newcomer *newcomer, tcamv6_children *children) {
  *children = {};
  const size_t most = count_chain(newcomer->parent) + 1;
  children->list = static_cast<tcamv6_child *>(zel_malloc_named(TM_MEM_TAG_LIST, most * sizeof(tcamv6_child)));
  if (children->list == nullptr) {
    return TM_ENOMEM;
  }
  enter(newcomer, children);
  tm_stable_sort(children->list, children->n, sizeof *children->list, compare_codes);
  mark_adopted(newcomer, children);
  sum_up(children);
  return TM_OK;
}

void tcamv6_children_free(tcamv6_children *children) { tm_free(children->list); }

void tcamv6_children_at(const tcamv6_children *children, tcamv6_code code, size_t *first, size_t *end) {
  *first = first_from(children, code.bits, false);
  *end = first_from(children, code.bits | ~tcamv6_code_mask(code.len), true);
}

bool tcamv6_best_level_node(const tcamv6_children *children, tcamv6_code parent, const tcamv6_level_node *last,
                            tcamv6_level_node *best) {
  bool found = false;
  int32_t shared = parent.len;  // nodes up to this depth were looked at with the adopted child before
  const tcamv6_child *previous = nullptr;
  for (size_t i = 0; i < children->n; ++i) {
    const tcamv6_child *child = &children->list[i];
    if (!child->is_adopted) {
      continue;
    }
    if (previous != nullptr) {
      shared = tcamv6_code_common(previous->code, child->code).len;
    }
    previous = child;
    for (int32_t len = child->code.len - 1; len > shared; --len) {
      const tcamv6_level_node node = rate(children, tcamv6_code_cut(child->code, len));
      if ((last == nullptr || comes_before(last, &node)) && (!found || comes_before(&node, best))) {
        *best = node;
        found = true;
      }
    }
  }
  return found;
}
