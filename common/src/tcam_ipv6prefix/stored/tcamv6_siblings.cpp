// SPDX-License-Identifier: Apache-2.0
#include "tcamv6_siblings.h"

#include "tm_journal.h"

namespace {

constexpr uint64_t low_word = 0xFFFFFFFFu;

// The handle of the sibling before is kept in the two words of the data that are free.
tm_n_ary_node *before(const tcamv6_anc_data *data) {
  return tcamv6_anc_node(static_cast<uint64_t>(data->before_high) << 32 | data->before_low);
}

void set_before(tcamv6_anc_data *data, const tm_n_ary_node *sibling) {
  const tm_chunk_idx idx = tm_idx(sibling);
  tm_edit(&data->before_low, idx & low_word);
  tm_edit(&data->before_high, idx >> 32);
}

tm_n_ary_node *last_child(const tm_n_ary_node *parent) {
  const tm_n_ary_node *first = tcamv6_anc_first_child(parent);
  return first == nullptr ? nullptr : before(tcamv6_anc_data_of(first));
}

int32_t order_below(int32_t order) { return order == INT32_MIN ? order : order - 1; }
int32_t order_above(int32_t order) { return order == INT32_MAX ? order : order + 1; }

int32_t order_of(const tm_n_ary_node *node) { return tcamv6_sibling_order(tcamv6_anc_data_of(node)); }

size_t count_children(const tm_n_ary_node *parent) {
  size_t n = 0;
  for (const tm_n_ary_node *child = tcamv6_anc_first_child(parent); child != nullptr; child = tcamv6_anc_next(child)) {
    ++n;
  }
  return n;
}

void number_from(tm_n_ary_node *first, int32_t order) {
  for (tm_n_ary_node *child = first; child != nullptr; child = tcamv6_anc_next(child)) {
    tcamv6_set_sibling_order(tcamv6_anc_data_of(child), order);
    order = order_above(order);
  }
}

}  // namespace

void tcamv6_set_sibling_order(tcamv6_anc_data *data, int32_t order) {
  const uint64_t place = static_cast<uint32_t>(order);
  tm_edit(&data->aux, place * (low_word + 1) | (data->aux & low_word));
}

void tcamv6_push_child(tm_n_ary_node *parent, tm_n_ary_node *child) {
  tcamv6_anc_data *data = tcamv6_anc_data_of(child);
  tm_n_ary_node *first = tcamv6_anc_first_child(parent);
  if (first == nullptr) {
    set_before(data, child);
    tcamv6_set_sibling_order(data, 0);
  } else {
    tcamv6_anc_data *first_data = tcamv6_anc_data_of(first);
    set_before(data, before(first_data));
    set_before(first_data, child);
    tcamv6_set_sibling_order(data, order_below(tcamv6_sibling_order(first_data)));
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
  set_before(data, last);
  tcamv6_set_sibling_order(data, order_above(order_of(last)));
  set_before(tcamv6_anc_data_of(tcamv6_anc_first_child(parent)), child);
  tm_edit(&child->sibling, TM_CHUNK_IDX_NULL);
  tm_edit(&last->sibling, tm_idx(child));
}

int32_t tcamv6_unlink_child(tm_n_ary_node *parent, tm_n_ary_node *child) {
  if (parent->child == TM_CHUNK_IDX_NULL) {
    return TM_EINVAL;
  }
  tm_n_ary_node *previous = before(tcamv6_anc_data_of(child));
  tm_n_ary_node *next = tcamv6_anc_next(child);
  const bool is_first = parent->child == tm_idx(child);
  if (!is_first && (previous == nullptr || previous->sibling != tm_idx(child))) {
    return TM_ENOENT;
  }
  tm_n_ary_node *follower = next != nullptr ? next : tcamv6_anc_first_child(parent);
  if (follower != child) {
    set_before(tcamv6_anc_data_of(follower), previous);
  }
  tm_edit(is_first ? &parent->child : &previous->sibling, tm_idx(next));
  return TM_OK;
}

int32_t tcamv6_reserve_moving(const tm_n_ary_node *source) {
  constexpr const char *function = "tcamv6_reserve_moving";
  return tm_journal_is_open ? tm_journal_reserve_edits(function, count_children(source)) : TM_OK;
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
    set_before(tcamv6_anc_data_of(first), last);
    set_before(tcamv6_anc_data_of(tcamv6_anc_first_child(destination)), source_last);
  }
  tm_edit(last != nullptr ? &last->sibling : &destination->child, source->child);
  tm_edit(&source->child, TM_CHUNK_IDX_NULL);
}
