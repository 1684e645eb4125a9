// SPDX-License-Identifier: Apache-2.0
/* zel_platform.h - the services that the library asks of its host.
 *
 * The library allocates, prints and reads its environment through these calls and no others. The
 * shared library ships weak definitions of all of them (platform/standalone), so that it works when
 * it is opened alone; a host that defines one itself wins by ordinary symbol interposition. Built with
 * -DV6COMP_HOST_PLATFORM=ON the library ships none and the host must provide all.
 *
 * No call is made concurrently: the library has no threads and takes no locks.
 */
#ifndef ZEL_PLATFORM_H
#define ZEL_PLATFORM_H

#include <stddef.h>
#include <stdint.h>

/** How the compiler checks the calls, where it can.
 *  @{ */
#if defined(__GNUC__)
#define ZEL_PRINTF_LIKE(format_at, args_at) __attribute__((format(printf, format_at, args_at)))
#define ZEL_NORETURN __attribute__((noreturn))
#else
#define ZEL_PRINTF_LIKE(format_at, args_at)
#define ZEL_NORETURN
#endif
/** @} */

#ifdef __cplusplus
extern "C" {
#endif

/** Print to the debug log. A message of the library is one call with the text, then one with "\n". */
void zel_buginf(const char *format, ...) ZEL_PRINTF_LIKE(1, 2);

/** Print to the console: the start-up banners of the debug variables, nothing else. */
void zel_printf(const char *format, ...) ZEL_PRINTF_LIKE(1, 2);

/** Report a broken invariant of the library. The text begins with a line end. Must not return. */
void zel_fatal(const char *format, ...) ZEL_PRINTF_LIKE(1, 2) ZEL_NORETURN;

/** Allocate `size` bytes from the heap, contents undefined. A size of 0 should give a pointer too: null
 *  means "out of memory".
 *  @param tag   names the user of the memory in the host's accounting; may be ignored */
void *zel_malloc_named(uint32_t tag, size_t size);

/** Allocate `count` x `size` zeroed bytes; null when out of memory or when the product overflows. */
void *zel_calloc_named(uint32_t tag, size_t count, size_t size);

/** Return memory of the two calls above; null is ignored. */
void zel_free_named(void *ptr);

/** Create a pool of `n_elems` elements of `elem_size` bytes each, which lives until the process ends.
 *  The element size is a multiple of 8, and elements must be aligned to 8 bytes.
 *  @param name   for the host's diagnosis; stays valid
 *  The three last arguments are always 1, 4 and 0 and select nothing here.
 *  @return the pool's handle, null when it cannot be made */
void *zel_chunk_create(const char *name, size_t elem_size, size_t n_elems, int fixed_1, int fixed_4, int fixed_0);

/** Take one element, contents undefined; null when all n_elems are out. Should be constant-time. */
void *chunk_malloc(void *handle);

/** Give one element back; it may be handed out again at once. Should be constant-time. */
void chunk_free(void *handle, void *element);

/** Read an environment variable: null when it is not set. */
const char *zel_getenv(const char *name);

/** Fill n bytes with a value, as memset does. */
void *zel_memset(void *dst, int value, size_t n);

/** Register the callback that the host calls when its global debug switch changes. */
void zel_debug_all_register_cb(void (*callback)(int32_t on));

/** Text of an error number; a negative number means the same as its absolute value. */
const char *cerr_strerror(int32_t error);

#ifdef __cplusplus
}
#endif

#endif
