// SPDX-License-Identifier: Apache-2.0
/* tm_array.h - insertion into sorted arrays. */
#ifndef TM_ARRAY_H
#define TM_ARRAY_H

#include "tm_api.h"

TM_API_BEGIN

/** Insert an element into a sorted array, after every element that compares less or equal.
 *  @param array       room for count + 1 elements of elem_size bytes
 *  @param count       elements before the call; incrementing it is the caller's; 0 or less = slot 0
 *  @param cmp         called with (element, slot)
 *  @return the slot where the element now stands; null when a pointer is null
 *  Cost: one call of cmp for each element up to the slot, and a move of those behind it. Does not allocate. */
TM_API void *tm_util_array_insert(const void *element, void *array, int32_t count, uint32_t elem_size,
                                  int (*cmp)(const void *, const void *));

TM_API_END

#endif
