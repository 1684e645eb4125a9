// SPDX-License-Identifier: Apache-2.0
// zel_v6comp_result.h - the request layer's status of an engine's result.
#ifndef ZEL_V6COMP_RESULT_H
#define ZEL_V6COMP_RESULT_H

#include <stdint.h>

// Requests return the positive error number.
inline uint32_t zel_v6comp_status(int32_t result) { return static_cast<uint32_t>(-result); }

#endif
