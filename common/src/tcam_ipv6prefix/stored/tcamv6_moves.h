/* SPDX-License-Identifier: Apache-2.0 */
/* tcamv6_moves.h - the stored prefixes that a request moved: to another code, to another address, or to both. */
#ifndef TCAMV6_MOVES_H
#define TCAMV6_MOVES_H

#include "tm_api.h"

TM_API_BEGIN

/** One stored prefix that got another code. Keys and addresses are those of the compressed side: most significant bit
 *  first, bits beyond a key's length 0. */
typedef struct zel_v6comp_move {
  uint8_t address[16];    /* the prefix; bits beyond its length are 0 */
  uint8_t old_key[8];     /* its compressed prefix before */
  uint8_t new_key[8];     /* and now */
  uint8_t old_address[8]; /* its compressed address before */
  uint8_t new_address[8]; /* and now */
  uint8_t length;         /* bits of the prefix, 0..128 */
  uint8_t old_length;     /* bits of old_key, 0..64 */
  uint8_t new_length;     /* bits of new_key, 0..64 */
  uint8_t reserved;
  uint32_t reference; /* the host's handle of the prefix (tcamv6_handle.h) */
} zel_v6comp_move;

TM_ASSERT_SIZE(zel_v6comp_move, 56);
TM_ASSERT_OFFSET(zel_v6comp_move, old_key, 16);
TM_ASSERT_OFFSET(zel_v6comp_move, new_key, 24);
TM_ASSERT_OFFSET(zel_v6comp_move, old_address, 32);
TM_ASSERT_OFFSET(zel_v6comp_move, new_address, 40);
TM_ASSERT_OFFSET(zel_v6comp_move, length, 48);
TM_ASSERT_OFFSET(zel_v6comp_move, old_length, 49);
TM_ASSERT_OFFSET(zel_v6comp_move, new_length, 50);
TM_ASSERT_OFFSET(zel_v6comp_move, reference, 52);

TM_API_END

#endif
