// SPDX-License-Identifier: Apache-2.0
/* tm_bits.h - bit counts of words. */
#ifndef TM_BITS_H
#define TM_BITS_H

#include "tm_api.h"

TM_API_BEGIN

/** Number of set bits.
 *  Cost: constant. Does not allocate. */
TM_API uint32_t tm_util_bit_cnt_1(uint32_t word);

/** Place of the highest set bit, counted from the most significant end: 1 for bit 31 to 32 for bit 0; 0 when
 *  no bit is set.
 *  Cost: constant. Does not allocate. */
TM_API uint32_t tm_util_bit_find_first_set(uint32_t word);

/** Compare two int32_t for sorting: -1, 0, 1; -22 a pointer is null.
 *  Cost: constant. Does not allocate. */
TM_API int tm_util_cmp_int(const void *a, const void *b);

TM_API_END

#endif
