// SPDX-License-Identifier: Apache-2.0
/* The smallest host: a table of two prefixes, what has to be written to hardware, and the answer for an address. */
#include <inttypes.h>
#include <stdio.h>

#include "zel_v6comp_table.h"

int main(void) {
  static const zel_v6comp_table_prefix prefixes[2] = {
      {.address = {0x20, 0x01, 0x0d, 0xb8}, .length = 32, .word = 1},
      {.address = {0x20, 0x01, 0x0d, 0xb8, 0, 1}, .length = 48, .word = 2}};
  static const uint8_t packet[16] = {0x20, 0x01, 0x0d, 0xb8, 0, 1, [15] = 0x77};
  zel_v6comp_table *table;
  zel_v6comp_table_outcome outcome = ZEL_V6COMP_TABLE_OUTCOME_INIT;
  zel_v6comp_table_row row;
  if (zel_v6comp_table_open(0, 0, NULL, &table) != ZEL_V6COMP_TABLE_OK ||
      zel_v6comp_table_load(table, prefixes, 2, &outcome) != ZEL_V6COMP_TABLE_OK ||
      zel_v6comp_table_lookup(table, packet, &row) != 1) {
    return 1;
  }
  printf("%zu writes; 2001:db8:1::77 is in prefix %" PRIu32 ", whose code has %u bits: its key is 0x%016" PRIx64 "\n",
         outcome.n_writes, row.word, (unsigned)row.code_length, row.key);
  return zel_v6comp_table_close(table) == ZEL_V6COMP_TABLE_OK ? 0 : 1;
}
