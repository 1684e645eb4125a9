// SPDX-License-Identifier: Apache-2.0
// tm_stable_sort.h - a stable sort for the qsort shape.
#ifndef TM_STABLE_SORT_H
#define TM_STABLE_SORT_H

#include <stddef.h>

// Sort like qsort, but stable: elements that compare equal keep their order. Merges through scratch memory
// of the array's size; when the platform refuses it, a slower merge in place gives the same result.
void tm_stable_sort(void *array, size_t count, size_t elem_size, int (*cmp)(const void *, const void *));

#endif
