// SPDX-License-Identifier: Apache-2.0
/* tm_incr_update.h - planning of hardware updates.
 *
 * The caller keeps an update list: one slot per hardware entry that is, or is about to be, programmed, with
 * its pending state. Used slots are ordered longest prefix first. Life of a list:
 *
 *   build (marks deletes and updates, appends inserts)
 *     -> find a run of one state -> program it -> clear its pending state -> ... -> reorder -> build
 *
 * A slot goes Insert -> In HW -> Update -> In HW -> Delete -> Invalid. An Insert that was never confirmed is
 * dropped by the next build, and a Delete that was never confirmed counts as still in hardware.
 *
 * No operation reads or writes outside the list's 1,024,080 bytes, whatever its contents. Slot counts above
 * 32,000 count as 32,000. Lengths are compared as they are, also above 128; of a key at most 128 bits are read. A
 * null list does nothing; the operations that return int32_t answer -22 then, the uint32_t one 0. Nothing is printed.
 */
#ifndef TM_INCR_UPDATE_H
#define TM_INCR_UPDATE_H

#include "tm_prefix.h"

TM_API_BEGIN

enum { TM_INCR_SLOTS = 32000 };

enum {
  TM_INCR_INVALID = 0, /* free slot */
  TM_INCR_IN_HW = 1,   /* programmed, nothing pending */
  TM_INCR_DELETE = 2,  /* to be removed from hardware */
  TM_INCR_INSERT = 3,  /* to be written to hardware */
  TM_INCR_UPDATE = 4   /* programmed; its compressed address changed */
};

/** A slot: one hardware entry. */
typedef struct tm_incr_update_entry {
  uint8_t prefix[16];   /* most significant byte first */
  uint8_t length;       /* bits */
  uint8_t cmpr_addr[8]; /* first bytes of the compressed address; 7 are compared, updated and printed */
  uint8_t reserved[3];
  uint32_t state; /* TM_INCR_* */
} tm_incr_update_entry;

/** The caller-owned region. */
typedef struct tm_incr_update_list {
  uint8_t header[72];                          /* the caller's; not read or written here */
  tm_incr_update_entry entries[TM_INCR_SLOTS]; /* used ones first */
  uint32_t count;                              /* slots in use, from slot 0 */
  uint32_t n_insert;                           /* Insert slots that the last build appended after them */
} tm_incr_update_list;

TM_ASSERT_SIZE(tm_incr_update_entry, 32);
TM_ASSERT_OFFSET(tm_incr_update_entry, length, 16);
TM_ASSERT_OFFSET(tm_incr_update_entry, cmpr_addr, 17);
TM_ASSERT_OFFSET(tm_incr_update_entry, state, 28);
TM_ASSERT_SIZE(tm_incr_update_list, 1024080);
TM_ASSERT_OFFSET(tm_incr_update_list, entries, 72);
TM_ASSERT_OFFSET(tm_incr_update_list, count, 1024072);
TM_ASSERT_OFFSET(tm_incr_update_list, n_insert, 1024076);

/** Compare the list with a table, and plan. A slot and a record are equal when they compare equal under
 *  tm_cmp_v6_pref, whose partial-byte rule can match different prefixes.
 *  First the list is checked (see ..._initial); then used slots that equal no record become Delete; used slots
 *  that equal a record whose compressed address differs in its first 7 bytes take it over and become Update;
 *  records that equal no used slot are appended after them as Insert (equal records each on their own).
 *  Records beyond slot 32,000 are dropped and reported under the error word. Prints the list under result_hw.
 *  @param prefixes     n records of 40 bytes, of which length and address are used
 *  @param ignored      not used
 *  @param cmpr_addrs   n addresses, parallel to prefixes
 *  @param expected     used slots that the caller expects
 *  @param corrupted    1 = the list held another number and was reset to the single entry ::/0, else 0
 *  @param force_update non-zero: every slot that equals a record becomes Update
 *  @return 0; -22 list or corrupted is null, or an array is null while n is not 0.
 *  Cost: that of sorting slots and records; with no memory for an index, slots x records. Allocates the index and
 *  what sorting needs, for the time of the call. */
TM_API int32_t tm_build_incremental_update_prefixes_list(tm_incr_update_list *list, const tcamv6_prefix *prefixes,
                                                         const void *ignored, const tcamv6_cmpr_addr *cmpr_addrs,
                                                         uint32_t n, uint32_t expected, uint32_t *corrupted,
                                                         uint32_t force_update);

/** Check a list before a build: Insert slots are dropped, Delete slots revert to In HW, used slots are packed,
 *  sorted and counted. When their number is not the expected one, the list is reset to one slot, ::/0 In HW.
 *  @param corrupted   1 = reset, else 0
 *  Cost: O(slots log slots) where slots are out of order, else O(slots). Allocates what sorting needs, for the time
 *  of the call. */
TM_API void tm_prepare_incremental_update_prefixes_list_initial(tm_incr_update_list *list, uint32_t expected,
                                                                uint32_t *corrupted);

/** Find the first run of slots in one state, from a slot on.
 *  @param first, last, found   the run (found = 1); without one: found = 0, first = 0, last = the last slot
 *                              looked at, which wraps to 0xFFFFFFFF before slot 0
 *  @param limit                longest run wanted; a run has at least one slot once found, even for 0
 *  @return 0; -22 a pointer is null
 *  Cost: O(slots looked at). Does not allocate. */
TM_API int32_t tm_build_incremental_update_hw_requests_find_entries(tm_incr_update_list *list, uint32_t first_index,
                                                                    uint32_t *first, uint32_t *last, uint32_t *found,
                                                                    uint32_t state, uint32_t limit);

/** Confirm up to n slots of one state from slot `first` on: Insert and Update become In HW, Delete Invalid.
 *  @return 0; -22 first + n exceeds the list's count, or list is null
 *  Cost: O(slots behind the first). Does not allocate. */
TM_API int32_t tm_clear_pending_state(tm_incr_update_list *list, uint32_t first, uint32_t n, uint32_t state);

/** Reorder after a plan was programmed: used slots first, longest prefix first.
 *  @param n_freed, n_added   slots that became free and that were added
 *  @param keep_count         0 = count += n_freed + n_added before sorting; n_freed is taken off after it
 *  @return the position that the sort of equal lengths reached
 *  Cost: O(slots log slots) where slots are out of order, else O(slots). Allocates what sorting needs, for the time
 *  of the call. */
TM_API uint32_t tm_prepare_incremental_update_prefixes_list_for_insert_and_update(tm_incr_update_list *list,
                                                                                  uint32_t n_freed, uint32_t n_added,
                                                                                  int32_t keep_count);

/** Print the list under the result_hw word.
 *  @return 0; -22 list is null
 *  Cost: a line for each slot that is shown; constant when the word is off. Does not allocate. */
TM_API int32_t tm_show_incremental_update_prefixes(tm_incr_update_list *list);

/** Orders of 32-byte slots, for qsort: longer prefixes first; used before free; by tm_cmp_v6_pref. All
 *  three: (of b) - (of a), lengths as they are; -22 a pointer is null.
 *  Cost: constant. Does not allocate.
 *  @{ */
TM_API int tm_prepare_incremental_update_prefixes_list_cmp_prefix_length_f(const void *a, const void *b);
TM_API int tm_prepare_incremental_update_prefixes_list_cmp_state_f(const void *a, const void *b);
TM_API int tm_prepare_incremental_update_prefixes_list_cmp_prefix_f(const void *a, const void *b);
/** @} */

TM_API_END

#endif
