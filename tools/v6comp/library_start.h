// SPDX-License-Identifier: Apache-2.0
// library_start.h - starting the library with pools of the tool's choice, and what it says on the way.
#ifndef LIBRARY_START_H
#define LIBRARY_START_H

#include "pool_sizing.h"
#include "tool_options.h"

namespace v6tool {

// Once per process, before any instance is used; opening a table does it by itself when --pool-elements is auto.
// `needs` is what auto makes room for in compatible mode.
void start_library(const common_options &options, const pool_needs &needs);

// As --debug-level says. Starting the library and opening a table reset these words, so it comes after both.
void set_debug_words(const common_options &options);

}  // namespace v6tool

#endif
