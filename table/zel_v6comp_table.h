/* SPDX-License-Identifier: Apache-2.0 */
/* zel_v6comp_table.h - a table of IPv6 prefixes, their 64-bit codes, and the writes that keep hardware equal to it.
 *
 * A packet's address is looked up in two stages:
 *
 *   stage 1   longest match over the table's prefixes: address -> 64-bit KEY
 *   stage 2   narrow ternary entries: a rule on a prefix matches the keys that begin with the prefix's CODE
 *
 * The table gives each prefix its code and its key, so that the code of Q is the beginning of the key of P exactly when
 * Q contains P. A prefix keeps both while others come and go; the few that must give way are said in the writes.
 *
 *   zel_v6comp_table *table;
 *   zel_v6comp_table_outcome outcome = ZEL_V6COMP_TABLE_OUTCOME_INIT;
 *   zel_v6comp_table_open(0, 0, NULL, &table);
 *   zel_v6comp_table_load(table, prefixes, n, &outcome);      the whole table
 *   program(outcome.writes, outcome.n_writes);                one by one, in this order
 *   zel_v6comp_table_apply(table, changes, n, &outcome);      prefixes come and go
 *   program(outcome.writes, outcome.n_writes);
 *   zel_v6comp_table_lookup(table, address, &row);            the row of the longest prefix that covers an address
 *   zel_v6comp_table_close(table);
 *
 * Conventions
 * (1) Functions return 0 (or a count) or a negative zel_v6comp_table_status; zel_v6comp_table_text says it in words.
 *     "Not there" is an answer: 0 rows found, not a status.
 * (2) A call that returns a negative status has changed nothing and written nothing but the outcome.
 * (3) Addresses are 16 bytes, most significant first. Lengths are in bits. Codes and keys are numbers whose highest bit
 *     comes first: a code of 20 bits is in the upper 20 bits, the others are 0.
 * (4) Nothing is printed. A log function, where one is given, gets a line for each refused call, and for others on
 *     demand (log_level).
 * (5) One call at a time may change tables, in the whole process: all of them draw on the same pools. While none does,
 *     any number of threads may ask (find, lookup, rows, translate, stats): these functions only read. With a
 *     read-write lock: open, close, load, apply, compact and index take it for writing, all others for reading.
 *     A changing call that meets another one is refused with E_BUSY, as far as it can be noticed; so is every call from
 *     a log function. Builds with assertions notice readers that meet a change, too.
 * (6) Tables stand beside instances that a host uses through zel_v6comp.h. The switches for those (safe updates, room
 *     mode, move limit) do not concern tables and are left as the host set them; tables are always in room mode.
 */
#ifndef ZEL_V6COMP_TABLE_H
#define ZEL_V6COMP_TABLE_H

#include "tm_api.h"

TM_API_BEGIN

/** What a call answers. */
enum zel_v6comp_table_status {
  ZEL_V6COMP_TABLE_OK = 0,

  /* what was asked is wrong: correct it */
  ZEL_V6COMP_TABLE_E_NULL = -10,   /* a pointer that may not be null is */
  ZEL_V6COMP_TABLE_E_LENGTH = -11, /* a length above 128 */
  ZEL_V6COMP_TABLE_E_HOST_BITS =
      -12, /* an address has bits beyond the prefix's length: mask it, or refuse its source */
  ZEL_V6COMP_TABLE_E_OPERATION = -13, /* a change is neither an addition nor a removal */
  ZEL_V6COMP_TABLE_E_COUNT = -14,     /* more than ZEL_V6COMP_TABLE_MAX_RECORDS records */
  ZEL_V6COMP_TABLE_E_SIZE = -15,      /* struct_size is not that of a record of this or an earlier version */
  ZEL_V6COMP_TABLE_E_ROW = -16,       /* a row contradicts itself, or stands there twice (zel_v6comp_plan.h) */

  /* not now, or not here */
  ZEL_V6COMP_TABLE_E_NO_TABLE = -20, /* the handle is not that of an open table */
  ZEL_V6COMP_TABLE_E_GRID = -21,  /* the library was started without this instance, or there is none of this number */
  ZEL_V6COMP_TABLE_E_TAKEN = -22, /* the instance has a table already: close it, or take another instance */
  ZEL_V6COMP_TABLE_E_BUSY = -23, /* a call is changing a table: another thread's, or the one that runs a log function */
  ZEL_V6COMP_TABLE_E_FOREIGN = -24, /* the instance was changed through zel_v6comp.h: close the table */

  /* no room */
  ZEL_V6COMP_TABLE_E_BITS = -30,  /* the prefixes nest so that codes would need more than 64 bits: fewer levels */
  ZEL_V6COMP_TABLE_E_MOVES = -31, /* more stored prefixes would have to move than move_limit allows */
  ZEL_V6COMP_TABLE_E_ROOM = -32,  /* no code is free for a prefix where it has to be: compact, then try again */
  ZEL_V6COMP_TABLE_E_POOLS = -33, /* the library's pools are used up: they were made for fewer prefixes (options) */

  ZEL_V6COMP_TABLE_E_MEMORY = -40,  /* the heap refused: trying again later is safe */
  ZEL_V6COMP_TABLE_E_INTERNAL = -50 /* the library contradicts itself: report it */
};

/** A move_limit: no stored prefix may move. */
#define ZEL_V6COMP_TABLE_NO_MOVES UINT32_MAX

enum {
  ZEL_V6COMP_TABLE_MAX_RECORDS = 16777216, /* of one load or apply */
  ZEL_V6COMP_TABLE_REASON_BYTES = 160
};

/** An open table. Only its address means anything. */
typedef struct zel_v6comp_table zel_v6comp_table;

/** How much a log line matters. A table passes on lines up to its log_level. */
enum zel_v6comp_table_log_level {
  ZEL_V6COMP_TABLE_LOG_ERROR = 1,   /* a refused call */
  ZEL_V6COMP_TABLE_LOG_WARNING = 2, /* it worked, but look at it: pools too small for what is expected */
  ZEL_V6COMP_TABLE_LOG_INFO = 3     /* an accepted change and its counts */
};

/** Takes one line, without a line end. `line` is good during the call. Must not call the library. */
typedef void (*zel_v6comp_table_log)(void *user, int32_t level, const char *line);

/** How to open a table. Zeros mean what is said; begin with ZEL_V6COMP_TABLE_OPTIONS_INIT. */
typedef struct zel_v6comp_table_options {
  size_t struct_size;         /* bytes of this record */
  uint32_t expected_prefixes; /* most prefixes that all tables of the process will hold together; 0 = 16,384. The first
                                 table that is opened makes the pools for it; when the host has started the library
                                 itself (zel_v6comp_init_global_state), they stay as the host made them */
  uint32_t move_limit;      /* most stored prefixes that one apply may move; 0 = no limit, ZEL_V6COMP_TABLE_NO_MOVES */
  zel_v6comp_table_log log; /* may be null: no lines */
  void *log_user;           /* handed to log */
  int32_t log_level;        /* ZEL_V6COMP_TABLE_LOG_*; 0 = errors */
  uint32_t reserved;        /* 0 */
} zel_v6comp_table_options;

/** What such a record begins as. */
#define ZEL_V6COMP_TABLE_OPTIONS_INIT \
  { sizeof(zel_v6comp_table_options), 0, 0, NULL, NULL, 0, 0 }

/** A prefix of a table to load. */
typedef struct zel_v6comp_table_prefix {
  uint8_t address[16]; /* bits beyond length are 0 */
  uint8_t length;      /* 0..128 */
  uint8_t reserved[3]; /* ignored */
  uint32_t word;       /* the host's own; comes back in rows and writes */
} zel_v6comp_table_prefix;

/** What a change does. */
enum zel_v6comp_table_operation { ZEL_V6COMP_TABLE_REMOVE = 0, ZEL_V6COMP_TABLE_ADD = 1 };

/** One change. */
typedef struct zel_v6comp_table_change {
  uint8_t address[16]; /* bits beyond length are 0 */
  uint8_t length;      /* 0..128 */
  uint8_t operation;   /* ZEL_V6COMP_TABLE_ADD or ZEL_V6COMP_TABLE_REMOVE */
  uint8_t reserved[2]; /* ignored */
  uint32_t word;       /* additions: the host's own; of a prefix that is there already it replaces the old one */
} zel_v6comp_table_change;

/** A stored prefix and what it became. */
typedef struct zel_v6comp_table_row {
  uint8_t address[16]; /* of the prefix; bits beyond length are 0 */
  uint64_t code;       /* what rules on the prefix match */
  uint64_t key;        /* what stage 1 answers for addresses of which this is the longest prefix */
  uint32_t word;       /* the host's own */
  uint8_t length;      /* 0..128 */
  uint8_t code_length; /* 0..64 */
  uint8_t reserved[2];
} zel_v6comp_table_row;

/** What one write does. */
enum zel_v6comp_table_write_kind {
  ZEL_V6COMP_TABLE_ADD_CODE = 1,   /* stage 2: rules on the prefix match this code too */
  ZEL_V6COMP_TABLE_ADD_KEY = 2,    /* stage 1: a new entry, prefix -> key */
  ZEL_V6COMP_TABLE_CHANGE_KEY = 3, /* stage 1: the prefix's entry gets this key */
  ZEL_V6COMP_TABLE_REMOVE_KEY = 4, /* stage 1: the prefix's entry goes */
  ZEL_V6COMP_TABLE_REMOVE_CODE = 5 /* stage 2: rules on the prefix no longer match this code */
};

/** One write to hardware.
 *
 * A rule on a prefix stands in stage 2 once for every code that the prefix has at the moment: usually one, and two or
 * more while it moves. A host without a rule on the prefix leaves its stage 2 writes out. */
typedef struct zel_v6comp_table_write {
  uint8_t address[16]; /* of the prefix; bits beyond length are 0 */
  uint64_t code;       /* ADD_CODE, REMOVE_CODE; else 0 */
  uint64_t key;        /* ADD_KEY, CHANGE_KEY: to be written; REMOVE_KEY: the last one; else 0 */
  uint32_t word;       /* of the prefix; of one that is removed: the last one */
  uint8_t length;      /* 0..128 */
  uint8_t code_length; /* ADD_CODE, REMOVE_CODE; else 0 */
  uint8_t kind;        /* ZEL_V6COMP_TABLE_ADD_CODE ... */
  uint8_t reserved;
} zel_v6comp_table_write;

/** What became of a load, an apply or a compact. Begin with ZEL_V6COMP_TABLE_OUTCOME_INIT; written whole, also when the
 *  call is refused (then the counts are 0 and there are no writes).
 *
 *  The writes lead from the old table to the new one. After every single one of them
 *  - a rule on a prefix that both tables hold matches an address exactly when the prefix covers it;
 *  - a rule on a prefix that only one of them holds matches no address that it does not cover;
 *  - of the prefixes whose rules match an address, the longest is the old or the new table's longest match;
 *  unless `early` says that so many writes had to be done before their time. */
typedef struct zel_v6comp_table_outcome {
  size_t struct_size;                   /* bytes of this record */
  const zel_v6comp_table_write *writes; /* in the order to follow. The table's, until its next changing call */
  size_t n_writes;                      /* of writes */
  size_t record;                        /* refused: the index of the record at fault, SIZE_MAX when it is none alone */
  int32_t status;                       /* as returned: the reason of a refusal */
  uint32_t added;                       /* prefixes that only the new table holds */
  uint32_t removed;                     /* prefixes that only the old table holds */
  uint32_t present;                     /* additions of what was there already when their turn came */
  uint32_t absent;                      /* removals of what was not there when their turn came */
  uint32_t moved;                       /* prefixes in both tables with another code */
  uint32_t rekeyed;                     /* prefixes in both tables with the same code and another key */
  uint32_t parked;     /* keys and codes that stood in an interim place, because two prefixes changed places */
  uint32_t early;      /* removals before their time, because not even an interim place was free; nearly always 0 */
  uint32_t peak_codes; /* most codes that the prefixes of the writes have at a time, summed */
  uint32_t reserved;
  char reason[ZEL_V6COMP_TABLE_REASON_BYTES]; /* refused: why, in words; else "" */
} zel_v6comp_table_outcome;

/** What such a record begins as. */
#define ZEL_V6COMP_TABLE_OUTCOME_INIT \
  { sizeof(zel_v6comp_table_outcome), NULL, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, "" }

/** Where a walk stands: begin with zeros (ZEL_V6COMP_TABLE_PLACE_INIT). It belongs to no table: it is the last row's
 *  prefix, and a walk goes on behind it, whatever has changed meanwhile. */
typedef struct zel_v6comp_table_place {
  uint8_t address[16]; /* of the last row */
  uint8_t length;      /* likewise */
  uint8_t begun;       /* 0 = before the first row */
  uint8_t reserved[2];
} zel_v6comp_table_place;

/** What such a record begins as. */
#define ZEL_V6COMP_TABLE_PLACE_INIT \
  {                                 \
    {0}, 0, 0, { 0 }                \
  }

/** One of the library's pools; all tables share it. */
typedef struct zel_v6comp_table_pool {
  uint32_t size;   /* elements that it has */
  uint32_t in_use; /* elements in use */
} zel_v6comp_table_pool;

enum { ZEL_V6COMP_TABLE_POOLS = 5 };

/** Figures of a table. Begin with ZEL_V6COMP_TABLE_STATS_INIT. */
typedef struct zel_v6comp_table_stats_record {
  size_t struct_size;    /* bytes of this record */
  uint64_t moves;        /* prefixes moved since it was opened, by apply and by compact */
  uint64_t changes;      /* accepted loads, applies and compacts since it was opened */
  uint32_t prefixes;     /* rows */
  uint32_t anchors;      /* internal prefixes that the library stores beside them, ::/0 included unless it is a row */
  uint32_t bits_needed;  /* code bits that the tightest code of these prefixes needs; 64 at most */
  uint32_t deepest_code; /* bits of the longest code in use */
  uint32_t indexed;      /* 1 = lookups use the read index (zel_v6comp_table_index) */
  uint32_t reserved;
  zel_v6comp_table_pool pools[ZEL_V6COMP_TABLE_POOLS]; /* tree nodes, tree data, prefix data, path data, trie nodes */
} zel_v6comp_table_stats_record;

/** What such a record begins as. */
#define ZEL_V6COMP_TABLE_STATS_INIT                                  \
  {                                                                  \
    sizeof(zel_v6comp_table_stats_record), 0, 0, 0, 0, 0, 0, 0, 0, { \
      {0, 0}, {0, 0}, {0, 0}, {0, 0}, { 0, 0 }                       \
    }                                                                \
  }

/** Open an empty table on an instance of the grid. The first call of a process starts the library, unless the host has.
 *  @param processor  0..3
 *  @param instance   0..1
 *  @param options    may be null: all defaults
 *  @param table      out: the handle; null when refused. Give it back with zel_v6comp_table_close
 *  @return OK, E_NULL, E_SIZE, E_GRID, E_TAKEN, E_BUSY, E_MEMORY
 *  Cost: the first one makes the pools: address space for all that is expected, memory as it is used. Allocates. */
TM_API int32_t zel_v6comp_table_open(int32_t processor, int32_t instance, const zel_v6comp_table_options *options,
                                     zel_v6comp_table **table);

/** Close a table and release all that it holds; the instance is free again. The pools stay for other tables.
 *  @param table  null is allowed
 *  @return OK, E_NO_TABLE, E_BUSY. Cost: grows with the table. Does not allocate. */
TM_API int32_t zel_v6comp_table_close(zel_v6comp_table *table);

/** Make the table hold exactly these prefixes, all or nothing. An empty table is compressed in full; of one that holds
 *  rows the difference is applied as a change, so that what stays keeps its code and its key.
 *  @param prefixes  n records in any order; of one that is there twice the last word counts. May be null when n is 0
 *  @param outcome   may be null
 *  @return OK, E_NULL, E_LENGTH, E_HOST_BITS, E_COUNT, E_SIZE, E_NO_TABLE, E_BUSY, E_FOREIGN, E_BITS, E_MOVES, E_ROOM,
 *          E_POOLS, E_MEMORY, E_INTERNAL
 *  Cost: O(n log n), about 3 microseconds a prefix. Allocates. */
TM_API int32_t zel_v6comp_table_load(zel_v6comp_table *table, const zel_v6comp_table_prefix *prefixes, size_t n,
                                     zel_v6comp_table_outcome *outcome);

/** Add and remove prefixes, all or nothing. Changes are taken in their order: of several for one prefix the last one
 *  decides. Adding what is there and removing what is not are counted, and no error. A prefix that is removed and added
 *  in one call stays as it is, but for its word: it counts as neither added, removed, present nor absent.
 *  @param changes  n records; may be null when n is 0
 *  @param outcome  may be null
 *  @return as zel_v6comp_table_load, and E_OPERATION
 *  Cost: grows with n and with what moves, not with the table. Allocates; a read index is dropped. The memory of a much
 *  longer list of writes before is kept for later ones, until a change of its size or until the table is closed. */
TM_API int32_t zel_v6comp_table_apply(zel_v6comp_table *table, const zel_v6comp_table_change *changes, size_t n,
                                      zel_v6comp_table_outcome *outcome);

/** Compress the table anew: all codes may change, short ones come back, words stay. All or nothing.
 *  @param outcome  may be null
 *  @return OK, E_SIZE, E_NO_TABLE, E_BUSY, E_FOREIGN, E_POOLS, E_MEMORY, E_INTERNAL
 *  Cost: as of a load; the writes are two to six for each row that changes. Allocates. */
TM_API int32_t zel_v6comp_table_compact(zel_v6comp_table *table, zel_v6comp_table_outcome *outcome);

/** The row of exactly this prefix.
 *  @param address  16 bytes, bits beyond length are 0
 *  @param row      written when there is one
 *  @return 1 found, 0 not there, E_NULL, E_LENGTH, E_HOST_BITS, E_NO_TABLE, E_BUSY, E_FOREIGN
 *  Cost: a step per bit, or per byte with a read index. Only reads. Does not allocate. */
TM_API int32_t zel_v6comp_table_find(const zel_v6comp_table *table, const uint8_t address[16], uint32_t length,
                                     zel_v6comp_table_row *row);

/** The row of the longest prefix that covers an address.
 *  @param address  16 bytes
 *  @param row      written when there is one
 *  @return 1 found, 0 no prefix covers it, E_NULL, E_NO_TABLE, E_BUSY, E_FOREIGN
 *  Cost: as zel_v6comp_table_find. Only reads. Does not allocate. */
TM_API int32_t zel_v6comp_table_lookup(const zel_v6comp_table *table, const uint8_t address[16],
                                       zel_v6comp_table_row *row);

/** Walk the rows, in the order of their addresses, containing prefixes first.
 *  @param place  where the walk stands; goes along
 *  @param rows   room for n rows
 *  @param n      1 or more
 *  @return rows written; 0 at the end; E_NULL, E_COUNT (n is 0 or above INT32_MAX), E_NO_TABLE, E_BUSY, E_FOREIGN
 *  Cost: a step per bit for the first row of a call, a few for each further one. Only reads. Does not allocate. */
TM_API int32_t zel_v6comp_table_rows(const zel_v6comp_table *table, zel_v6comp_table_place *place,
                                     zel_v6comp_table_row *rows, uint32_t n);

/** Translate many addresses.
 *  @param addresses  16 n bytes
 *  @param n          any number
 *  @param keys       out: n keys. Of an address that no prefix covers: one that begins with no code but that of ::/0
 *  @param covered    out, may be null: n bytes, 1 = a prefix covers the address, 0 = none does
 *  @return OK, E_NULL, E_NO_TABLE, E_BUSY, E_FOREIGN
 *  Cost: with a read index, addresses are taken several at a time, so that they wait for memory together. Only
 *  reads. Does not allocate. */
TM_API int32_t zel_v6comp_table_translate(const zel_v6comp_table *table, const uint8_t *addresses, size_t n,
                                          uint64_t *keys, uint8_t *covered);

/** Figures of the table and of the pools.
 *  @return OK, E_NULL, E_SIZE, E_NO_TABLE, E_BUSY, E_FOREIGN. Cost: a walk of the table. Only reads. Does not
 *  allocate. */
TM_API int32_t zel_v6comp_table_stats(const zel_v6comp_table *table, zel_v6comp_table_stats_record *stats);

/** Build the read index: lookup and translate take a step per byte instead of one per bit and copy answers that are
 *  ready, find takes the same steps, until the next change, even a refused one, but for words; else they walk the
 * tries. Same answers.
 *  @return OK, E_NO_TABLE, E_BUSY, E_FOREIGN, E_MEMORY (lookups go on by the tries)
 *  Cost: O(rows), about 0.2 microseconds and 0.3 kilobytes of heap a row (0.15 to 1.3), and from 512 rows on 256
 *  kilobytes for two bytes of addresses; 0 when it is there already. Allocates. */
TM_API int32_t zel_v6comp_table_index(zel_v6comp_table *table);

/** The elements that the library's pools need for tables of so many prefixes, whatever these are: what the first open
 *  makes of expected_prefixes. For hosts that start the library themselves.
 *  @param prefixes  of all tables together
 *  @param elements  out: a number for each pool, in the order of zel_v6comp_table_stats_record; null is ignored
 *  Cost: none. Does not allocate. */
TM_API void zel_v6comp_table_size_pools(uint32_t prefixes, uint64_t elements[ZEL_V6COMP_TABLE_POOLS]);

/** A status in words, never null; any other number is "unknown status". Does not allocate.
 *  Cost: constant. */
TM_API const char *zel_v6comp_table_text(int32_t status);

TM_API_END

/* The layouts are part of the binary interface. */
TM_ASSERT_SIZE(zel_v6comp_table_options, 40);
TM_ASSERT_OFFSET(zel_v6comp_table_options, log, 16);
TM_ASSERT_SIZE(zel_v6comp_table_prefix, 24);
TM_ASSERT_OFFSET(zel_v6comp_table_prefix, word, 20);
TM_ASSERT_SIZE(zel_v6comp_table_change, 24);
TM_ASSERT_OFFSET(zel_v6comp_table_change, operation, 17);
TM_ASSERT_OFFSET(zel_v6comp_table_change, word, 20);
TM_ASSERT_SIZE(zel_v6comp_table_row, 40);
TM_ASSERT_OFFSET(zel_v6comp_table_row, key, 24);
TM_ASSERT_OFFSET(zel_v6comp_table_row, code_length, 37);
TM_ASSERT_SIZE(zel_v6comp_table_write, 40);
TM_ASSERT_OFFSET(zel_v6comp_table_write, key, 24);
TM_ASSERT_OFFSET(zel_v6comp_table_write, kind, 38);
TM_ASSERT_SIZE(zel_v6comp_table_outcome, 240);
TM_ASSERT_OFFSET(zel_v6comp_table_outcome, record, 24);
TM_ASSERT_OFFSET(zel_v6comp_table_outcome, reason, 76);
TM_ASSERT_SIZE(zel_v6comp_table_place, 20);
TM_ASSERT_SIZE(zel_v6comp_table_pool, 8);
TM_ASSERT_SIZE(zel_v6comp_table_stats_record, 88);
TM_ASSERT_OFFSET(zel_v6comp_table_stats_record, pools, 48);

#endif
