// SPDX-License-Identifier: Apache-2.0
// tcamv6_order.h - the order in which a batch applies its records.
#ifndef TCAMV6_ORDER_H
#define TCAMV6_ORDER_H

#include "tcamv6_rules.h"
#include "tm_prefix_internal.h"

// A walk over the records of a working list. Results stay at the records' own places, whatever the order.
struct tcamv6_order {
  const tcamv6_prefix *records;
  uint32_t count;
  bool outside_in;  // deletes, then additions, shortest first; else as listed
  bool adding;      // outside in: the deletes are done
  uint32_t next;    // record to look at next
  uint32_t end;     // outside in, adding: end of the records of this length
};

// Begin a walk. In room mode it goes outside in, unless the request both adds and deletes a prefix: then the records
// are applied as they are listed, for which of them comes first decides what is stored in the end.
tcamv6_order tcamv6_order_of(const tcamv6_update_rules *rules, const tcamv6_prefix *records, uint32_t count);

// Step to the next record: its index goes to *at. Returns false after the last one.
bool tcamv6_order_step(tcamv6_order *order, uint32_t *at);

#endif
