// SPDX-License-Identifier: Apache-2.0
/* tm_api.h - how an exported declaration is marked.
 *
 * Every object of the library is compiled with hidden visibility; what carries TM_API is exported, with
 * C linkage, and listed in zel_v6comp_lib/exports.map.
 */
#ifndef TM_API_H
#define TM_API_H

#include <stddef.h>
#include <stdint.h>

/** Marks an exported declaration. */
#if defined(__GNUC__)
#define TM_API __attribute__((visibility("default")))
#else
#define TM_API
#endif

/** Around the declarations of a header: C linkage, in C++ too.
 *  @{ */
#ifdef __cplusplus
#define TM_API_BEGIN extern "C" {
#define TM_API_END }
#else
#define TM_API_BEGIN
#define TM_API_END
#endif
/** @} */

/* Compile-time checks of record layouts, in C11 and in C++ alike. The layouts are part of the ABI. */
#ifdef __cplusplus
#define TM_STATIC_ASSERT(condition, text) static_assert(condition, text)
#else
#define TM_STATIC_ASSERT(condition, text) _Static_assert(condition, text)
#endif
#define TM_ASSERT_SIZE(type, bytes) TM_STATIC_ASSERT(sizeof(type) == (bytes), #type " size")
#define TM_ASSERT_OFFSET(type, field, bytes) \
  TM_STATIC_ASSERT(offsetof(type, field) == (bytes), #type "." #field " offset")

/* Records, handles and keys are read as little-endian words, and a handle is an address. */
TM_STATIC_ASSERT(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "little-endian machines only");
TM_STATIC_ASSERT(sizeof(void *) == 8, "64-bit machines only");

/* Result codes. Internal and engine functions return 0 (or a count) or one of these; the request layer
 * (zel_v6comp_*) returns the positive number. */
enum {
  TM_OK = 0,
  TM_ENOENT = -2,    /* not present, not yet optimised, or: reoptimise the table */
  TM_ENOMEM = -12,   /* heap or pool exhausted */
  TM_EFAULT = -14,   /* broken link, inconsistency or overflow */
  TM_EEXIST = -17,   /* already present */
  TM_EINVAL = -22,   /* invalid argument */
  TM_ENOSPC = -28,   /* no extending path left */
  TM_EOVERFLOW = -75 /* compressed length above the limit */
};

/* Allocation tags handed to the platform's heap calls. */
enum {
  TM_MEM_TAG_RESULT = 1,           /* result arrays of a request, the global block */
  TM_MEM_TAG_LIST = 0x17002B,      /* working lists, pointer arrays, extra operations */
  TM_MEM_TAG_CODE_HEAP = 0x18002B, /* the heap array of the code tree */
  TM_MEM_TAG_CELL = 0x19002B       /* list cells */
};

#endif
