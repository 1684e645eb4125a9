// SPDX-License-Identifier: Apache-2.0
/* reference_host.c - a host, from the first table to the last batch: reference_host TABLE HISTORY
 *
 * It has a table compressed, keeps (model) hardware equal to it by the table's writes, and asks both for the same
 * addresses after every batch. */
#define _POSIX_C_SOURCE 200809L
#include <arpa/inet.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "host_hardware.h"

enum { MAX_CHANGES = 1 << 20 };

static zel_v6comp_table_change changes[MAX_CHANGES];
static size_t n_changes;
static host_hardware hardware;
static size_t n_writes, n_moved;

static void fail(const char *what) {
  fprintf(stderr, "reference_host: %s\n", what);
  exit(1);
}

/* ---- input: `prefix/length` lines of a table, `+prefix/length` and `-prefix/length` lines and `---` of a history */

static void take_line(char *line) {
  const bool is_signed = line[0] == '+' || line[0] == '-';
  char *slash = strchr(line, '/');
  zel_v6comp_table_change change = {.operation = line[0] == '-' ? ZEL_V6COMP_TABLE_REMOVE : ZEL_V6COMP_TABLE_ADD};
  if (slash != NULL && n_changes < MAX_CHANGES) {
    *slash = '\0';
    const long length = strtol(slash + 1, NULL, 10);
    if (length >= 0 && length <= 128 && inet_pton(AF_INET6, line + is_signed, change.address) == 1) {
      change.length = (uint8_t)length;
      change.word = (uint32_t)n_changes; /* what the host ties to the prefix */
      changes[n_changes++] = change;
      return;
    }
  }
  fail("a line is no prefix");
}

/* Read up to the next `---`. False: nothing is left. */
static bool read_changes(FILE *file) {
  char line[512];
  n_changes = 0;
  while (fgets(line, sizeof line, file) != NULL) {
    if (strncmp(line, "---", 3) == 0) {
      return true;
    }
    if (line[0] != '#' && line[strspn(line, " \r\n")] != '\0') {
      take_line(line);
    }
  }
  return n_changes != 0;
}

/* ---- the table and its hardware */

static void program(const zel_v6comp_table_outcome *outcome) {
  for (size_t i = 0; i < outcome->n_writes; ++i) {
    if (!host_write(&hardware, &outcome->writes[i])) {
      fail("a write does not fit the hardware");
    }
  }
  n_writes += outcome->n_writes;
  n_moved += outcome->moved;
}

static void apply_changes(zel_v6comp_table *table) {
  zel_v6comp_table_outcome outcome = ZEL_V6COMP_TABLE_OUTCOME_INIT;
  int32_t status = zel_v6comp_table_apply(table, changes, n_changes, &outcome);
  if (status == ZEL_V6COMP_TABLE_E_ROOM && zel_v6comp_table_compact(table, &outcome) == ZEL_V6COMP_TABLE_OK) {
    program(&outcome);
    status = zel_v6comp_table_apply(table, changes, n_changes, &outcome);
  }
  if (status != ZEL_V6COMP_TABLE_OK) {
    fail(outcome.reason);
  }
  program(&outcome);
}

/* Does the hardware match the same prefix as the table, or none as well? */
static void check_address(const zel_v6comp_table *table, const uint8_t address[16]) {
  zel_v6comp_table_row row;
  const bool is_covered = zel_v6comp_table_lookup(table, address, &row) == 1;
  const zel_v6comp_table_write *match = host_match(&hardware, address);
  if ((match != NULL) != is_covered || (is_covered && (match->length != row.length || match->word != row.word ||
                                                       memcmp(match->address, row.address, sizeof row.address) != 0))) {
    fail("the hardware answers for another prefix");
  }
}

static void check_edges(const zel_v6comp_table *table, const uint8_t address[16], uint32_t length) {
  uint8_t last[16];
  memcpy(last, address, sizeof last);
  for (uint32_t i = length; i < 128; ++i) {
    last[i / 8] = (uint8_t)(last[i / 8] | 1u << (7 - i % 8));
  }
  check_address(table, address);
  check_address(table, last);
}

static size_t check_rows(const zel_v6comp_table *table) {
  zel_v6comp_table_place place = ZEL_V6COMP_TABLE_PLACE_INIT;
  zel_v6comp_table_row row;
  size_t n = 0;
  for (; zel_v6comp_table_rows(table, &place, &row, 1) == 1; ++n) {
    check_edges(table, row.address, row.length);
  }
  if (hardware.keys.n != n || hardware.codes.n != n) {
    fail("the hardware holds other rows than the table");
  }
  return n;
}

int main(int argc, char **argv) {
  FILE *files[2] = {argc == 3 ? fopen(argv[1], "r") : NULL, argc == 3 ? fopen(argv[2], "r") : NULL};
  if (files[0] == NULL || files[1] == NULL) {
    fprintf(stderr, "usage: reference_host TABLE HISTORY; both must be readable\n");
    return 2;
  }
  zel_v6comp_table *table;
  if (zel_v6comp_table_open(0, 0, NULL, &table) != ZEL_V6COMP_TABLE_OK) {
    fail("no table can be opened");
  }
  uint32_t n_batches = 0;
  for (; read_changes(files[n_batches != 0]) || n_batches == 0; ++n_batches) { /* the table is the first batch */
    apply_changes(table);
    for (size_t i = 0; i < n_changes; ++i) {
      check_edges(table, changes[i].address, changes[i].length);
    }
  }
  printf("%u batches, %zu prefixes moved, %zu writes; hardware equals the table: %zu prefixes\n", n_batches - 1,
         n_moved, n_writes, check_rows(table));
  return zel_v6comp_table_close(table) == ZEL_V6COMP_TABLE_OK ? 0 : 1;
}
