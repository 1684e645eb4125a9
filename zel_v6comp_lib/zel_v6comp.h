// SPDX-License-Identifier: Apache-2.0
/* zel_v6comp.h - compression of IPv6 prefix tables for narrow TCAM entries. The one header a host includes.
 *
 * Life of a table:
 *
 *   zel_v6comp_init_global_state        once per process
 *   zel_v6comp_prefix_compress          first request of an instance: full compression of its table
 *   zel_v6comp_prefix_compress ...      later requests: batches of additions and deletions
 *   tcamv6_lookup_prefix, ..._address   what a prefix or an address became (tcamv6_lookup.h)
 *   tcamv6_dump_cmpr_tbl                the whole table (tcamv6_dump.h)
 *   tm_build_incremental_...            plan the hardware's updates (tm_incr_update.h)
 *   zel_v6comp_reset_instance           start again with a full compression
 *
 * Conventions
 * (1) The compressed prefix of Q covers the compressed address of P exactly when Q contains P.
 * (2) Lengths are in bits. Addresses and keys are 16 bytes, most significant bit first.
 * (3) Requests return 0 or a positive status (zel_v6comp_status.h has the names and the next step of each); the
 *     engine's functions return the negative number.
 * (4) Pools are shared by all instances: 32,768 elements of each type unless `raw_blk` says otherwise (tm_chunk.h).
 * (5) There are no threads and no locks: the host serialises all calls.
 * (6) A broken invariant ends the process through zel_fatal.
 */
#ifndef ZEL_V6COMP_H
#define ZEL_V6COMP_H

#include "tcamv6_dump.h"
#include "tcamv6_extra_ops.h"
#include "tcamv6_handle.h"
#include "tcamv6_incr.h"
#include "tcamv6_lookup.h"
#include "tcamv6_moves.h"
#include "tcamv6_optimized.h"
#include "tcamv6_prefix_list.h"
#include "tcamv6_state.h"
#include "tm_array.h"
#include "tm_bits.h"
#include "tm_chunk.h"
#include "tm_debug.h"
#include "tm_heap.h"
#include "tm_incr_update.h"
#include "tm_list.h"
#include "tm_n_ary_tree.h"
#include "tm_pcmpr_trie.h"
#include "tm_prefix.h"
#include "tm_trie.h"
#include "zel_platform.h"
#include "zel_v6comp_dbg.h"
#include "zel_v6comp_status.h"
#include "zel_v6comp_version.h"

TM_API_BEGIN

/** A request: three words, directly followed by n_prefixes records of 40 bytes. Packed: the records start at byte 12
 *  and are unaligned; write them with memcpy. */
#if defined(__GNUC__)
typedef struct __attribute__((packed)) v6comp_pref_info {
#else
#pragma pack(push, 1)
typedef struct v6comp_pref_info {
#endif
  int32_t processor;   /* 0..3 */
  int32_t instance;    /* 0..1 */
  uint32_t n_prefixes; /* 0..65534 */
#ifdef __cplusplus
  /* tcamv6_prefix prefixes[n_prefixes] follow */
#else
  tcamv6_prefix prefixes[];
#endif
} v6comp_pref_info;
#if !defined(__GNUC__)
#pragma pack(pop)
#endif

TM_ASSERT_SIZE(v6comp_pref_info, 12);

/** Make the global block, the pools and the instances. Called once, before everything else; a second call starts
 *  anew with empty instances and abandons the old block and pools.
 *  @param n_instances   instances per processor, at most 2
 *  @param n_processors  at most 4
 *  @return 0; 22 a count is too large, nothing was made; 12 no memory
 *  Cost: constant in the size of the pools, which take memory as they are used. Allocates the block, 8.2 megabytes,
 *  and the pools. */
TM_API uint32_t zel_v6comp_init_global_state(int32_t n_instances, int32_t n_processors);

/** Run one request and discard its results: the instance's state is brought up to date.
 *  @return as zel_v6comp_prefix_compress_prefixes; 12 for a null request
 *  Cost: as zel_v6comp_prefix_compress_prefixes. Allocates, and releases the results. */
TM_API uint32_t zel_v6comp_prefix_compress(const v6comp_pref_info *req);

/** Run one request. The first one of an instance compresses its table in full (bit 0 of the flags is ignored); each
 *  later one is a batch, applied or undone as a whole.
 *  @param cmpr_prefs_out  one record per working-list entry, in tag order: the request's records in their order,
 *                         then their anchors, then (full) the /0 entry
 *  @param cmpr_addrs_out  one address per working-list entry, in WORKING-LIST order: the two arrays are not
 *                         parallel. Ask tcamv6_lookup_prefix for pairs.
 *                         Both arrays may be handed back after a failure too (contents undefined); release them
 *                         with zel_v6comp_free_compr_result
 *  @param changed_out     may be null; batches: 1 when a compressed form changed, else 0. Full: not written
 *  @return 0
 *          12 heap or pools exhausted, or a null request: larger pools, or a smaller table
 *          14 inconsistency, or limits that cannot be met
 *          22 more than 65,534 records, a length above 128, an index off the grid, a null output, two outputs in one
 *             place, no global state, a state that a reset kept, or records that changed while they were read; also a
 *             delete of more weight than is stored
 *          28, 2 a batch that finds no room: reset the instance and compress in full
 *          75 the table needs more than 64 bits
 *          1 limits below 0, in a very deeply nested table: as 75
 *          In room mode a full compression answers 0, 12, 22 or 75 and nothing else: a table that 64 bits suffice for
 *          is accepted. One that compatible mode accepts as well gets the same results there.
 *  Cost: full, O(n log n), some 5,000 instructions a prefix; a batch, some 14,000 a record in a table of 5,000
 *  prefixes, in room mode also what it moves. Allocates the two results and, from the pools, what is stored. */
TM_API uint32_t zel_v6comp_prefix_compress_prefixes(const v6comp_pref_info *req, tcamv6_cmpr_pref **cmpr_prefs_out,
                                                    tcamv6_cmpr_addr **cmpr_addrs_out, uint32_t *changed_out);

/** Release the result arrays of a request; null is ignored.
 *  Cost: constant. Does not allocate. */
TM_API void zel_v6comp_free_compr_result(tcamv6_cmpr_pref *cmpr_prefs, tcamv6_cmpr_addr *cmpr_addrs);

/** Dump an instance's table into its update list, longest prefixes first, state Insert, and print it under the
 *  result_hw word.
 *  @param count_out  rows of the table
 *  @param list_out   the first of *count_out slots; stays the instance's. Written on success only
 *  @return 0 (an empty table too, with count 0); 12 no memory, or more than 32,000 rows (the list is left alone);
 *          22 no such instance, or its last full compression failed; 14 an inconsistent table
 *  Cost: O(rows log rows). Allocates three tables of as many records for the time of the call. */
TM_API uint32_t zel_v6comp_sort_and_dump_prefix(int32_t processor, int32_t instance, uint32_t *count_out,
                                                tm_incr_update_entry **list_out);

/** The handle of an instance; null before initialisation and off the grid.
 *  Cost: constant. Does not allocate. */
TM_API tcamv6_state *zel_v6comp_instance(int32_t processor, int32_t instance);

/** Release all that an instance holds; its next request is a full compression.
 *  @return 0; 22 no such instance
 *  Cost: O(nodes that it holds). Does not allocate. */
TM_API uint32_t zel_v6comp_reset_instance(int32_t processor, int32_t instance);

/** Build the read index of an instance: its lookups of prefixes and addresses then take a step per byte instead of one
 *  per bit, until its next request or reset. The answers are the same. Lookups never build it: they only read, so that
 *  any number of threads may look up while nobody changes anything.
 *  @return 0, also when it is there already; 22 no such instance, or one that holds no compressed table; 12 no memory,
 *          or more than an index may take (half a kilobyte a prefix); 14 an inconsistent table. After 12 and 14 lookups
 *          go on by the tries
 *  Cost: about 0.2 microseconds and 0.1 to 0.6 kilobytes a stored prefix. Allocates. */
TM_API uint32_t zel_v6comp_build_index(int32_t processor, int32_t instance);

/** Switch safe updates on (not 0) or off (0, the default), for all instances, from the next batch on:
 *  (1) an addition between stored prefixes gets a key that covers exactly what it contains, or is refused with 2;
 *  (2) a refused batch leaves every stored prefix, key, counter and handle exactly as it was;
 *  (3) a delete takes only what additions of that prefix gave: one of a prefix that is not stored, or that is there as
 *      an anchor only, is skipped, and one of more than was added is refused with 22.
 *  With it on, convention (1) above holds after every accepted batch of a table that was never changed with it off.
 *  Cost: constant. Does not allocate. */
TM_API void zel_v6comp_set_safe_updates(uint32_t on);

/** 1 when safe updates are on, by their own switch or by that of room mode, else 0.
 *  Cost: constant. Does not allocate. */
TM_API uint32_t zel_v6comp_safe_updates(void);

/** Switch room mode on (not 0) or off (0, the default), for all instances, from the next request on. It implies safe
 *  updates, whatever their switch says, and makes batches find room:
 *  (1) deletes come before additions, and additions shortest first, so that one request needs no second one for its
 *      order; results stay at their records' places. A request that both adds and deletes a prefix is applied as it is
 *      listed;
 *  (2) an addition takes any free code below its enclosing prefix, beside its neighbours where it can;
 *  (3) where none is right, the stored prefixes in its way are moved to other codes, as few as can be: zel_v6comp_moves
 *      lists them. All others keep code and address.
 *  A batch is then refused with 75 when the table needs more than 64 bits, 12 without memory, 22 for a wrong request,
 *  28 when it would move more than zel_v6comp_set_move_limit allows, and 2 when something had to be moved in a table
 *  that additions without safe updates have left with codes that nest where prefixes do not: zel_v6comp_recompress
 *  mends it. A refused batch leaves every stored prefix, code, counter and handle, and the moves of the batch before,
 *  as they were. Off, batches are those of the other two modes, byte for byte.
 *  Cost: constant. Does not allocate. */
TM_API void zel_v6comp_set_room(uint32_t on);

/** 1 when room mode is on, else 0.
 *  Cost: constant. Does not allocate. */
TM_API uint32_t zel_v6comp_room(void);

/** Limit the stored entries that one batch may move in room mode: a batch that would move more is refused with 28. A
 *  prefix moved twice counts twice; anchors do not count. For all instances, from the next request on.
 *  @param entries   0 = move nothing; UINT32_MAX = no limit (the default)
 *  Cost: constant. Does not allocate. */
TM_API void zel_v6comp_set_move_limit(uint32_t entries);

/** Ask what the last accepted request of an instance moved: the stored prefixes, anchors aside, that are stored before
 *  and after it and have another code or address now, in the order in which they were moved. One that was moved twice
 *  is there twice, each time from where it was. What a request adds itself is not among them: its code is in its
 *  results.
 *  @param moves   out: *n records of 56 bytes, or null when there are none. They stay the library's and are good until
 *                 the next request of the instance, its reset, or a new initialisation
 *  @param n       out: their number
 *  @return 0; 22 no such instance, one that a reset kept, or a null pointer
 *  Cost: constant. Does not allocate. */
TM_API uint32_t zel_v6comp_moves(int32_t processor, int32_t instance, const zel_v6comp_move **moves, uint32_t *n);

/** Compress anew, in place, what an instance holds, of any number of prefixes: every stored prefix gets the code that a
 *  full compression of the whole table gives it, by the rules of room mode when that is on. All or nothing: a refused
 *  call leaves the table, its codes, counters, handles and statistics of allocated elements as they were, and so the
 *  list of moves. Counters and handles stay in any case; zel_v6comp_moves lists what changed, in the order of their
 *  addresses, containing ones first, and the host rewrites these entries. It gives back the compactness that many
 *  batches have cost, and makes a table that was changed without safe updates fit for room mode.
 *  @return 0
 *          12 no memory: pools must hold two ancestor trees and two compressed tries of the table for the time of the
 *             call, the heap 24 bytes a stored prefix and 56 bytes a move
 *          22 no such instance, one that holds no table, or one that a reset kept
 *          75 the table needs more than 64 bits, which only a table changed in compatible mode can
 *          14, 1 limits that cannot be met; never in room mode
 *  Cost: that of a full compression of the table. Allocates as said under 12. */
TM_API uint32_t zel_v6comp_recompress(int32_t processor, int32_t instance);

/** The version of the loaded library, such as "1.0.0"; zel_v6comp_version.h has that of the headers.
 *  Cost: constant. Does not allocate. */
TM_API const char *zel_v6comp_version(void);

TM_API_END

#endif
