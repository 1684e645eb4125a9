// SPDX-License-Identifier: Apache-2.0
// tcamv6_order.cpp - outside in.
//
// A working list has its longest records first. Applied so, an addition comes before the shorter ones around it:
//
//     +2001:db8:1:2::/64, then its anchor +2001:db8:1::/48        the /64 is placed anywhere below the /32;
//                                                                 the /48 must then be squeezed in above it
//
// Outside in, the /48 finds its place first and the /64 one below it: a prefix comes above stored ones only where the
// table had nothing in between before the request. Deletes come before all additions and make room for them. They keep
// the list's order, longest first: a prefix that goes has none below it, that the request takes too, any more.
#include "tcamv6_order.h"

#include <string.h>

namespace {

bool is_add(const tcamv6_prefix *record) { return (record->flags_tag & TM_PREFIX_FLAG_ADD) != 0; }

// Prefixes that share a length and all whole bytes stand side by side in a list, but in the order of the low bits of
// their last, partial byte (tm_cmp_v6_pref): records of one of them may be apart, and those that compare equal may be
// of two. They differ in the partial byte's first bits, at most 7: a mark for each will do.
struct byte_marks {
  uint64_t words[2];
};

bool test_and_set(const byte_marks *has, byte_marks *sets, uint32_t value) {
  sets->words[value / 64] |= uint64_t{1} << value % 64;
  return (has->words[value / 64] >> value % 64 & 1) != 0;
}

// The bits of a prefix in its partial byte; 0 where it has none.
uint32_t partial_bits(const tcamv6_prefix *record) {
  const uint32_t n = record->length % 8u;
  return n == 0 ? 0 : uint32_t{record->address[record->length / 8]} >> (8 - n);
}

bool share_whole_bytes(const tcamv6_prefix *a, const tcamv6_prefix *b) {
  return a->length == b->length && memcmp(a->address, b->address, a->length / 8u) == 0;
}

// Does the list both add and delete one of the caller's prefixes? Anchors do not count: those of what goes and of what
// comes are mostly the same.
bool has_opposites(const tcamv6_prefix *records, uint32_t count) {
  byte_marks added = {};
  byte_marks deleted = {};
  for (uint32_t i = 0; i < count; ++i) {
    if (i > 0 && !share_whole_bytes(&records[i - 1], &records[i])) {
      added = {};
      deleted = {};
    }
    if (tm_prefix_is_anchor(&records[i])) {
      continue;
    }
    const bool adds = is_add(&records[i]);
    if (test_and_set(adds ? &deleted : &added, adds ? &added : &deleted, partial_bits(&records[i]))) {
      return true;
    }
  }
  return false;
}

uint32_t begin_of_length(const tcamv6_order *order, uint32_t end) {
  uint32_t begin = end;
  while (begin > 0 && order->records[begin - 1].length == order->records[end - 1].length) {
    --begin;
  }
  return begin;
}

// Go to the records of one length that end before `end`. Additions of a length keep the list's order.
void enter_length(tcamv6_order *order, uint32_t end) {
  order->end = end;
  order->next = begin_of_length(order, end);
}

bool step_deletes(tcamv6_order *order, uint32_t *at) {
  while (order->next < order->count) {
    *at = order->next++;
    if (!is_add(&order->records[*at])) {
      return true;
    }
  }
  order->adding = true;
  enter_length(order, order->count);
  return false;
}

bool step_additions(tcamv6_order *order, uint32_t *at) {
  while (order->end > 0) {
    while (order->next < order->end) {
      *at = order->next++;
      if (is_add(&order->records[*at])) {
        return true;
      }
    }
    enter_length(order, begin_of_length(order, order->end));
  }
  return false;
}

}  // namespace

tcamv6_order tcamv6_order_of(const tcamv6_update_rules *rules, const tcamv6_prefix *records, uint32_t count) {
  return {records, count, rules->room && count > 0 && !has_opposites(records, count), false, 0, 0};
}

bool tcamv6_order_step(tcamv6_order *order, uint32_t *at) {
  if (order->outside_in) {
    return (!order->adding && step_deletes(order, at)) || step_additions(order, at);
  }
  if (order->next == order->count) {
    return false;
  }
  *at = order->next++;
  return true;
}
