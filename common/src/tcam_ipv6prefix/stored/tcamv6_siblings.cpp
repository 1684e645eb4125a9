// SPDX-License-Identifier: Apache-2.0
#include "tcamv6_siblings.h"

#include "tm_journal.h"

namespace {

// These two alone know that the link to the sibling before is in two words.
tm_n_ary_node *previous(const tcamv6_anc_data *data) {
  return tcamv6_anc_node(tm_chunk_idx{data->previous_high} << 32 | data->previous_low);
}

void set_previous(tcamv6_anc_data *data, const tm_n_ary_node *sibling) {
  const tm_chunk_idx idx = tm_idx(sibling);
  tm_edit(&data->previous_low, idx & UINT32_MAX);
  tm_edit(&data->previous_high, idx >> 32);
}

tm_n_ary_node *last_child(const tm_n_ary_node *parent) {
  const tm_n_ary_node *first = tcamv6_anc_first_child(parent);
  return first == nullptr ? nullptr : previous(tcamv6_anc_data_of(first));
}

int32_t order_below(int32_t order) { return order == INT32_MIN ? order : order - 1; }
int32_t order_above(int32_t order) { return order == INT32_MAX ? order : order + 1; }

int32_t order_of(const tm_n_ary_node *node) { return tcamv6_anc_data_of(node)->sibling_order; }

void number_from(tm_n_ary_node *first, int32_t order) {
  for (tm_n_ary_node *child = first; child != nullptr; child = tcamv6_anc_next(child)) {
    tm_edit(&tcamv6_anc_data_of(child)->sibling_order, order);
    order = order_above(order);
  }
}

}  // namespace

uint32_t tcamv6_count_children(const tm_n_ary_node *parent) {
  uint32_t n = 0;
  for (const tm_n_ary_node *child = tcamv6_anc_first_child(parent); child != nullptr; child = tcamv6_anc_next(child)) {
    ++n;
  }
  return n;
}

void tcamv6_push_child(tm_n_ary_node *parent, tm_n_ary_node *child) {
  tcamv6_anc_data *data = tcamv6_anc_data_of(child);
  tm_n_ary_node *first = tcamv6_anc_first_child(parent);
  if (first == nullptr) {
    set_previous(data, child);
    tm_edit(&data->sibling_order, 0);
  } else {
    tcamv6_anc_data *first_data = tcamv6_anc_data_of(first);
    set_previous(data, previous(first_data));
    set_previous(first_data, child);
    tm_edit(&data->sibling_order, order_below(first_data->sibling_order));
  }
  tm_edit(&child->sibling, parent->child);
  tm_edit(&parent->child, tm_idx(child));
}

void tcamv6_append_child(tm_n_ary_node *parent, tm_n_ary_node *child) {
  tm_n_ary_node *last = last_child(parent);
  if (last == nullptr) {
    tcamv6_push_child(parent, child);
    return;
  }
  tcamv6_anc_data *data = tcamv6_anc_data_of(child);
  set_previous(data, last);
  tm_edit(&data->sibling_order, order_above(order_of(last)));
  set_previous(tcamv6_anc_data_of(tcamv6_anc_first_child(parent)), child);
  tm_edit(&child->sibling, TM_CHUNK_IDX_NULL);
  tm_edit(&last->sibling, tm_idx(child));
}

int32_t tcamv6_unlink_child(tm_n_ary_node *parent, tm_n_ary_node *child) {
  if (parent->child == TM_CHUNK_IDX_NULL) {
    return TM_EINVAL;
  }
  tm_n_ary_node *before = previous(tcamv6_anc_data_of(child));
  tm_n_ary_node *next = tcamv6_anc_next(child);
  const bool is_first = parent->child == tm_idx(child);
  if (!is_first && (before == nullptr || before->sibling != tm_idx(child))) {
    return TM_ENOENT;
  }
  tm_n_ary_node *follower = next != nullptr ? next : tcamv6_anc_first_child(parent);
  if (follower != child) {
    set_previous(tcamv6_anc_data_of(follower), before);
  }
  tm_edit(is_first ? &parent->child : &before->sibling, tm_idx(next));
  return TM_OK;
}

int32_t tcamv6_reserve_moving(const tm_n_ary_node *source) {
  constexpr const char *function = "tcamv6_reserve_moving";
  return tm_journal_is_open ? tm_journal_reserve_edits(function, tcamv6_count_children(source)) : TM_OK;
}

void tcamv6_move_children(tm_n_ary_node *destination, tm_n_ary_node *source) {
  tm_n_ary_node *first = tcamv6_anc_first_child(source);
  if (first == nullptr) {
    return;
  }
  tm_n_ary_node *last = last_child(destination);
  if (last != nullptr) {
    tm_n_ary_node *source_last = last_child(source);
    if (order_of(first) <= order_of(last)) {
      number_from(first, order_above(order_of(last)));
    }
    set_previous(tcamv6_anc_data_of(first), last);
    set_previous(tcamv6_anc_data_of(tcamv6_anc_first_child(destination)), source_last);
  }
  tm_edit(last != nullptr ? &last->sibling : &destination->child, source->child);
  tm_edit(&source->child, TM_CHUNK_IDX_NULL);
}
