// SPDX-License-Identifier: Apache-2.0
// The heap of the stand-alone host. The allocation tags serve hosts that account for memory by user; here
// they are not kept.
#include <cstdlib>

#include "zel_standalone.h"

extern "C" {

// The library reads null as "out of memory", so no bytes must not give null: the C library may do either.
ZEL_STANDALONE void *zel_malloc_named(uint32_t /*tag*/, size_t size) { return std::malloc(size != 0 ? size : 1); }

ZEL_STANDALONE void *zel_calloc_named(uint32_t /*tag*/, size_t count, size_t size) {
  size_t bytes = 0;
  if (__builtin_mul_overflow(count, size, &bytes)) {
    return nullptr;
  }
  return std::calloc(bytes != 0 ? bytes : 1, 1);
}

ZEL_STANDALONE void zel_free_named(void *ptr) { std::free(ptr); }

}  // extern "C"
