// SPDX-License-Identifier: Apache-2.0
// table_array.h - arrays on the platform's heap, for as many records as a call is about; none is a number, too.
#ifndef TABLE_ARRAY_H
#define TABLE_ARRAY_H

#include "tm_api.h"
#include "tm_memory.h"

// Returns false, and the array is null, when memory is refused. What the records hold is not said.
template <class T>
bool table_make_array(T **array, size_t count) {
  *array = static_cast<T *>(zel_malloc_named(TM_MEM_TAG_LIST, (count + 1) * sizeof(T)));
  return *array != nullptr;
}

// The same, filled with zeros.
template <class T>
bool table_make_zeros(T **array, size_t count) {
  *array = static_cast<T *>(zel_calloc_named(TM_MEM_TAG_LIST, count + 1, sizeof(T)));
  return *array != nullptr;
}

#endif
