// SPDX-License-Identifier: Apache-2.0
// The library's statistics tell what is in use now, not the most that ever was. A host may define the pool calls
// itself; this one defines them to count, and passes each call on to the definition that it hides.
#include "pool_counters.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <deque>

#include "zel_platform.h"

namespace {

struct counted_pool {
  const char *name;
  void *handle;  // of the hidden definition
  uint64_t out = 0;
  uint64_t peak = 0;
};

std::deque<counted_pool> pools;  // elements stay where they are

template <class Function>
Function *hidden_definition(const char *name) {
  void *found = dlsym(RTLD_NEXT, name);
  if (found == nullptr) {
    std::fprintf(stderr, "v6comp: the library brings no %s\n", name);
    std::abort();
  }
  return reinterpret_cast<Function *>(found);
}

}  // namespace

extern "C" {

void *zel_chunk_create(const char *name, size_t elem_size, size_t n_elems, int fixed_1, int fixed_4, int fixed_0) {
  static auto *const next = hidden_definition<decltype(zel_chunk_create)>("zel_chunk_create");
  void *handle = next(name, elem_size, n_elems, fixed_1, fixed_4, fixed_0);
  return handle == nullptr ? nullptr : &pools.emplace_back(counted_pool{name, handle});
}

void *chunk_malloc(void *handle) {
  static auto *const next = hidden_definition<decltype(chunk_malloc)>("chunk_malloc");
  auto *pool = static_cast<counted_pool *>(handle);
  void *element = next(pool->handle);
  if (element != nullptr && ++pool->out > pool->peak) {
    pool->peak = pool->out;
  }
  return element;
}

void chunk_free(void *handle, void *element) {
  static auto *const next = hidden_definition<decltype(chunk_free)>("chunk_free");
  auto *pool = static_cast<counted_pool *>(handle);
  --pool->out;
  next(pool->handle, element);
}

}  // extern "C"

namespace v6tool {

uint64_t pool_peak(const std::string &name) {
  uint64_t peak = 0;
  for (const counted_pool &pool : pools) {
    peak = name == pool.name ? pool.peak : peak;
  }
  return peak;
}

void forget_pool_peaks() {
  for (counted_pool &pool : pools) {
    pool.peak = pool.out;
  }
}

}  // namespace v6tool
