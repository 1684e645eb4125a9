// SPDX-License-Identifier: Apache-2.0
/* tm_chunk.h - typed pools of equal-sized elements.
 *
 * Every tree node and data record of the library is an element of one of five pools, created once by
 * zel_v6comp_init_global_state and shared by all instances. This layer counts what is taken and given
 * back and maps elements to the handles (`tm_chunk_idx`) by which records refer to one another.
 */
#ifndef TM_CHUNK_H
#define TM_CHUNK_H

#include "tm_api.h"

TM_API_BEGIN

/** Handle of a pooled element: its address, or TM_CHUNK_IDX_NULL. Convert with the two functions below. */
typedef uint64_t tm_chunk_idx;
/** The handle of no element. */
#define TM_CHUNK_IDX_NULL ((tm_chunk_idx)0)

enum {
  TM_RAW_BLK_GBL_STATE = 0, /* no pool: the row records the size of the global block */
  TM_V6_ANC_TREE = 1,       /* tm_n_ary_node */
  TM_V6_ANC_DATA = 2,       /* tcamv6_anc_data */
  TM_V6_ORIG_DATA = 3,      /* tcamv6_orig_data and tcamv6_cmpr_data */
  TM_V6_PCMPR_DATA = 4,     /* tcamv6_pcmpr_data */
  TM_V6_TRIE_NODE = 5,      /* tm_util_trie_node */
  TM_V6_TRIE_NODE2 = 6,     /* disabled */
  TM_V6_TRIE_NODE3 = 7,     /* disabled */
  TM_CHUNK_TYPES = 8
};

/** One row of the table of chunk types, indexed by type. */
typedef struct tm_raw_blk_row {
  uint32_t type;      /* TM_V6_*, the row's own index */
  char name[52];      /* the pool's name */
  uint64_t n_elems;   /* elements that the pool is created with */
  uint64_t elem_size; /* bytes; 0 = no pool for this row */
  uint64_t handle;    /* the platform's pool, written by tm_init_raw_chunks */
  int32_t enabled;    /* 0 = no pool for this row */
} tm_raw_blk_row;

TM_ASSERT_SIZE(tm_raw_blk_row, 88);
TM_ASSERT_OFFSET(tm_raw_blk_row, name, 4);
TM_ASSERT_OFFSET(tm_raw_blk_row, n_elems, 56);
TM_ASSERT_OFFSET(tm_raw_blk_row, elem_size, 64);
TM_ASSERT_OFFSET(tm_raw_blk_row, handle, 72);
TM_ASSERT_OFFSET(tm_raw_blk_row, enabled, 80);

/** Statistics of one chunk type. */
typedef struct tm_chunk_info {
  uint64_t handle;    /* 0 = no pool */
  uint32_t elem_size; /* bytes */
  uint32_t n_elems;   /* the pool's element count */
  uint32_t allocated; /* elements in use now */
  uint32_t mallocs;   /* elements ever taken */
  uint32_t frees;     /* elements ever given back */
  uint32_t failed;    /* requests that the platform refused */
} tm_chunk_info;

TM_ASSERT_SIZE(tm_chunk_info, 32);
TM_ASSERT_OFFSET(tm_chunk_info, elem_size, 8);
TM_ASSERT_OFFSET(tm_chunk_info, n_elems, 12);
TM_ASSERT_OFFSET(tm_chunk_info, allocated, 16);
TM_ASSERT_OFFSET(tm_chunk_info, mallocs, 20);
TM_ASSERT_OFFSET(tm_chunk_info, frees, 24);
TM_ASSERT_OFFSET(tm_chunk_info, failed, 28);

/** The chunk types. Writable: a host that needs more than 32,768 elements of a type writes larger
 *  n_elems before it calls zel_v6comp_init_global_state. */
extern TM_API tm_raw_blk_row raw_blk[TM_CHUNK_TYPES];

/** The statistics that the dump reads: eight records, one per type; null before initialisation. */
extern TM_API tm_chunk_info *gbl_chunk_info;

/** Create the pools of table rows first_type .. first_type + n_types - 1 and fill their statistics.
 *  @param info_base   statistics row of type 0
 *  @param table       row of type 0
 *  @return 0; (uint32_t)-12 when the platform cannot make a pool: pools made before it stay; (uint32_t)-22 a pointer is
 *          null or a row lies beyond the eight types ("Bad arguments" under the info word)
 *  Cost: one call of the platform for each pool. Allocates the pools. */
TM_API uint32_t tm_init_raw_chunks(tm_chunk_info *info_base, tm_raw_blk_row *table, uint32_t first_type,
                                   uint32_t n_types);

/** Take one element of a type, contents undefined.
 *  @return the element; null when the pool is exhausted (counted), or when the type is unknown or has no
 *          pool (reported under the error word). Constant-time.
 *  Cost: constant. Takes from the pool, which was allocated before. */
TM_API void *tm_chunk_malloc(uint32_t type);

/** Give an element back to its pool. An unknown type is reported under the error word, nothing else.
 *  A null element goes to the platform and is counted: do not pass one.
 *  Cost: constant. Does not allocate. */
TM_API void tm_chunk_free(uint32_t type, void *element);

/** The element of a handle: null for TM_CHUNK_IDX_NULL and for a type of 8 or more.
 *  Cost: constant. Does not allocate. */
TM_API void *tm_chunk_idx2ptr(uint32_t type, tm_chunk_idx idx);

/** The handle of an element: TM_CHUNK_IDX_NULL for null and for a type of 8 or more.
 *  Cost: constant. Does not allocate. */
TM_API tm_chunk_idx tm_chunk_ptr2idx(uint32_t type, const void *ptr);

/** Set the statistics that the allocator counts in: eight records. Null ends the process.
 *  Cost: constant. Does not allocate. */
TM_API void tm_chunk_set_chunk_inf_base(tm_chunk_info *base);

/** Set `gbl_chunk_info`.
 *  Cost: constant. Does not allocate. */
TM_API void tm_dump_chk_info_set_base(tm_chunk_info *base);

TM_API_END

#endif
