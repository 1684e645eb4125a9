// SPDX-License-Identifier: Apache-2.0
#include "tm_debug.h"

// The host's words stand in memory in the order of their definition, which g++ reverses when it optimises.
#if defined(__GNUC__) && !defined(__clang__)
#define TM_IN_ORDER __attribute__((no_reorder))
#else
#define TM_IN_ORDER
#endif

extern "C" {
tcamv6_debug_flags_t tcamv6_debug_flags = {};

TM_IN_ORDER int32_t tcamv6_debug_processing_flag = 0;
TM_IN_ORDER int32_t tcamv6_debug_trace_flag = 0;
TM_IN_ORDER int32_t tcamv6_debug_errors_flag = 0;
TM_IN_ORDER int32_t tcamv6_debug_result_flag = 0;
TM_IN_ORDER int32_t tcamv6_debug_profiling_flag = 0;
TM_IN_ORDER int32_t tcamv6_debug_incremental_flag = 0;
}
