// SPDX-License-Identifier: Apache-2.0
/* tcamv6_state.h - the state of one table instance, its configuration, and the global block.
 *
 * All state lives in one block: a fixed grid of 4 processors x 2 instances. The block, the pools and the
 * flags live until the process ends.
 */
#ifndef TCAMV6_STATE_H
#define TCAMV6_STATE_H

#include "tm_chunk.h"
#include "tm_incr_update.h"
#include "tm_prefix.h"

TM_API_BEGIN

enum {
  TCAMV6_MAX_PROCESSORS = 4,
  TCAMV6_MAX_INSTANCES = 2,
  TCAMV6_MAX_PREF_LEN = 128,  /* bits of an uncompressed key */
  TCAMV6_MAX_CMPR_LEN = 64,   /* most bits of a compressed prefix */
  TCAMV6_MAX_PREFIXES = 65534 /* records of one request */
};

/** One table instance. Hosts hold its address as a handle; the fields are the library's.
 *  Its first 1,024,080 bytes are laid out as a tm_incr_update_list, and may be used as one. */
typedef struct tcamv6_state {
  uint32_t max_pref_len;       /* bits of an uncompressed key, at most 128 */
  uint32_t max_cmpr_len;       /* most bits of a compressed prefix */
  int32_t opt_done;            /* 1 = a full compression has succeeded; requests are batches from then on */
  int32_t trees_built;         /* ancestor tree and path-compressed trie are those of this run */
  tm_chunk_idx cmpr_root;      /* compressed trie */
  tm_chunk_idx orig_root;      /* trie of the uncompressed prefixes */
  tm_chunk_idx pcmpr_root;     /* path-compressed trie; only during a full compression */
  tm_chunk_idx anc_root;       /* ancestor tree */
  uint32_t n_prefs;            /* distinct prefixes stored, anchors included */
  uint32_t extra_op_count;     /* records of each half of extra_ops */
  tcamv6_cmpr_pref *extra_ops; /* 2 x extra_op_count records on the platform heap, or null */
  uint64_t read_index;         /* answers of lookups beside the tries (tcamv6_read_index.h) */
  tm_incr_update_entry entries[TM_INCR_SLOTS]; /* the instance's update list */
  uint32_t count;                              /* slots of the update list in use */
  uint32_t n_insert;                           /* Insert slots that the last build appended after them */
  uint32_t marks;                              /* TCAMV6_MARK_* */
  uint32_t n_rows;                             /* rows that a dump of the table has; kept while opt_done is 1 */
} tcamv6_state;

TM_ASSERT_SIZE(tcamv6_state, 1024088);
TM_ASSERT_OFFSET(tcamv6_state, opt_done, 8);
TM_ASSERT_OFFSET(tcamv6_state, entries, 72);
TM_ASSERT_OFFSET(tcamv6_state, count, 1024072);
TM_ASSERT_OFFSET(tcamv6_state, n_insert, 1024076);

enum {
  TCAMV6_MARK_KEPT = 1,        /* a reset kept the record: its links lead to released elements */
  TCAMV6_MARK_FAILED = 2,      /* the last full compression failed: the instance holds nothing */
  TCAMV6_MARK_LOOSE_LEVELS = 4 /* new levels were added in compatible mode: codes may not nest as prefixes do */
};

/** Configuration of one instance. */
typedef struct tcamv6_conf {
  uint32_t max_pref_len; /* as in the state */
  uint32_t max_cmpr_len; /* likewise */
  tcamv6_state *state;   /* the instance's handle; null outside the counts given at start */
} tcamv6_conf;

TM_ASSERT_SIZE(tcamv6_conf, 16);
TM_ASSERT_OFFSET(tcamv6_conf, state, 8);

/** The last tag handed out to a prefix that came without one, or to a made-up root; process-wide. Written by
 *  tcamv6_state.cpp alone. */
extern TM_API uint32_t tags_so_far;

/** Initialise one instance from its configuration. An instance that has completed a full compression is left
 *  exactly as it is; any other is cleared.
 *  @param was_reset   1 = cleared, 0 = kept
 *  @return 0; -22 a pointer is null, or a limit of conf is above 128
 *  Cost: constant; that of clearing one record when it is cleared. Does not allocate. */
TM_API int32_t tcamv6_init(tcamv6_state *state, const tcamv6_conf *conf, int32_t *was_reset);

/** Has the instance completed a full compression?
 *  @return 0 yes; -2 no; -22 state is null
 *  Cost: constant. Does not allocate. */
TM_API int32_t tcamv6_init_opt_done(const tcamv6_state *state);

/** Release everything that an instance holds.
 *  @param handlep   address of the handle
 *  @param keep      1 = the record stays as it is, links included: it answers -22 to everything until it is
 *                   cleared. Any other value: the record is cleared and *handlep becomes null; a record outside
 *                   the global block is passed to zel_free_named
 *  @return 0; -22 handlep or *handlep is null
 *  Cost: O(nodes that it holds). Does not allocate. */
TM_API int32_t tcamv6_reset(tcamv6_state **handlep, int32_t keep);

TM_API_END

#endif
