// SPDX-License-Identifier: Apache-2.0
// tm_memory.h - releasing heap memory that may never have been had.
#ifndef TM_MEMORY_H
#define TM_MEMORY_H

#include "zel_platform.h"

inline void tm_free(void *ptr) {
  if (ptr != nullptr) {
    zel_free_named(ptr);
  }
}

#endif
