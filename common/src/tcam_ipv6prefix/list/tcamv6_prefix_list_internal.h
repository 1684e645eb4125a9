// SPDX-License-Identifier: Apache-2.0
// tcamv6_prefix_list_internal.h - working lists as the library itself makes and reads them.
#ifndef TCAMV6_PREFIX_LIST_INTERNAL_H
#define TCAMV6_PREFIX_LIST_INTERNAL_H

#include "tcamv6_prefix_list.h"

// tcamv6_build_prefix_list, its pointers not null, with a byte per record that is not 0 when the record gets no
// anchors; null = all do.
int32_t tcamv6_build_list(const uint8_t *records, tcamv6_prefix **list_out, uint32_t n, uint32_t *count_out, bool full,
                          const uint8_t *without_anchors);

// The order of working lists, for qsort.
int tcamv6_cmp_prefix_list(const void *a, const void *b);

// Distinct prefixes of a sorted list, anchors aside: of a run of equal records only the last can count.
uint32_t tcamv6_check_no_of_prefixes_in_array(uint32_t count, const tcamv6_prefix *list);

#endif
