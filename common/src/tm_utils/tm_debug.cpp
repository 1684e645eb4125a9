#include "tm_debug.h"

extern "C" {
tcamv6_debug_flags_t tcamv6_debug_flags = {};

int32_t tcamv6_debug_processing_flag = 0;
int32_t tcamv6_debug_trace_flag = 0;
int32_t tcamv6_debug_errors_flag = 0;
int32_t tcamv6_debug_result_flag = 0;
int32_t tcamv6_debug_profiling_flag = 0;
int32_t tcamv6_debug_incremental_flag = 0;
}
