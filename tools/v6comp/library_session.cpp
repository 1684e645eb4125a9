// SPDX-License-Identifier: Apache-2.0
#include "library_session.h"

#include "full_refusal.h"
#include "pool_counters.h"
#include "prefix_text.h"
#include "progress_note.h"
#include "table_loader.h"

namespace v6tool {

library_session::library_session(const prefix_table &table, const common_options &options) {
  const progress_note note("compressing", options.quiet);
  stored_ = find_stored_prefixes(table);
  start_library(options, needs_of_loading(stored_, table.rows.size()));
  instance_.emplace(options);
  result_ = load_table(*instance_, table);
  if (result_.status != 0) {
    throw explain_full_refusal(*instance_, table, result_.status);
  }
}

translation library_session::translate_stored(const ip_prefix &prefix) const {
  const std::optional<translation> result = translate(prefix);
  if (!result) {
    throw tool_failure{exit_undone, {"the library does not find " + format_prefix(prefix) + ", which it was given"}};
  }
  return *result;
}

std::vector<pool_use> library_session::pools() const {
  std::vector<pool_use> uses;
  for (const tm_raw_blk_row &row : raw_blk) {
    const tm_chunk_info &info = gbl_chunk_info[row.type];
    if (info.handle != 0) {
      uses.push_back({row.name, info.n_elems, info.allocated, pool_peak(row.name)});
    }
  }
  return uses;
}

}  // namespace v6tool
