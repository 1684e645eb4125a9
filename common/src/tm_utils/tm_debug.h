// SPDX-License-Identifier: Apache-2.0
/* tm_debug.h - the debug words of the library and the shape of a log line.
 *
 * Every message is printed with one zel_buginf call, followed by a second call that ends the line. It is
 * gated by one word of `tcamv6_debug_flags`, tested immediately before printing.
 */
#ifndef TM_DEBUG_H
#define TM_DEBUG_H

#include "tm_api.h"
#include "zel_platform.h"

TM_API_BEGIN

/** Six on/off words (0 = off). The host may write them directly or through the zel_v6comp_dbg_* setters. */
typedef struct tcamv6_debug_flags_t {
  uint32_t trace;     /* "Starting" and "Complete" lines */
  uint32_t info;      /* argument errors, allocation failures, request processing problems */
  uint32_t error;     /* failed operations; the only word that is on by default */
  uint32_t stats;     /* chunk statistics */
  uint32_t result;    /* input prefixes and result tables */
  uint32_t result_hw; /* hardware update lists */
} tcamv6_debug_flags_t;

TM_ASSERT_SIZE(tcamv6_debug_flags_t, 24);

/** The library's six words. */
extern TM_API tcamv6_debug_flags_t tcamv6_debug_flags;

/** Six words for the host's own use, initially 0; the library never reads them.
 *  @{ */
extern TM_API int32_t tcamv6_debug_processing_flag;
extern TM_API int32_t tcamv6_debug_trace_flag;
extern TM_API int32_t tcamv6_debug_errors_flag;
extern TM_API int32_t tcamv6_debug_result_flag;
extern TM_API int32_t tcamv6_debug_profiling_flag;
extern TM_API int32_t tcamv6_debug_incremental_flag;
/** @} */

TM_API_END

#ifdef __cplusplus

/** TM_LOG(error, "%s: ...", function, ...): one log line, gated by the named word. */
#define TM_LOG(word, ...)               \
  do {                                  \
    if (tcamv6_debug_flags.word != 0) { \
      zel_buginf(__VA_ARGS__);          \
      zel_buginf("\n");                 \
    }                                   \
  } while (0)

/** TM_LOG_PROCESSING(info, "%s: ...", ...): the same for problems of the request layer. */
#define TM_LOG_PROCESSING(word, ...)    \
  do {                                  \
    if (tcamv6_debug_flags.word != 0) { \
      zel_buginf("\nTM_PROCESSING ");   \
      zel_buginf(__VA_ARGS__);          \
      zel_buginf("\n");                 \
    }                                   \
  } while (0)

/** TM_REQUIRE(function, node, "node is NULL"): a broken invariant ends the process, naming the function. */
#define TM_REQUIRE(function, condition, text) \
  do {                                        \
    if (!(condition)) {                       \
      zel_fatal("\n%s: " text, function);     \
    }                                         \
  } while (0)

/** The two halves of how an address is printed: part of a format, and its arguments.
 *  @{ */
#define TM_ADDR_FORMAT "%02x%02x:%02x%02x:%02x%02x:%02x%02x:%02x%02x:%02x%02x:%02x%02x:%02x%02x"
#define TM_ADDR_ARGS(a)                                                                                               \
  (a)[0], (a)[1], (a)[2], (a)[3], (a)[4], (a)[5], (a)[6], (a)[7], (a)[8], (a)[9], (a)[10], (a)[11], (a)[12], (a)[13], \
      (a)[14], (a)[15]
/** @} */

#endif

#endif
