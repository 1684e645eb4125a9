// SPDX-License-Identifier: Apache-2.0
/* reference_host.c - a host, from the first table to the last batch: reference_host TABLE HISTORY
 *
 * It owns a table, has it compressed, and keeps a first-stage table in (model) hardware equal to it: prefix ->
 * compressed address. Each batch of the history is
 *
 *   sent to the library, in room mode as one request
 *   taken over into the host's table; rows that the library moved to make room are compared with the hardware
 *   written to the hardware, by the library's update list
 *   checked: every prefix, its handle, and the hardware's answer for it
 */
#include <stdlib.h>
#include <string.h>

#include "host_hardware.h"
#include "host_table.h"

static host_table table;
static host_batch batch;
static host_hardware hardware;

static unsigned char request[sizeof(v6comp_pref_info) + (size_t)HOST_MAX_ROWS * sizeof(tcamv6_prefix)];
static uint32_t n_records;

static uint32_t n_batches, n_refused, n_moved;

static tcamv6_state *instance(void) { return zel_v6comp_instance(0, 0); }

static void fail(const char *what) {
  fprintf(stderr, "reference_host: batch %u: %s\n", (unsigned)n_batches, what);
  exit(1);
}

/* ---- requests */

static tcamv6_prefix record_of(const host_prefix *prefix) {
  tcamv6_prefix record = {.length = prefix->length};
  memcpy(record.address, prefix->address, sizeof record.address);
  return record;
}

static void put_record(const host_prefix *prefix, uint32_t weight, bool add) {
  tcamv6_prefix record = record_of(prefix);
  record.flags_tag = add ? TM_PREFIX_FLAG_ADD : 0;
  record.weight = weight;
  if (n_records == HOST_MAX_ROWS) {
    fail("too many records for one request");
  }
  memcpy(request + sizeof(v6comp_pref_info) + (size_t)n_records++ * sizeof record, &record, sizeof record);
}

/* Send the records that were put. */
static uint32_t send_request(void) {
  const v6comp_pref_info head = {.processor = 0, .instance = 0, .n_prefixes = n_records};
  memcpy(request, &head, sizeof head);
  n_records = 0;
  return zel_v6comp_prefix_compress((const v6comp_pref_info *)(const void *)request);
}

static void compress_table(void) {
  if (zel_v6comp_reset_instance(0, 0) != 0) {
    fail("the instance cannot be reset");
  }
  for (uint32_t i = 0; i < table.n_rows; ++i) {
    put_record(&table.rows[i].prefix, 1, true);
  }
  if (send_request() != 0) {
    fail("the table does not fit");
  }
}

/* The order is the library's business: in room mode it takes deletes first and long prefixes last. */
static bool send_batch(void) {
  for (uint32_t i = 0; i < batch.n_changes; ++i) {
    put_record(&batch.changes[i].prefix, 1, batch.changes[i].add);
  }
  return send_request() == 0;
}

/* ---- handles */

/* Handles stay with a prefix through batches; a full compression forgets them. */
static void attach_handles(uint32_t newer_than) {
  for (uint32_t i = 0; i < table.n_rows; ++i) {
    const host_row *row = &table.rows[i];
    const tcamv6_prefix record = record_of(&row->prefix);
    if (row->id > newer_than && tcamv6_prefix_handle_attach(instance(), &record, row->id) != TM_OK) {
      fail("a handle cannot be attached");
    }
  }
}

/* ---- moves */

/* What the batch moved to make room has another result now. Such a row changes in hardware like any other, since the
 * update list is built from the whole table; a host that keeps results elsewhere too finds its own row by the handle.
 * Here the hardware must still hold what the library says the row had. */
static void take_moves(void) {
  const zel_v6comp_move *moves;
  uint32_t n = 0;
  if (zel_v6comp_moves(0, 0, &moves, &n) != 0) {
    fail("the moves cannot be asked for");
  }
  for (uint32_t i = 0; i < n; ++i) {
    host_prefix prefix = {.length = moves[i].length};
    memcpy(prefix.address, moves[i].address, sizeof prefix.address);
    const host_row *row = host_find(&table, &prefix);
    if (row != NULL && row->id != moves[i].reference) {
      fail("a move names another prefix");
    }
    const host_slot *slot = host_hardware_slot(&hardware, &prefix);
    if (slot == NULL) {
      fail("a prefix has moved that is not in hardware");
    }
    bool seen = false; /* a prefix that moves twice starts its second move from where the first one ended */
    for (uint32_t k = 0; k < i; ++k) {
      seen = seen || (moves[k].length == moves[i].length && memcmp(moves[k].address, moves[i].address, 16) == 0);
    }
    if (!seen && memcmp(slot->result, moves[i].old_address, sizeof slot->result) != 0) {
      fail("a prefix has moved from somewhere else");
    }
  }
  n_moved += n;
}

/* ---- hardware */

static void program_hardware(void) {
  static tcamv6_prefix prefixes[HOST_MAX_ROWS];
  static tcamv6_cmpr_pref codes[HOST_MAX_ROWS];
  static tcamv6_cmpr_addr results[HOST_MAX_ROWS];
  static host_wanted wanted[HOST_MAX_ROWS];
  uint32_t n = 0;
  uint32_t n_rows = 0;
  if (tcamv6_dump_n_prefixes(instance(), &n) != TM_OK || n > HOST_MAX_ROWS ||
      tcamv6_dump_cmpr_tbl(instance(), (int32_t)n, prefixes, codes, results, &n_rows) != TM_OK) {
    fail("the table cannot be dumped");
  }
  for (uint32_t i = 0; i < n_rows; ++i) {
    host_prefix whole = {.length = 128};
    memcpy(whole.address, prefixes[i].address, sizeof whole.address);
    wanted[i].prefix = host_cut(&whole, prefixes[i].length); /* bits beyond the length are not always 0 */
    wanted[i].result = results[i];
  }
  if (!host_program(&hardware, wanted, n_rows)) {
    fail("the hardware cannot be programmed");
  }
}

/* ---- checks */

static bool answers_as(const uint8_t address[16], const host_prefix *expected) {
  const tcamv6_prefix record = record_of(expected);
  tcamv6_cmpr_pref code;
  tcamv6_cmpr_addr result;
  const host_slot *slot = host_hardware_match(&hardware, address);
  return tcamv6_lookup_prefix(instance(), &record, &code, &result) == TM_OK && slot != NULL &&
         host_same_prefix(&slot->prefix, expected) && memcmp(slot->result, result.bytes, sizeof slot->result) == 0;
}

static void check_row(const host_row *row) {
  const tcamv6_prefix record = record_of(&row->prefix);
  uint32_t handle = 0;
  if (tcamv6_prefix_handle_query(instance(), &record, &handle) != TM_OK || handle != row->id) {
    fail("a prefix has lost its handle");
  }
  uint8_t last[16];
  memcpy(last, row->prefix.address, sizeof last);
  for (int i = row->prefix.length; i < 128; ++i) {
    last[i / 8] = (uint8_t)(last[i / 8] | 1 << (7 - i % 8));
  }
  const uint8_t *edges[2] = {row->prefix.address, last};
  for (int i = 0; i < 2; ++i) {
    if (!answers_as(edges[i], &host_longest_match(&table, edges[i])->prefix)) {
      fail("the hardware answers for another prefix");
    }
  }
}

static void check_all(void) {
  static const host_prefix everything;
  const bool has_default = host_find(&table, &everything) != NULL;
  for (uint32_t i = 0; i < table.n_rows; ++i) {
    check_row(&table.rows[i]);
  }
  /* ::/0 is in hardware in any case: the library stores it. */
  if (host_count_used(&hardware) != table.n_rows + (has_default ? 0 : 1)) {
    fail("the hardware holds other rows than the table");
  }
}

/* ---- */

static void take_batch(void) {
  const uint32_t newest = table.last_id;
  const bool accepted = send_batch();
  n_records = 0;
  for (uint32_t i = 0; i < batch.n_changes; ++i) {
    if (!host_apply(&table, &batch.changes[i])) {
      fail("the history does not fit the table");
    }
  }
  if (accepted) {
    take_moves();
  } else { /* 64 bits do not suffice, or memory: what is left is to try with the whole table */
    ++n_refused;
    compress_table();
  }
  attach_handles(accepted ? newest : 0);
  program_hardware();
  check_all();
}

static FILE *open_file(const char *path) {
  FILE *file = fopen(path, "r");
  if (file == NULL) {
    perror(path);
    exit(2);
  }
  return file;
}

int main(int argc, char **argv) {
  if (argc != 3) {
    fprintf(stderr, "usage: reference_host TABLE HISTORY\n");
    return 2;
  }
  FILE *table_file = open_file(argv[1]);
  FILE *history_file = open_file(argv[2]);
  if (!host_read_table(table_file, &table)) {
    fprintf(stderr, "%s: not a table\n", argv[1]);
    return 2;
  }
  fclose(table_file);
  for (int i = 0; i < 8; ++i) {
    if (raw_blk[i].enabled != 0) {
      raw_blk[i].n_elems = 1 << 20; /* pools of the default size are for a few thousand long prefixes */
    }
  }
  if (zel_v6comp_init_global_state(TCAMV6_MAX_INSTANCES, TCAMV6_MAX_PROCESSORS) != 0) {
    fail("the library does not start");
  }
  zel_v6comp_dbg_error_set(0); /* refusals are expected */
  zel_v6comp_set_room(1);
  compress_table();
  attach_handles(0);
  program_hardware();
  check_all();
  const uint32_t first_writes = hardware.writes;
  while (host_read_batch(history_file, &batch)) {
    ++n_batches;
    take_batch();
  }
  fclose(history_file);
  printf(
      "%u batches, %u refused, %u rows moved; %u writes for the first table, %u since; hardware equals the table: %u "
      "prefixes\n",
      (unsigned)n_batches, (unsigned)n_refused, (unsigned)n_moved, (unsigned)first_writes,
      (unsigned)(hardware.writes - first_writes), (unsigned)table.n_rows);
  return 0;
}
