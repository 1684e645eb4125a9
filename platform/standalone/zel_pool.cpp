// SPDX-License-Identifier: Apache-2.0
// Pools of the stand-alone host.
//
// A pool is one reservation of address space: a header, then the elements side by side. The system gives
// memory to a page when it is first written, so a pool for millions of elements costs nothing until they
// are used.
//
//   [ header | used used free used | never handed out ............ ]
//              ^elements             ^fresh                         ^end
//
// Elements that came back form a list through their own first eight bytes, last in first out: the next one
// taken is the one most likely still in the cache. Only when the list is empty does `fresh` move, so a new
// pool hands out ascending addresses. When the last element comes back the pool is new again: a table that is
// released and built anew gets its nodes in walk order each time, where the list would scatter them more with
// every round (a fourth compression took twice the time of the first). Taking and giving back are a few
// instructions, never a heap call.
#include <sys/mman.h>

#include <cstdint>
#include <cstring>

#include "zel_standalone.h"

// Under AddressSanitizer a free element is off limits, and so is giving one back twice.
#if defined(__SANITIZE_ADDRESS__)
#define ZEL_POOL_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ZEL_POOL_ASAN 1
#endif
#endif
#ifdef ZEL_POOL_ASAN
#include <sanitizer/asan_interface.h>
#define ZEL_POOL_FORBID(at, size) ASAN_POISON_MEMORY_REGION(at, size)
#define ZEL_POOL_ALLOW(at, size) ASAN_UNPOISON_MEMORY_REGION(at, size)
#else
#define ZEL_POOL_FORBID(at, size) static_cast<void>(0)
#define ZEL_POOL_ALLOW(at, size) static_cast<void>(0)
#endif

namespace {

constexpr size_t element_alignment = 8;

struct pool {
  const char *name;
  size_t elem_size;
  unsigned char *elements;
  unsigned char *fresh;
  unsigned char *end;
  void *free_list;
  size_t in_use;
};

constexpr size_t header_size = 64;  // a cache line: elements start on one
static_assert(sizeof(pool) <= header_size);

bool is_element(const pool *p, const void *element) {
  const auto at = reinterpret_cast<uintptr_t>(element);
  const auto first = reinterpret_cast<uintptr_t>(p->elements);
  return at >= first && at < reinterpret_cast<uintptr_t>(p->fresh) && (at - first) % p->elem_size == 0;
}

}  // namespace

extern "C" {

ZEL_STANDALONE void *zel_chunk_create(const char *name, size_t elem_size, size_t n_elems, int /*fixed_1*/,
                                      int /*fixed_4*/, int /*fixed_0*/) {
  size_t stride = 0;
  size_t bytes = 0;
  if (elem_size == 0 || __builtin_add_overflow(elem_size, element_alignment - 1, &stride)) {
    return nullptr;
  }
  stride -= stride % element_alignment;
  if (__builtin_mul_overflow(stride, n_elems, &bytes) || __builtin_add_overflow(bytes, header_size, &bytes)) {
    return nullptr;
  }
  void *area = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (area == MAP_FAILED) {
    return nullptr;
  }
  pool *p = static_cast<pool *>(area);
  p->name = name;
  p->elem_size = stride;
  p->elements = static_cast<unsigned char *>(area) + header_size;
  p->fresh = p->elements;
  p->end = static_cast<unsigned char *>(area) + bytes;
  p->free_list = nullptr;
  p->in_use = 0;
  return p;
}

ZEL_STANDALONE void *chunk_malloc(void *handle) {
  pool *p = static_cast<pool *>(handle);
  if (p->free_list != nullptr) {
    void *element = p->free_list;
    ZEL_POOL_ALLOW(element, p->elem_size);
    std::memcpy(&p->free_list, element, sizeof p->free_list);
    ++p->in_use;
    return element;
  }
  if (p->fresh == p->end) {
    return nullptr;
  }
  void *element = p->fresh;
  ZEL_POOL_ALLOW(element, p->elem_size);
  p->fresh += p->elem_size;
  ++p->in_use;
  return element;
}

ZEL_STANDALONE void chunk_free(void *handle, void *element) {
  constexpr const char *function = "chunk_free";
  pool *p = static_cast<pool *>(handle);
  if (!is_element(p, element)) {
    zel_fatal("\n%s: %p is no element of pool %s", function, element, p->name);
  }
  std::memcpy(element, &p->free_list, sizeof p->free_list);
  p->free_list = element;
  ZEL_POOL_FORBID(element, p->elem_size);
  if (--p->in_use == 0) {
    p->fresh = p->elements;
    p->free_list = nullptr;
  }
}

}  // extern "C"
