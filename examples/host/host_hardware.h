// SPDX-License-Identifier: Apache-2.0
/* host_hardware.h - a model of the first-stage table in hardware, and the list that keeps it up to date.
 *
 * The hardware has a slot per prefix: key, length, result. Of the slots that match an address the one with the longest
 * prefix wins, wherever it stands.
 */
#ifndef HOST_HARDWARE_H
#define HOST_HARDWARE_H

#include "host_table.h"

typedef struct host_slot {
  bool used;
  host_prefix prefix;
  uint8_t result[8]; /* the compressed address */
} host_slot;

typedef struct host_hardware {
  host_slot slots[TM_INCR_SLOTS];
  uint32_t n_reached; /* slots from here on were never used */
  uint32_t writes;    /* since the start */
  tm_incr_update_list list;
} host_hardware;

/* One row that the hardware should hold. */
typedef struct host_wanted {
  host_prefix prefix;
  tcamv6_cmpr_addr result;
} host_wanted;

/* Bring the hardware from what it holds to n wanted rows, each of them after all rows inside it. After every single
 * write each address has its old or its new result. False: they do not fit. */
bool host_program(host_hardware *hardware, const host_wanted *wanted, uint32_t n);

/* The slot that answers for an address, null if none does. */
const host_slot *host_hardware_match(const host_hardware *hardware, const uint8_t address[16]);

/* The slot that holds a prefix, null if none does. */
const host_slot *host_hardware_slot(const host_hardware *hardware, const host_prefix *prefix);

uint32_t host_count_used(const host_hardware *hardware);

#endif
