// SPDX-License-Identifier: Apache-2.0
#include "test_host.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <unordered_map>
#include <utility>

namespace {

constexpr size_t guard_size = 8;

enum class element_state : uint8_t { fresh, used, released };

struct test_pool {
  test_host::pool_view view;
  size_t stride = 0;
  unsigned char *area = nullptr;
  size_t area_size = 0;
  size_t fresh = 0;                   // elements below this index were handed out at least once
  std::vector<element_state> states;  // of those
  std::vector<size_t> free_list;      // last in, first out

  unsigned char *at(size_t index) const { return area + index * stride; }
};

// A countdown to one refusal.
struct refusal {
  uint64_t left = 0;

  bool now() { return left != 0 && --left == 0; }
};

struct host_state {
  std::vector<std::string> log;
  std::vector<std::string> console;
  bool keep_log = true;

  std::unordered_map<void *, size_t> blocks;
  size_t heap_bytes = 0;
  uint64_t heap_granted = 0;
  uint64_t heap_refused = 0;
  uint32_t heap_tag = 0;
  refusal heap_refusal;
  bool heap_closed = false;
  uint64_t heap_callback_in = 0;
  std::function<void()> heap_callback;

  std::vector<std::unique_ptr<test_pool>> pools;
  bool low_pools = false;
  std::string damage;
  refusal element_refusal;
  std::string element_refusal_pool;
  refusal creation_refusal;
  uint64_t elements_granted = 0;

  std::map<std::string, std::string> environment;
  std::vector<std::string> lookups;
  std::vector<test_host::debug_all_callback> callbacks;
};

// Where the machine has no such flag, low pools cannot be had.
#if defined(MAP_32BIT)
constexpr int low_addresses = MAP_32BIT;
#else
constexpr int low_addresses = 0;
#endif

// Never destroyed: the library may print or free while the process ends.
host_state &host() {
  static host_state *state = new host_state;
  return *state;
}

std::string formatted(const char *format, va_list args) {
  va_list again;
  va_copy(again, args);
  const int length = std::vsnprintf(nullptr, 0, format, args);
  std::string text(static_cast<size_t>(length) + 1, '\0');
  std::vsnprintf(text.data(), text.size(), format, again);
  va_end(again);
  text.resize(static_cast<size_t>(length));
  return text;
}

// Blocks that reset() stopped counting but that may still be given back.
std::unordered_map<void *, size_t> &forgotten_blocks() {
  static auto *blocks = new std::unordered_map<void *, size_t>;
  return *blocks;
}

void *take_block(uint32_t tag, size_t size, int fill) {
  host_state &h = host();
  h.heap_tag = tag;
  if (h.heap_callback_in != 0 && --h.heap_callback_in == 0) {
    h.heap_callback();
  }
  if (h.heap_refusal.now() || h.heap_closed) {
    ++h.heap_refused;
    return nullptr;
  }
  void *block = fill == 0 ? std::calloc(1, size != 0 ? size : 1) : std::malloc(size != 0 ? size : 1);
  if (block == nullptr) {
    ++h.heap_refused;
    return nullptr;
  }
  if (fill != 0) {
    std::memset(block, fill, size);
  }
  forgotten_blocks().erase(block);
  h.blocks.emplace(block, size);
  h.heap_bytes += size;
  ++h.heap_granted;
  return block;
}

void note_damage(const test_pool &pool, size_t index, const char *what) {
  if (host().damage.empty()) {
    host().damage = pool.view.name + " element " + std::to_string(index) + ": " + what;
  }
}

bool is_filled(const unsigned char *from, size_t size, unsigned char value) {
  return std::all_of(from, from + size, [value](unsigned char byte) { return byte == value; });
}

void check_guard(const test_pool &pool, size_t index) {
  const unsigned char *end = pool.at(index) + pool.view.elem_size;
  if (!is_filled(end, pool.stride - pool.view.elem_size, test_host::guard_byte)) {
    note_damage(pool, index, "written past its end");
  }
}

void check_released(const test_pool &pool, size_t index) {
  if (!is_filled(pool.at(index), pool.view.elem_size, test_host::released_byte)) {
    note_damage(pool, index, "written after it was given back");
  }
}

void unmap(test_pool &pool) {
  if (pool.area != nullptr) {
    munmap(pool.area, pool.area_size);
  }
}

}  // namespace

namespace test_host {

void reset() {
  host_state &h = host();
  for (const auto &pool : h.pools) {
    unmap(*pool);
  }
  forgotten_blocks().merge(h.blocks);
  h = host_state{};
}

const std::vector<std::string> &log_calls() { return host().log; }

const std::vector<std::string> &console_calls() { return host().console; }

std::string log_text() {
  std::string text;
  for (const std::string &call : host().log) {
    text += call;
  }
  return text;
}

std::vector<std::string> log_lines() {
  std::vector<std::string> lines;
  std::string line;
  for (const char c : log_text() + "\n") {
    if (c != '\n') {
      line += c;
    } else if (!line.empty()) {
      lines.push_back(line);
      line.clear();
    }
  }
  return lines;
}

void clear_log() {
  host().log.clear();
  host().console.clear();
}

void keep_log(bool on) { host().keep_log = on; }

heap_counts heap() {
  const host_state &h = host();
  return {h.blocks.size(), h.heap_bytes, h.heap_granted, h.heap_refused};
}

size_t heap_block_bytes(const void *block) {
  const host_state &h = host();
  const auto found = h.blocks.find(const_cast<void *>(block));
  return found == h.blocks.end() ? 0 : found->second;
}

uint32_t last_heap_tag() { return host().heap_tag; }

void fail_heap_allocation(uint64_t k) { host().heap_refusal.left = k; }

void fail_all_heap_allocations(bool on) { host().heap_closed = on; }

void call_before_heap_allocation(uint64_t k, std::function<void()> callback) {
  host().heap_callback_in = k;
  host().heap_callback = std::move(callback);
}

void make_low_pools(bool on) { host().low_pools = on; }

std::vector<pool_view> pools() {
  std::vector<pool_view> views;
  for (const auto &pool : host().pools) {
    views.push_back(pool->view);
  }
  return views;
}

size_t pool_used(const std::string &name) {
  size_t used = 0;
  for (const auto &pool : host().pools) {
    used += pool->view.name == name ? pool->view.used : 0;
  }
  return used;
}

size_t pool_used() {
  size_t used = 0;
  for (const auto &pool : host().pools) {
    used += pool->view.used;
  }
  return used;
}

void fail_pool_element(uint64_t k, const std::string &name) {
  host().element_refusal.left = k;
  host().element_refusal_pool = name;
}

void fail_pool_creation(uint64_t k) { host().creation_refusal.left = k; }

uint64_t pool_elements_granted() { return host().elements_granted; }

std::string pool_damage() {
  for (const auto &pool : host().pools) {
    for (size_t i = 0; i < pool->fresh; ++i) {
      check_guard(*pool, i);
      if (pool->states[i] == element_state::released) {
        check_released(*pool, i);
      }
    }
  }
  return host().damage;
}

void set_environment(const std::string &name, const std::string &value) { host().environment[name] = value; }

const std::vector<std::string> &environment_lookups() { return host().lookups; }

const std::vector<debug_all_callback> &registered_callbacks() { return host().callbacks; }

std::string fatal_regex(const std::string &text) {
  std::string regex = "<fatal>";
  for (const char c : text) {
    if (std::strchr("\\^$.[]|()*+?{}", c) != nullptr) {
      regex += '\\';
    }
    regex += c;
  }
  return regex + "</fatal>";
}

}  // namespace test_host

extern "C" {

void zel_buginf(const char *format, ...) {
  va_list args;
  va_start(args, format);
  std::string text = formatted(format, args);
  va_end(args);
  if (host().keep_log) {
    host().log.push_back(std::move(text));
  }
}

void zel_printf(const char *format, ...) {
  va_list args;
  va_start(args, format);
  host().console.push_back(formatted(format, args));
  va_end(args);
}

void zel_fatal(const char *format, ...) {
  va_list args;
  va_start(args, format);
  const std::string text = "<fatal>" + formatted(format, args) + "</fatal>\n";
  va_end(args);
  std::fputs(text.c_str(), stderr);
  std::fflush(stderr);
  _exit(test_host::fatal_exit_code);
}

void *zel_malloc_named(uint32_t tag, size_t size) { return take_block(tag, size, test_host::fresh_byte); }

void *zel_calloc_named(uint32_t tag, size_t count, size_t size) {
  size_t bytes = 0;
  if (__builtin_mul_overflow(count, size, &bytes)) {
    return nullptr;
  }
  return take_block(tag, bytes, 0);
}

void zel_free_named(void *ptr) {
  if (ptr == nullptr) {
    return;
  }
  host_state &h = host();
  const auto block = h.blocks.find(ptr);
  if (block != h.blocks.end()) {
    h.heap_bytes -= block->second;
    std::memset(ptr, test_host::released_byte, block->second);
    h.blocks.erase(block);
  } else if (forgotten_blocks().erase(ptr) == 0) {
    std::fprintf(stderr, "zel_free_named(%p): no block of this heap\n", ptr);
    std::abort();
  }
  std::free(ptr);
}

void *zel_chunk_create(const char *name, size_t elem_size, size_t n_elems, int fixed_1, int fixed_4, int fixed_0) {
  host_state &h = host();
  if (h.creation_refusal.now()) {
    return nullptr;
  }
  auto pool = std::make_unique<test_pool>();
  pool->stride = (elem_size + 7) / 8 * 8 + guard_size;
  if (__builtin_mul_overflow(pool->stride, n_elems, &pool->area_size)) {
    return nullptr;
  }
  void *area = mmap(nullptr, std::max<size_t>(pool->area_size, 1), PROT_READ | PROT_WRITE,
                    MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | (h.low_pools ? low_addresses : 0), -1, 0);
  if (area == MAP_FAILED) {
    return nullptr;
  }
  pool->area_size = std::max<size_t>(pool->area_size, 1);
  pool->area = static_cast<unsigned char *>(area);
  pool->view = {name, elem_size, n_elems, {fixed_1, fixed_4, fixed_0}, pool.get(), 0};
  h.pools.push_back(std::move(pool));
  return h.pools.back().get();
}

void *chunk_malloc(void *handle) {
  test_pool &pool = *static_cast<test_pool *>(handle);
  host_state &h = host();
  const bool counted = h.element_refusal_pool.empty() || h.element_refusal_pool == pool.view.name;
  if (counted && h.element_refusal.now()) {
    return nullptr;
  }
  size_t index = pool.fresh;
  if (!pool.free_list.empty()) {
    index = pool.free_list.back();
    pool.free_list.pop_back();
    check_released(pool, index);
  } else if (pool.fresh == pool.view.n_elems) {
    return nullptr;
  } else {
    ++pool.fresh;
    pool.states.push_back(element_state::fresh);
  }
  std::memset(pool.at(index), test_host::fresh_byte, pool.view.elem_size);
  std::memset(pool.at(index) + pool.view.elem_size, test_host::guard_byte, pool.stride - pool.view.elem_size);
  pool.states[index] = element_state::used;
  ++pool.view.used;
  ++h.elements_granted;
  return pool.at(index);
}

void chunk_free(void *handle, void *element) {
  test_pool &pool = *static_cast<test_pool *>(handle);
  const auto offset = reinterpret_cast<uintptr_t>(element) - reinterpret_cast<uintptr_t>(pool.area);
  const size_t index = offset / pool.stride;
  if (offset % pool.stride != 0 || index >= pool.fresh) {
    note_damage(pool, index, "given back but not of this pool");
    return;
  }
  if (pool.states[index] != element_state::used) {
    note_damage(pool, index, "given back twice");
    return;
  }
  check_guard(pool, index);
  std::memset(element, test_host::released_byte, pool.view.elem_size);
  pool.states[index] = element_state::released;
  pool.free_list.push_back(index);
  --pool.view.used;
}

const char *zel_getenv(const char *name) {
  host_state &h = host();
  h.lookups.emplace_back(name);
  const auto found = h.environment.find(name);
  return found != h.environment.end() ? found->second.c_str() : nullptr;
}

void *zel_memset(void *dst, int value, size_t n) { return std::memset(dst, value, n); }

void zel_debug_all_register_cb(void (*callback)(int32_t on)) { host().callbacks.push_back(callback); }

const char *cerr_strerror(int32_t error) { return std::strerror(error < 0 ? -error : error); }

}  // extern "C"
