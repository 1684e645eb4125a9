// SPDX-License-Identifier: Apache-2.0
/* host_table.h - the host's own table of prefixes, and the files that it is read from. */
#ifndef HOST_TABLE_H
#define HOST_TABLE_H

#include <stdbool.h>
#include <stdio.h>

#include "zel_v6comp.h"

enum { HOST_MAX_ROWS = TCAMV6_MAX_PREFIXES };

typedef struct host_prefix {
  uint8_t address[16]; /* bits beyond length are 0 */
  uint8_t length;
} host_prefix;

typedef struct host_row {
  host_prefix prefix;
  uint32_t id; /* what the host ties to the prefix; never 0 */
} host_row;

typedef struct host_table {
  host_row rows[HOST_MAX_ROWS];
  uint32_t n_rows;
  uint32_t last_id;
} host_table;

typedef struct host_change {
  host_prefix prefix;
  bool add;
} host_change;

typedef struct host_batch {
  host_change changes[HOST_MAX_ROWS];
  uint32_t n_changes;
} host_batch;

bool host_same_prefix(const host_prefix *a, const host_prefix *b);

/* Does the prefix cover the address? */
bool host_covers(const host_prefix *prefix, const uint8_t address[16]);

/* Cut a prefix to a shorter length. */
host_prefix host_cut(const host_prefix *prefix, uint8_t length);

/* The row of a prefix, null if there is none. */
host_row *host_find(host_table *table, const host_prefix *prefix);

/* The row of the longest prefix that covers an address, null if there is none. */
const host_row *host_longest_match(const host_table *table, const uint8_t address[16]);

/* Change the table. False: the prefix is there already, is not there, or the table is full. */
bool host_apply(host_table *table, const host_change *change);

/* Read `prefix/length` lines. False: the file is bad. */
bool host_read_table(FILE *file, host_table *table);

/* Read `+prefix/length` and `-prefix/length` lines up to the next `---`. False: no batch is left. */
bool host_read_batch(FILE *file, host_batch *batch);

#endif
