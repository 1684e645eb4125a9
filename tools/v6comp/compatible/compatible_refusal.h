// SPDX-License-Identifier: Apache-2.0
// compatible_refusal.h - why a full compression in compatible mode was refused, in words.
#ifndef COMPATIBLE_REFUSAL_H
#define COMPATIBLE_REFUSAL_H

#include <cstdint>

#include "compatible_instance.h"
#include "table_reader.h"
#include "tool_failure.h"

namespace v6tool {

// The instance has refused `table` with `status`. Where prefixes get into one another's way they are named, for which
// the instance is used, and left empty.
tool_failure explain_compatible_refusal(const compatible_instance &instance, const prefix_table &table,
                                        uint32_t status);

}  // namespace v6tool

#endif
