// SPDX-License-Identifier: Apache-2.0
#include "tm_list.h"

#include "tm_debug.h"

namespace {

tm_util_list_node *new_cell(uint64_t data, tm_util_list_node *next) {
  auto *cell = static_cast<tm_util_list_node *>(zel_malloc_named(TM_MEM_TAG_CELL, sizeof(tm_util_list_node)));
  if (cell != nullptr) {
    *cell = {data, next};
  }
  return cell;
}

const void *as_pointer(uint64_t data) { return reinterpret_cast<const void *>(static_cast<uintptr_t>(data)); }

}  // namespace

int32_t tm_util_list_insert(tm_util_list_node **headp, uint64_t data) {
  if (headp == nullptr) {
    return TM_EINVAL;
  }
  tm_util_list_node *cell = new_cell(data, *headp);
  if (cell == nullptr) {
    return TM_ENOMEM;
  }
  *headp = cell;
  return TM_OK;
}

int32_t tm_util_list_delete(tm_util_list_node **headp, uint64_t data) {
  constexpr const char *function = "tm_util_list_delete";
  if (headp == nullptr) {
    TM_LOG(error, "TU: %s: Error (%d) ptr(s) (0x%p, N/A)", function, TM_EINVAL, static_cast<void *>(headp));
    return TM_EINVAL;
  }
  for (tm_util_list_node **link = headp; *link != nullptr; link = &(*link)->next) {
    tm_util_list_node *cell = *link;
    if (cell->data == data) {
      *link = cell->next;
      zel_free_named(cell);
      return TM_OK;
    }
  }
  TM_LOG(error, "TU: %s: Error (%d) ptr(s) (0x%p, 0x%p)", function, TM_ENOENT, static_cast<void *>(headp),
         static_cast<void *>(*headp));
  return TM_ENOENT;
}

void tm_util_list_delete_next_node(tm_util_list_node **headp, tm_util_list_node *prev) {
  if (headp == nullptr || *headp == nullptr) {
    return;
  }
  tm_util_list_node **link = prev == nullptr ? headp : &prev->next;
  tm_util_list_node *cell = *link;
  if (cell != nullptr) {
    *link = cell->next;
    zel_free_named(cell);
  }
}

int32_t tm_util_list_delhead(tm_util_list_node **headp, uint64_t *data_out) {
  if (headp == nullptr || *headp == nullptr || data_out == nullptr) {
    return TM_EINVAL;
  }
  *data_out = (*headp)->data;
  *headp = (*headp)->next;
  return TM_OK;
}

int32_t tm_util_list_cat(tm_util_list_node **headp, tm_util_list_node *second) {
  if (headp == nullptr) {
    return TM_EINVAL;
  }
  tm_util_list_node **link = headp;
  while (*link != nullptr) {
    link = &(*link)->next;
  }
  *link = second;
  return TM_OK;
}

int32_t tm_util_list_copy(const tm_util_list_node *source, tm_util_list_node **headp_out) {
  if (headp_out == nullptr) {
    return TM_EINVAL;
  }
  *headp_out = nullptr;
  tm_util_list_node **link = headp_out;
  for (const tm_util_list_node *cell = source; cell != nullptr; cell = cell->next) {
    *link = new_cell(cell->data, nullptr);
    if (*link == nullptr) {
      return TM_ENOMEM;
    }
    link = &(*link)->next;
  }
  return TM_OK;
}

void tm_util_list_free(tm_util_list_node **headp, int32_t free_data) {
  if (headp == nullptr) {
    return;
  }
  while (*headp != nullptr) {
    tm_util_list_node *cell = *headp;
    *headp = cell->next;
    if (free_data == 1) {
      zel_free_named(reinterpret_cast<void *>(static_cast<uintptr_t>(cell->data)));
    }
    zel_free_named(cell);
  }
}

int32_t tm_util_list_sort(tm_util_list_node **headp, int (*cmp)(const void *, const void *)) {
  if (headp == nullptr || *headp == nullptr) {
    return TM_OK;
  }
  if (cmp == nullptr) {
    return TM_EINVAL;
  }
  tm_util_list_node *last = *headp;  // end of the sorted part
  while (last->next != nullptr) {
    tm_util_list_node *cell = last->next;
    tm_util_list_node **place = headp;
    while (*place != cell && cmp(as_pointer((*place)->data), as_pointer(cell->data)) <= 0) {
      place = &(*place)->next;
    }
    if (*place == cell) {
      last = cell;
      continue;
    }
    last->next = cell->next;
    cell->next = *place;
    *place = cell;
  }
  return TM_OK;
}
