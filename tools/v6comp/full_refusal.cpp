// SPDX-License-Identifier: Apache-2.0
#include "full_refusal.h"

#include <fmt/core.h>

#include "code_bits.h"
#include "prefix_text.h"
#include "refused_part.h"

namespace v6tool {

namespace {

std::vector<std::string> explain_pools(const stored_prefixes &stored) {
  const pool_needs needs = find_pool_needs(stored);
  std::vector<std::string> lines;
  for (uint32_t type = 0; type < TM_CHUNK_TYPES; ++type) {
    const tm_chunk_info &info = gbl_chunk_info[type];
    if (info.failed != 0) {
      lines.push_back(
          fmt::format("the table does not fit: pool {} ran out at {} elements; the table needs {} at "
                      "least, {} are enough",
                      raw_blk[type].name, info.n_elems, needs[type].least, needs[type].most));
    }
  }
  if (!lines.empty()) {
    lines.emplace_back("--pool-elements auto makes every pool large enough for the table");
  }
  return lines;
}

tool_failure explain_memory(const stored_prefixes &stored) {
  const std::vector<std::string> pools = explain_pools(stored);
  return pools.empty() ? tool_failure{exit_undone, {"the library ran out of memory (status 12)"}}
                       : tool_failure{exit_no, pools};
}

// The prefixes that break the limit, and what can be done.
void append_part(std::vector<std::string> &lines, const refused_part &part, bool fits_with_room) {
  lines.push_back(part.smallest
                      ? fmt::format("it breaks on these {} prefixes, which fit as soon as one of them is left out:",
                                    part.rows.size())
                      : fmt::format("it breaks somewhere among these {} prefixes:", part.rows.size()));
  message_list names;
  for (const table_row &row : part.rows) {
    names.add("  " + format_prefix(row.prefix) + (row.line == 0 ? "" : fmt::format(" (line {})", row.line)));
  }
  for (const std::string &line : names.lines()) {
    lines.push_back(line);
  }
  lines.emplace_back(
      fits_with_room ? "--room on, the default, takes the table as it is"
                     : "no option helps: leave some of them out, or split the table, for example over two instances; "
                       "other prefixes may break the same limit");
}

}  // namespace

tool_failure explain_full_refusal(const library_instance &instance, const prefix_table &table, uint32_t status) {
  const stored_prefixes stored = find_stored_prefixes(table);
  if (status == -TM_ENOMEM) {
    return explain_memory(stored);
  }
  if (status == -TM_EINVAL) {
    return {exit_undone, {"the library refused the request (status 22); --debug-level 7 shows what it says"}};
  }
  const uint32_t bits = required_code_bits(stored.forest, zel_v6comp_room() != 0);
  tool_failure failure = {exit_no, {}};
  if (status == -TM_EOVERFLOW) {
    failure.lines.push_back(
        fmt::format("the table does not fit: its compressed prefixes need {} bits, at most {} are possible (status 75)",
                    bits, +TCAMV6_MAX_CMPR_LEN));
  } else {
    failure.lines.push_back(
        fmt::format("the table does not fit: {} of {} bits are enough for its compressed prefixes, but not for the "
                    "room that later updates need between them (status {})",
                    bits, +TCAMV6_MAX_CMPR_LEN, status));
  }
  const bool fits_with_room = zel_v6comp_room() == 0 && required_code_bits(stored.forest, true) <= TCAMV6_MAX_CMPR_LEN;
  append_part(failure.lines, find_refused_part(instance, table, status), fits_with_room);
  return failure;
}

}  // namespace v6tool
