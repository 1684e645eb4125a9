/* SPDX-License-Identifier: Apache-2.0 */
/* zel_v6comp_plan.h - writes without a table: from one dump to another, and into a first-match TCAM.
 *
 * A table (zel_v6comp_table.h) says the writes of each change itself. Two things are left to plan:
 *
 *   zel_v6comp_table_diff    hardware holds other rows than the table: after a restart of the host, say
 *   zel_v6comp_slots_...     stage 1 is a TCAM whose FIRST matching slot wins, so that rows have positions
 *
 * Neither needs an open table, nor the library to be started. Calls on different objects may run at the same time.
 */
#ifndef ZEL_V6COMP_PLAN_H
#define ZEL_V6COMP_PLAN_H

#include "zel_v6comp_table.h"

TM_API_BEGIN

/** Plan the writes from the rows that hardware holds to others, as safe as those of a change.
 *  @param old_rows  n_old rows in any order, as zel_v6comp_table_rows gave them; may be null when n_old is 0
 *  @param new_rows  n_new rows, likewise
 *  @param outcome   out: as of an apply that leads from the old rows to the new ones. Its writes are the caller's: give
 *                   them back with zel_v6comp_table_free_writes. Refused: record is the index of a row at fault,
 *                   counted through the old rows and then the new ones
 *  @return OK, E_NULL, E_LENGTH, E_HOST_BITS, E_COUNT, E_SIZE, E_ROW, E_MEMORY
 *  Cost: O(n log n) in time, about 150 bytes a row while it runs. Allocates. */
TM_API int32_t zel_v6comp_table_diff(const zel_v6comp_table_row *old_rows, size_t n_old,
                                     const zel_v6comp_table_row *new_rows, size_t n_new,
                                     zel_v6comp_table_outcome *outcome);

/** Give back the writes of zel_v6comp_table_diff, and of no other call.
 *  @param writes  null is allowed
 *  Cost: constant. Does not allocate. */
TM_API void zel_v6comp_table_free_writes(const zel_v6comp_table_write *writes);

/** A first-match TCAM: which row stands in which slot. Only its address means anything.
 *
 * Of the slots that match an address the FIRST one wins, so every row must stand ahead of the shorter ones around it;
 * rows that do not overlap may stand in any order. The slots know where the rows are, and find room for new ones:
 *
 *   zel_v6comp_slots_open(n, &slots)
 *   zel_v6comp_table_apply(table, ..., &outcome)
 *   zel_v6comp_slots_follow(slots, outcome.writes, outcome.n_writes, &steps)
 *   for each write w of the outcome, in their order:
 *     a code: program stage 2; a key: program the steps of this write (step.write == w) instead
 */
typedef struct zel_v6comp_slots zel_v6comp_slots;

/** What a step does. */
enum zel_v6comp_slot_kind {
  ZEL_V6COMP_SLOT_WRITE = 1, /* prefix and key go into the slot, over what is there */
  ZEL_V6COMP_SLOT_MOVE = 2,  /* likewise; the same entry stands in `from`, and the next step writes over it there */
  ZEL_V6COMP_SLOT_CLEAR = 3  /* the slot matches nothing any more */
};

/** One write to one slot. */
typedef struct zel_v6comp_slot_step {
  uint8_t address[16]; /* of the row; bits beyond length are 0 */
  uint64_t key;        /* WRITE, MOVE: what the slot answers from now on; else 0 */
  uint32_t slot;       /* the slot to write */
  uint32_t from;       /* MOVE: where the entry stands until now; else 0 */
  uint32_t write;      /* the index of the table's write that needs the step */
  uint8_t length;      /* 0..128 */
  uint8_t kind;        /* ZEL_V6COMP_SLOT_WRITE ... */
  uint8_t early;       /* CLEAR: 1 = before its time, because no slot was free; addresses may miss it for a while */
  uint8_t reserved;
} zel_v6comp_slot_step;

/** What following writes takes. Begin with ZEL_V6COMP_SLOT_STEPS_INIT. */
typedef struct zel_v6comp_slot_steps {
  size_t struct_size;               /* bytes of this record */
  const zel_v6comp_slot_step *list; /* in the order to follow. The slots', until the next call that follows writes */
  size_t n;                         /* of list */
  uint32_t moves;                   /* of the steps: MOVE */
  uint32_t early;      /* of the steps: CLEAR before its time; 0 when there are slots for old and new rows together */
  uint32_t peak_slots; /* most rows at a time */
  uint32_t reserved;
} zel_v6comp_slot_steps;

/** What such a record begins as. */
#define ZEL_V6COMP_SLOT_STEPS_INIT \
  { sizeof(zel_v6comp_slot_steps), NULL, 0, 0, 0, 0, 0 }

enum { ZEL_V6COMP_MAX_SLOTS = 16777216 };

/** Empty slots.
 *  @param n      1..ZEL_V6COMP_MAX_SLOTS
 *  @param slots  out: the handle; null when refused. Give it back with zel_v6comp_slots_close
 *  @return OK, E_NULL, E_COUNT, E_MEMORY. Cost: about 130 bytes a slot, memory as it is used. Allocates. */
TM_API int32_t zel_v6comp_slots_open(uint32_t n, zel_v6comp_slots **slots);

/** Close the slots and release what they hold.
 *  @param slots  null is allowed
 *  Cost: constant. Does not allocate. */
TM_API void zel_v6comp_slots_close(zel_v6comp_slots *slots);

/** Find slots for what writes bring, and free those of what they take away: all of the writes, or none.
 *  @param writes  of a table or of zel_v6comp_table_diff, all since the slots were opened, in their order; those that
 *                 concern codes need not be among them
 *  @param steps   out; zeros when refused
 *  @return OK, E_NULL, E_SIZE, E_COUNT, E_LENGTH, E_HOST_BITS, E_MEMORY
 *          E_OPERATION  a row comes that is there, or one changes or goes that is not: the writes are not this table's
 *          E_ROOM       more rows than slots; in one call for several changes also when rows that come and go again
 *                       take the last slots on the way: follow each change by a call of its own
 *  Cost: O(log n) for each write and each of its moves; a row inside k others moves at most k of them, nearly always
 *  none while an eighth of the slots is free. Allocates. */
TM_API int32_t zel_v6comp_slots_follow(zel_v6comp_slots *slots, const zel_v6comp_table_write *writes, size_t n,
                                       zel_v6comp_slot_steps *steps);

/** The slot of a row.
 *  @param slot  written when the row is there
 *  @return 1 there, 0 not, E_NULL, E_LENGTH, E_HOST_BITS. Only reads
 *  Cost: O(length). Does not allocate. */
TM_API int32_t zel_v6comp_slots_find(const zel_v6comp_slots *slots, const uint8_t address[16], uint32_t length,
                                     uint32_t *slot);

TM_API_END

/* The layouts are part of the binary interface. */
TM_ASSERT_SIZE(zel_v6comp_slot_step, 40);
TM_ASSERT_OFFSET(zel_v6comp_slot_step, slot, 24);
TM_ASSERT_OFFSET(zel_v6comp_slot_step, kind, 37);
TM_ASSERT_SIZE(zel_v6comp_slot_steps, 40);
TM_ASSERT_OFFSET(zel_v6comp_slot_steps, moves, 24);

#endif
