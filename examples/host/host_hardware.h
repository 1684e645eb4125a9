// SPDX-License-Identifier: Apache-2.0
/* host_hardware.h - a model of hardware in two stages, as a driver would keep it.
 *
 * Stage 1 answers an address with the key of the longest prefix that covers it. Stage 2 holds a rule on every prefix of
 * the table, once for each of its codes, and matches the key; of the rules that match, the longest prefix wins. */
#ifndef HOST_HARDWARE_H
#define HOST_HARDWARE_H

#include <stdbool.h>

#include "zel_v6comp_table.h"

enum { HOST_ENTRIES = 1 << 17 };

typedef struct host_stage {
  zel_v6comp_table_write entries[HOST_ENTRIES]; /* each is the write that put it there */
  size_t n;
} host_stage;

typedef struct host_hardware {
  host_stage keys;
  host_stage codes;
} host_hardware;

/* Follow one write. False: the entry that it concerns is there already, or is not, or the stage is full. */
bool host_write(host_hardware *hardware, const zel_v6comp_table_write *write);

/* The rule that an address matches in the end, or null. */
const zel_v6comp_table_write *host_match(const host_hardware *hardware, const uint8_t address[16]);

#endif
