// SPDX-License-Identifier: Apache-2.0
/* host_wins.c - a host that provides every platform call itself and counts what lands in it.
 *
 * The shared library ships definitions of the same names. Linked like any other library, it must use the
 * host's: ordinary symbol interposition, no special option. The program runs the library through start, a
 * full compression, a batch, a reset and a broken invariant, and then looks at the counts. (cerr_strerror is
 * part of what a host offers, but no message of the library needs it today.)
 */
#include <setjmp.h>
#include <stdarg.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "zel_v6comp.h"

static struct {
  int buginf, console, fatal, heap_malloc, heap_calloc, heap_free, pool_create, pool_malloc, pool_free, getenv, fill,
      register_cb;
} calls;

static void (*debug_all_callback)(int32_t on);
static jmp_buf fatal_exit;

typedef struct host_pool {
  size_t elem_size, n_elems, n_fresh, n_free;
  unsigned char *elements;
  void **free_elements;
} host_pool;

void zel_buginf(const char *format, ...) {
  va_list args;
  va_start(args, format);
  vfprintf(stdout, format, args);
  va_end(args);
  ++calls.buginf;
}

void zel_printf(const char *format, ...) {
  va_list args;
  va_start(args, format);
  vfprintf(stdout, format, args);
  va_end(args);
  ++calls.console;
}

void zel_fatal(const char *format, ...) {
  va_list args;
  va_start(args, format);
  vfprintf(stdout, format, args);
  va_end(args);
  ++calls.fatal;
  longjmp(fatal_exit, 1);
}

void *zel_malloc_named(uint32_t tag, size_t size) {
  (void)tag;
  ++calls.heap_malloc;
  return malloc(size != 0 ? size : 1);
}

void *zel_calloc_named(uint32_t tag, size_t count, size_t size) {
  (void)tag;
  ++calls.heap_calloc;
  return calloc(count != 0 ? count : 1, size != 0 ? size : 1);
}

void zel_free_named(void *ptr) {
  ++calls.heap_free;
  free(ptr);
}

void *zel_chunk_create(const char *name, size_t elem_size, size_t n_elems, int fixed_1, int fixed_4, int fixed_0) {
  host_pool *pool = calloc(1, sizeof *pool);
  (void)name;
  ++calls.pool_create;
  if (pool == NULL || fixed_1 != 1 || fixed_4 != 4 || fixed_0 != 0) {
    abort();
  }
  pool->elem_size = elem_size;
  pool->n_elems = n_elems;
  pool->elements = malloc(elem_size * n_elems);
  pool->free_elements = malloc(n_elems * sizeof(void *));
  return pool;
}

void *chunk_malloc(void *handle) {
  host_pool *pool = handle;
  ++calls.pool_malloc;
  if (pool->n_free > 0) {
    return pool->free_elements[--pool->n_free];
  }
  return pool->n_fresh < pool->n_elems ? pool->elements + pool->elem_size * pool->n_fresh++ : NULL;
}

void chunk_free(void *handle, void *element) {
  host_pool *pool = handle;
  ++calls.pool_free;
  pool->free_elements[pool->n_free++] = element;
}

/* The environment as this host has it: trace messages are wanted. */
const char *zel_getenv(const char *name) {
  ++calls.getenv;
  return strcmp(name, "ZEL_V6COMP_DBG_TRACE") == 0 ? "" : NULL;
}

void *zel_memset(void *dst, int value, size_t n) {
  ++calls.fill;
  return memset(dst, value, n);
}

void zel_debug_all_register_cb(void (*callback)(int32_t on)) {
  ++calls.register_cb;
  debug_all_callback = callback;
}

const char *cerr_strerror(int32_t error) {
  (void)error;
  return "an error";
}

/* A request for instance (0, 0): adds 2001:db8:<group>::/<length>. */
static uint32_t add(uint16_t group, uint8_t length) {
  union {
    v6comp_pref_info request;
    unsigned char bytes[sizeof(v6comp_pref_info) + sizeof(tcamv6_prefix)];
  } buffer;
  const uint8_t address[16] = {0x20, 0x01, 0x0d, 0xb8, (uint8_t)(group >> 8), (uint8_t)group};
  tcamv6_prefix record;
  memset(&buffer, 0, sizeof buffer);
  memset(&record, 0, sizeof record);
  record.flags_tag = TM_PREFIX_FLAG_ADD;
  record.weight = 10;
  record.length = length;
  memcpy(record.address, address, sizeof address);
  buffer.request.n_prefixes = 1;
  memcpy(buffer.bytes + sizeof(v6comp_pref_info), &record, sizeof record);
  return zel_v6comp_prefix_compress(&buffer.request);
}

static int faults;

static void expect(bool holds, const char *what) {
  if (!holds) {
    printf("FAILED: %s\n", what);
    ++faults;
  }
}

static void run_requests(void) {
  expect(zel_v6comp_init_global_state(2, 4) == 0, "the global state is made");
  expect(calls.pool_create == 5, "five pools are made by the host");
  expect(calls.register_cb == 1 && debug_all_callback == zel_v6comp_debug_all, "the debug callback is registered");
  expect(calls.getenv == 3, "three variables are asked for");
  expect(calls.console == 1, "one banner is printed on the console");
  expect(tcamv6_debug_flags.trace != 0, "the host's environment turns trace on");
  expect(add(0, 32) == 0, "a full compression succeeds");
  expect(add(1, 48) == 0, "a batch succeeds");
}

static void run_fatal(void) {
  const int before = calls.fatal;
  if (setjmp(fatal_exit) == 0) {
    tm_chunk_set_chunk_inf_base(NULL);
    expect(false, "a null statistics base does not return");
  }
  expect(calls.fatal == before + 1, "the fatal report lands in the host");
}

int main(void) {
  run_requests();
  expect(zel_v6comp_reset_instance(0, 0) == 0, "an instance is reset");
  expect(calls.pool_free > 0, "elements come back to the host's pools");
  expect(add(0, 32) == 0, "after the reset a full compression succeeds");
  run_fatal();

  const struct {
    const char *name;
    int count;
  } rows[] = {{"zel_buginf", calls.buginf},
              {"zel_printf", calls.console},
              {"zel_fatal", calls.fatal},
              {"zel_malloc_named", calls.heap_malloc},
              {"zel_calloc_named", calls.heap_calloc},
              {"zel_free_named", calls.heap_free},
              {"zel_chunk_create", calls.pool_create},
              {"chunk_malloc", calls.pool_malloc},
              {"chunk_free", calls.pool_free},
              {"zel_getenv", calls.getenv},
              {"zel_memset", calls.fill},
              {"zel_debug_all_register_cb", calls.register_cb}};
  puts("");
  for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
    printf("%-26s %d calls\n", rows[i].name, rows[i].count);
    expect(rows[i].count > 0, rows[i].name);
  }
  printf("%d faults\n", faults);
  return faults == 0 ? 0 : 1;
}
