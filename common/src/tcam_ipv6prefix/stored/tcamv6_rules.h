// SPDX-License-Identifier: Apache-2.0
// tcamv6_rules.h - how a request may change a table: the switches of the interface, read in one place.
//
//   compatible   the documented results, byte for byte: a new level can get a key that covers what it does not contain,
//                a refused batch is undone by a batch of the opposite operations, deleting a prefix that is not stored
//                still deletes its anchors, and a deleted prefix can leave a counter to the next one of its key
//   safe         right places only, an exact rollback, counters that begin at 0, and deletes that take no more than was
//                given
//   room         safe; and a batch looks for a place wherever there is one, and moves what stands in its way
//
// A request asks for the rules once, when it begins, and carries them: what an algorithm does never depends on a switch
// that somebody may turn meanwhile.
#ifndef TCAMV6_RULES_H
#define TCAMV6_RULES_H

#include <stdint.h>

struct tcamv6_prefix;

// Who has the last word about a batch that rolls back.
struct tcamv6_batch_judge {
  int32_t (*accept)(void *user);                             // all is applied. Other than 0: the batch fails with it
  void (*refused)(void *user, const tcamv6_prefix *record);  // the batch fails at this record
  void *user;
};

struct tcamv6_update_rules {
  bool right_places;    // a new level gets a key of its own, or is refused
  bool rolls_back;      // a refused batch is rolled back exactly, not replayed backwards
  bool exact_counters;  // a new prefix counts from 0, and a delete takes nothing of its anchors' share
  bool room;            // additions shortest first, at any free place; prefixes in the way are moved
  uint32_t most_moves;  // stored entries that one batch may move
  const tcamv6_batch_judge *judge = nullptr;
  bool reads_keys = true;  // the caller reads codes and addresses from the results; they are looked up for it
  bool nearest = false;    // room: at the nearest free place. For measuring what a place beside the neighbours is worth
};

enum : uint32_t { TCAMV6_NO_MOVE_LIMIT = UINT32_MAX };

// The rules of a request that begins now.
tcamv6_update_rules tcamv6_rules_now(void);

// Let requests go by these rules instead of those of the switches; null = no longer. For callers that have rules of
// their own, around their requests.
void tcamv6_lend_rules(const tcamv6_update_rules *rules);

// The switches, as the interface sets and shows them. Room mode implies safe updates.
void tcamv6_switch_safe_updates(bool on);
void tcamv6_switch_room(bool on);
void tcamv6_limit_moves(uint32_t most);
bool tcamv6_safe_updates_on(void);

#endif
