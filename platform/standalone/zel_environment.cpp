// SPDX-License-Identifier: Apache-2.0
// The rest of what the stand-alone host provides: environment, memory fill, error texts, debug switch.
#include <cstdlib>
#include <cstring>

#include "zel_standalone.h"

namespace {

void (*debug_all_callback)(int32_t on) = nullptr;

}  // namespace

void zel_standalone_debug_all(int32_t on) {
  if (debug_all_callback != nullptr) {
    debug_all_callback(on);
  }
}

extern "C" {

ZEL_STANDALONE const char *zel_getenv(const char *name) { return std::getenv(name); }

ZEL_STANDALONE void *zel_memset(void *dst, int value, size_t n) { return std::memset(dst, value, n); }

// One listener is enough: a second registration, as of a second start of the library, replaces the first.
ZEL_STANDALONE void zel_debug_all_register_cb(void (*callback)(int32_t on)) { debug_all_callback = callback; }

ZEL_STANDALONE const char *cerr_strerror(int32_t error) {
  // The smallest number has no positive counterpart; no error has it.
  const bool negatable = error != INT32_MIN;
  return std::strerror(error < 0 && negatable ? -error : error);
}

}  // extern "C"
