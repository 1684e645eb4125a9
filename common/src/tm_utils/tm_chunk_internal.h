// SPDX-License-Identifier: Apache-2.0
// tm_chunk_internal.h - what the library itself does with pools: typed access, abandoned elements.
#ifndef TM_CHUNK_INTERNAL_H
#define TM_CHUNK_INTERNAL_H

#include "tm_chunk.h"

// The statistics that the allocator counts in; null before initialisation.
tm_chunk_info *tm_chunk_info_base(void);

// Print the statistics of all eight types under the stats word, headed by a label.
void tm_chunk_log_statistics(const char *label);

// Keep an element that nothing refers to any more, still counted as allocated, until
// tm_chunk_release_abandoned gives it back. Its contents are overwritten; needs no memory. During a
// journalled batch nothing is kept: the journal itself remembers what was taken.
void tm_chunk_abandon(uint32_t type, void *element);

// Give back everything that was abandoned.
void tm_chunk_release_abandoned(void);

// Forget what was abandoned: its pools are gone.
void tm_chunk_forget_abandoned(void);

// Typed access to an element by its handle. Handles equal addresses; the exported functions remain the
// one place that says so.
template <class T>
inline T *tm_ptr(tm_chunk_idx idx) {
  return reinterpret_cast<T *>(static_cast<uintptr_t>(idx));
}

inline tm_chunk_idx tm_idx(const void *ptr) { return static_cast<tm_chunk_idx>(reinterpret_cast<uintptr_t>(ptr)); }

#endif
