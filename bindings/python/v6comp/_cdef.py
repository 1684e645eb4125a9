# SPDX-License-Identifier: Apache-2.0
"""The C interface. Made by generate_cdef.py from zel_v6comp_table.h; do not edit."""

CDEF = """
enum zel_v6comp_table_status {
  ZEL_V6COMP_TABLE_OK = 0,
  ZEL_V6COMP_TABLE_E_NULL = -10,
  ZEL_V6COMP_TABLE_E_LENGTH = -11,
  ZEL_V6COMP_TABLE_E_HOST_BITS = -12,
  ZEL_V6COMP_TABLE_E_OPERATION = -13,
  ZEL_V6COMP_TABLE_E_COUNT = -14,
  ZEL_V6COMP_TABLE_E_SIZE = -15,
  ZEL_V6COMP_TABLE_E_ROW = -16,
  ZEL_V6COMP_TABLE_E_NO_TABLE = -20,
  ZEL_V6COMP_TABLE_E_GRID = -21,
  ZEL_V6COMP_TABLE_E_TAKEN = -22,
  ZEL_V6COMP_TABLE_E_BUSY = -23,
  ZEL_V6COMP_TABLE_E_FOREIGN = -24,
  ZEL_V6COMP_TABLE_E_BITS = -30,
  ZEL_V6COMP_TABLE_E_MOVES = -31,
  ZEL_V6COMP_TABLE_E_ROOM = -32,
  ZEL_V6COMP_TABLE_E_POOLS = -33,
  ZEL_V6COMP_TABLE_E_MEMORY = -40,
  ZEL_V6COMP_TABLE_E_INTERNAL = -50
};
enum {
  ZEL_V6COMP_TABLE_MAX_RECORDS = 16777216,
  ZEL_V6COMP_TABLE_REASON_BYTES = 160
};
typedef struct zel_v6comp_table zel_v6comp_table;
enum zel_v6comp_table_log_level {
  ZEL_V6COMP_TABLE_LOG_ERROR = 1,
  ZEL_V6COMP_TABLE_LOG_WARNING = 2,
  ZEL_V6COMP_TABLE_LOG_INFO = 3
};
typedef void (*zel_v6comp_table_log)(void *user, int32_t level, const char *line);
typedef struct zel_v6comp_table_options {
  size_t struct_size;
  uint32_t expected_prefixes;
  uint32_t move_limit;
  zel_v6comp_table_log log;
  void *log_user;
  int32_t log_level;
  uint32_t reserved;
} zel_v6comp_table_options;
typedef struct zel_v6comp_table_prefix {
  uint8_t address[16];
  uint8_t length;
  uint8_t reserved[3];
  uint32_t word;
} zel_v6comp_table_prefix;
enum zel_v6comp_table_operation { ZEL_V6COMP_TABLE_REMOVE = 0, ZEL_V6COMP_TABLE_ADD = 1 };
typedef struct zel_v6comp_table_change {
  uint8_t address[16];
  uint8_t length;
  uint8_t operation;
  uint8_t reserved[2];
  uint32_t word;
} zel_v6comp_table_change;
typedef struct zel_v6comp_table_row {
  uint8_t address[16];
  uint64_t code;
  uint64_t key;
  uint32_t word;
  uint8_t length;
  uint8_t code_length;
  uint8_t reserved[2];
} zel_v6comp_table_row;
enum zel_v6comp_table_write_kind {
  ZEL_V6COMP_TABLE_ADD_CODE = 1,
  ZEL_V6COMP_TABLE_ADD_KEY = 2,
  ZEL_V6COMP_TABLE_CHANGE_KEY = 3,
  ZEL_V6COMP_TABLE_REMOVE_KEY = 4,
  ZEL_V6COMP_TABLE_REMOVE_CODE = 5
};
typedef struct zel_v6comp_table_write {
  uint8_t address[16];
  uint64_t code;
  uint64_t key;
  uint32_t word;
  uint8_t length;
  uint8_t code_length;
  uint8_t kind;
  uint8_t reserved;
} zel_v6comp_table_write;
typedef struct zel_v6comp_table_outcome {
  size_t struct_size;
  const zel_v6comp_table_write *writes;
  size_t n_writes;
  size_t record;
  int32_t status;
  uint32_t added;
  uint32_t removed;
  uint32_t present;
  uint32_t absent;
  uint32_t moved;
  uint32_t rekeyed;
  uint32_t parked;
  uint32_t early;
  uint32_t peak_codes;
  uint32_t reserved;
  char reason[ZEL_V6COMP_TABLE_REASON_BYTES];
} zel_v6comp_table_outcome;
typedef struct zel_v6comp_table_place {
  uint8_t address[16];
  uint8_t length;
  uint8_t begun;
  uint8_t reserved[2];
} zel_v6comp_table_place;
typedef struct zel_v6comp_table_pool {
  uint32_t size;
  uint32_t in_use;
} zel_v6comp_table_pool;
enum { ZEL_V6COMP_TABLE_POOLS = 5 };
typedef struct zel_v6comp_table_stats_record {
  size_t struct_size;
  uint64_t moves;
  uint64_t changes;
  uint32_t prefixes;
  uint32_t anchors;
  uint32_t bits_needed;
  uint32_t deepest_code;
  uint32_t indexed;
  uint32_t reserved;
  zel_v6comp_table_pool pools[ZEL_V6COMP_TABLE_POOLS];
} zel_v6comp_table_stats_record;
int32_t zel_v6comp_table_open(int32_t processor, int32_t instance, const zel_v6comp_table_options *options, zel_v6comp_table **table);
int32_t zel_v6comp_table_close(zel_v6comp_table *table);
int32_t zel_v6comp_table_load(zel_v6comp_table *table, const zel_v6comp_table_prefix *prefixes, size_t n, zel_v6comp_table_outcome *outcome);
int32_t zel_v6comp_table_apply(zel_v6comp_table *table, const zel_v6comp_table_change *changes, size_t n, zel_v6comp_table_outcome *outcome);
int32_t zel_v6comp_table_compact(zel_v6comp_table *table, zel_v6comp_table_outcome *outcome);
int32_t zel_v6comp_table_find(const zel_v6comp_table *table, const uint8_t address[16], uint32_t length, zel_v6comp_table_row *row);
int32_t zel_v6comp_table_lookup(const zel_v6comp_table *table, const uint8_t address[16], zel_v6comp_table_row *row);
int32_t zel_v6comp_table_rows(const zel_v6comp_table *table, zel_v6comp_table_place *place, zel_v6comp_table_row *rows, uint32_t n);
int32_t zel_v6comp_table_translate(const zel_v6comp_table *table, const uint8_t *addresses, size_t n, uint64_t *keys, uint8_t *covered);
int32_t zel_v6comp_table_stats(const zel_v6comp_table *table, zel_v6comp_table_stats_record *stats);
int32_t zel_v6comp_table_index(zel_v6comp_table *table);
void zel_v6comp_table_size_pools(uint32_t prefixes, uint64_t elements[ZEL_V6COMP_TABLE_POOLS]);
const char *zel_v6comp_table_text(int32_t status);
"""
