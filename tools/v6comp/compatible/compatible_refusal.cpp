// SPDX-License-Identifier: Apache-2.0
#include "compatible_refusal.h"

#include <fmt/core.h>

#include "code_bits.h"
#include "full_refusal.h"

namespace v6tool {

namespace {

tool_failure explain_memory(const stored_prefixes &stored) {
  const std::vector<std::string> pools = explain_pools(stored);
  return pools.empty() ? tool_failure{exit_undone, {"the library ran out of memory (status 12)"}}
                       : tool_failure{exit_no, pools};
}

}  // namespace

tool_failure explain_compatible_refusal(const compatible_instance &instance, const prefix_table &table,
                                        uint32_t status) {
  const stored_prefixes stored = find_stored_prefixes(table);
  if (status == -TM_ENOMEM) {
    return explain_memory(stored);
  }
  if (status == -TM_EINVAL) {
    return {exit_undone, {"the library refused the request (status 22); --debug-level 7 shows what it says"}};
  }
  const uint32_t bits = required_code_bits(stored.forest, false);
  tool_failure failure = {exit_no, {}};
  failure.lines.push_back(
      status == -TM_EOVERFLOW
          ? fmt::format(
                "the table does not fit: its compressed prefixes need {} bits, at most {} are possible (status 75)",
                bits, +TCAMV6_MAX_CMPR_LEN)
          : fmt::format("the table does not fit: {} of {} bits are enough for its compressed prefixes, but not for the "
                        "room that later updates need between them (status {})",
                        bits, +TCAMV6_MAX_CMPR_LEN, status));
  const auto is_refused = [&](const std::vector<table_row> &part) {
    instance.reset();
    return instance.compress({"", part}).status == status;
  };
  const bool fits_with_room = required_code_bits(stored.forest, true) <= TCAMV6_MAX_CMPR_LEN;
  append_refused_part(failure.lines, find_refused_part(table, is_refused),
                      fits_with_room ? "--room on, the default, takes the table as it is" : no_option_helps);
  instance.reset();
  return failure;
}

}  // namespace v6tool
