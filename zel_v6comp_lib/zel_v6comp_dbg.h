// SPDX-License-Identifier: Apache-2.0
/* zel_v6comp_dbg.h - setters of the debug words. */
#ifndef ZEL_V6COMP_DBG_H
#define ZEL_V6COMP_DBG_H

#include "tm_debug.h"

TM_API_BEGIN

/** Reset all words to their default (error on, all else off), then turn on what the environment asks for:
 *  ZEL_V6COMP_DBG_TRACE, ZEL_V6COMP_DBG_INFO (info and stats), ZEL_V6COMP_DBG_RESULT (result and result_hw), each
 *  announced on the console. A variable counts as set whatever its value. Called by
 *  zel_v6comp_init_global_state.
 *  Cost: constant. Does not allocate. */
TM_API void zel_v6comp_dbg_init(void);

/** Turn words on (not 0) or off.
 *  Cost: constant. Does not allocate.
 *  @{ */
TM_API void zel_v6comp_dbg_trace_set(uint32_t on);   /**< the trace word */
TM_API void zel_v6comp_dbg_info_set(uint32_t on);    /**< the info and stats words */
TM_API void zel_v6comp_dbg_error_set(uint32_t on);   /**< the error word */
TM_API void zel_v6comp_dbg_warning_set(uint32_t on); /**< the error word too: there is no warning word */
TM_API void zel_v6comp_dbg_result_set(uint32_t on);  /**< the result and result_hw words */
/** @} */

/** Set all words by one level: 0-2 silent, 3-6 errors only, 7 and above everything.
 *  Cost: constant. Does not allocate. */
TM_API void zel_v6comp_dbg_set_by_level(uint32_t level);

/** Callback for the host's global debug switch: off (0) restores the default, on changes nothing.
 *  Cost: constant. Does not allocate. */
TM_API void zel_v6comp_debug_all(int32_t on);

/** Write one formatted line to a file descriptor: at most 255 characters and the line end. A failed write goes to
 *  the system log. A null format writes nothing: "Bad arguments" under the info word.
 *  Cost: one write to the descriptor. Does not allocate. */
TM_API void tcamv6_write_to_file(int fd, const char *format, ...) ZEL_PRINTF_LIKE(2, 3);

TM_API_END

#endif
