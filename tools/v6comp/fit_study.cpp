// SPDX-License-Identifier: Apache-2.0
#include "fit_study.h"

#include <fmt/core.h>

#include <algorithm>

#include "code_bits.h"
#include "fit_growth.h"
#include "pool_counters.h"
#include "progress_note.h"
#include "room_live_table.h"
#include "stored_prefixes.h"
#include "zel_v6comp.h"

namespace v6tool {

namespace {

constexpr uint64_t max_points = 200;

// In the order of the rows of raw_blk.
std::vector<fit_pool> pools_now(bool sized) {
  std::vector<fit_pool> pools;
  for (const tm_raw_blk_row &row : raw_blk) {
    const tm_chunk_info &info = gbl_chunk_info[row.type];
    if (info.handle != 0) {
      pools.push_back({row.name, info.elem_size, info.allocated, pool_peak(row.name), sized ? info.n_elems : 0});
    }
  }
  return pools;
}

fit_point point_now(const room_table &table, uint64_t changes) {
  fit_point point;
  point.changes = changes;
  point.bits_needed = table.figures().bits_needed;
  for (const fit_pool &pool : pools_now(false)) {
    point.in_use.push_back(pool.in_use);
  }
  return point;
}

void follow(room_live_table &live, const update_history &history, bool quiet, fit_study &study) {
  progress_bar note("updating", history.batches.size(), quiet);
  const uint64_t step = history.batches.size() / max_points + 1;
  study.points.push_back(point_now(live.library_table(), 0));
  for (const history_batch &batch : history.batches) {
    note.at(++study.batches);
    const batch_report report = live.apply(batch);
    study.additions += report.adds;
    study.deletes += report.deletes;
    study.moved += report.moved;
    if (report.refused && !report.recompressed) {
      ++study.refused;
      study.misfit = fmt::format("batch {} is refused: {}", study.batches, report.refused->reason);
    }
    if (study.batches % step == 0 || study.batches == history.batches.size()) {
      study.points.push_back(point_now(live.library_table(), study.additions + study.deletes));
    }
  }
}

void take_sooner(fit_study &study, const std::string &limit, std::optional<uint64_t> changes) {
  if (changes && (!study.forecast || *changes < study.forecast->changes)) {
    study.forecast = {limit, *changes};
  }
}

void forecast(fit_study &study) {
  std::vector<growth_point> line;
  for (const fit_point &point : study.points) {
    line.push_back({static_cast<double>(point.changes), static_cast<double>(point.bits_needed)});
  }
  if (const auto growth = growth_per_change(line)) {
    take_sooner(study, "bits", changes_until(study.bits_needed, TCAMV6_MAX_CMPR_LEN, *growth));
  }
  for (size_t i = 0; i < study.pools.size(); ++i) {
    const fit_pool &pool = study.pools[i];
    for (size_t n = 0; n < line.size(); ++n) {
      line[n].value = static_cast<double>(study.points[n].in_use[i]);
    }
    if (const auto growth = growth_per_change(line); growth && pool.size != 0) {
      take_sooner(study, pool.name,
                  changes_until(static_cast<double>(pool.peak), static_cast<double>(pool.size), *growth));
    }
  }
}

// Of a table that the library holds.
void take_figures(const room_table &table, const common_options &options, fit_study &study) {
  const zel_v6comp_table_stats_record figures = table.figures();
  study.bits_needed = figures.bits_needed;
  study.longest_code = figures.deepest_code;
  study.prefixes = figures.prefixes;
  study.anchors = figures.anchors;
  study.pools = pools_now(options.pool_elements != "auto");
  const std::vector<zel_v6comp_table_row> rows = table.rows();
  study.depths = figures_by_depth(rows, nest(rows));
}

// Of one that it refuses: what can be counted without it.
void take_needs(const prefix_table &table, const tool_failure &failure, fit_study &study) {
  const stored_prefixes stored = find_stored_prefixes(table);
  study.bits_needed = required_code_bits(stored.forest, true);
  study.prefixes = stored.n_table;
  study.anchors = stored.n_anchors;
  study.misfit = study.bits_needed > TCAMV6_MAX_CMPR_LEN
                     ? fmt::format("it needs {} bits, at most {} are possible", study.bits_needed, +TCAMV6_MAX_CMPR_LEN)
                     : failure.lines.front();
}

}  // namespace

uint64_t fit_study::percent() const {
  uint64_t most = bits_percent();
  for (const fit_pool &pool : pools) {
    most = std::max(most, pool.percent());
  }
  return most;
}

fit_study study_fit(const prefix_table &table, const update_history &history, const common_options &options) {
  fit_study study;
  live_options live_options;
  live_options.common = options;
  live_options.on_refusal = refusal_action::recompress;
  try {
    room_live_table live(table, history, live_options);
    study.prefixes_before = live.owned().size();
    if (!history.batches.empty()) {
      follow(live, history, options.quiet, study);
    }
    take_figures(live.library_table(), options, study);
    forecast(study);
  } catch (const tool_failure &failure) {
    if (failure.code != exit_no) {
      throw;
    }
    take_needs(table, failure, study);
  }
  return study;
}

}  // namespace v6tool
