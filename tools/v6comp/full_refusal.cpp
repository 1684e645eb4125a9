// SPDX-License-Identifier: Apache-2.0
#include "full_refusal.h"

#include <fmt/core.h>

#include "code_bits.h"
#include "pool_sizing.h"
#include "prefix_text.h"

namespace v6tool {

namespace {

tool_failure explain_memory(const prefix_table &rows) {
  const std::vector<std::string> pools = explain_pools(find_stored_prefixes(rows));
  return pools.empty() ? tool_failure{exit_undone, {"the library ran out of memory"}} : tool_failure{exit_no, pools};
}

bool is_refused_beside(const std::vector<table_row> &rows, int32_t status, const common_options &options) {
  common_options beside = options;
  beside.instance = 1 - options.instance;
  room_table trial(beside, rows.size());
  return load_rows(trial, {"", rows}).status == status;
}

}  // namespace

const char *const no_option_helps =
    "no option helps: leave some of them out, or split the table, for example over two instances; other prefixes may "
    "break the same limit";

table_outcome load_rows(room_table &table, const prefix_table &rows) { return table.load(distinct_prefixes(rows)); }

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

void append_refused_part(std::vector<std::string> &lines, const refused_part &part, const std::string &advice) {
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
  lines.push_back(advice);
}

tool_failure explain_full_refusal(const prefix_table &rows, const table_outcome &outcome,
                                  const common_options &options) {
  if (outcome.status == ZEL_V6COMP_TABLE_E_POOLS || outcome.status == ZEL_V6COMP_TABLE_E_MEMORY) {
    return explain_memory(rows);
  }
  if (outcome.status != ZEL_V6COMP_TABLE_E_BITS && outcome.status != ZEL_V6COMP_TABLE_E_ROOM) {
    return {exit_undone, {fmt::format("the library refused the table: {}", outcome.reason)}};
  }
  const uint32_t bits = required_code_bits(find_stored_prefixes(rows).forest, true);
  tool_failure failure = {exit_no, {}};
  failure.lines.push_back(
      outcome.status == ZEL_V6COMP_TABLE_E_BITS
          ? fmt::format("the table does not fit: its compressed prefixes need {} bits, at most {} are possible", bits,
                        +TCAMV6_MAX_CMPR_LEN)
          : fmt::format("the table does not fit, though {} of {} bits are enough: {}", bits, +TCAMV6_MAX_CMPR_LEN,
                        outcome.reason));
  const auto is_refused = [&](const std::vector<table_row> &part) {
    return is_refused_beside(part, outcome.status, options);
  };
  append_refused_part(failure.lines, find_refused_part(rows, is_refused), no_option_helps);
  return failure;
}

}  // namespace v6tool
