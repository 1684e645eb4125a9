// SPDX-License-Identifier: Apache-2.0
#include "library_start.h"

#include <fmt/core.h>

#include <string>

#include "zel_v6comp.h"

namespace v6tool {

namespace {

void write_pool_sizes(const std::string &choice, const pool_needs &needs) {
  if (choice == "default") {
    return;
  }
  for (tm_raw_blk_row &row : raw_blk) {
    if (row.enabled != 0 && row.elem_size != 0) {
      row.n_elems = choice == "auto" ? needs[row.type].most : std::stoul(choice);
    }
  }
}

}  // namespace

void start_library(const common_options &options, const pool_needs &needs) {
  write_pool_sizes(options.pool_elements, needs);
  const uint32_t status = zel_v6comp_init_global_state(TCAMV6_MAX_INSTANCES, TCAMV6_MAX_PROCESSORS);
  if (status != 0) {
    throw tool_failure{exit_undone,
                       {fmt::format("the library cannot start, status {}: no memory for its pools; a smaller "
                                    "--pool-elements may help",
                                    status)}};
  }
}

// Left to itself the library prints errors, which for a tool that explains its failures, and for tables that are merely
// tight, is only noise.
void set_debug_words(const common_options &options) {
  if (options.debug_level) {
    zel_v6comp_dbg_set_by_level(*options.debug_level);
  } else {
    zel_v6comp_dbg_error_set(0);
  }
}

}  // namespace v6tool
