// SPDX-License-Identifier: Apache-2.0
#include "update_figures.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <iterator>

#include "json_summary.h"

namespace v6tool {

namespace {

uint64_t microseconds(double ms) { return static_cast<uint64_t>(std::llround(ms * 1000)); }

std::string result_of(const batch_report &report) {
  if (report.refused_changes != 0) {
    return "refused";
  }
  return report.recompressed ? "recompressed" : report.refused ? "split" : "accepted";
}

cell text_or_nothing(const std::string &text) { return text.empty() ? cell() : cell(text); }

figure_list json_of_cases(const update_totals &t) {
  figure_list cases;
  for (size_t i = 0; i < n_record_cases; ++i) {
    cases.push_back({case_name(static_cast<record_case>(i)), uint64_t{t.sum.cases[i]}});
  }
  return cases;
}

figure_list json_of(const update_figures &f, const update_totals &t) {
  figure_list figures = {
      {"table", f.table},
      {"history", f.history},
      {"policy", f.policy},
      {"room", f.room},
      {"safe_updates", f.safe_updates},
      {"table_prefixes_before", f.first_prefixes},
      {"table_prefixes_after", f.batches.empty() ? f.first_prefixes : f.batches.back().table_prefixes},
      {"batches", f.batches.size()},
      {"batches_not_reached", f.batches_of_history - f.batches.size()},
      {"accepted", t.accepted},
      {"accepted_after_split", t.split},
      {"recompressed", t.recompressed},
      {"refused", t.left_out},
      {"refusals_by_kind", figures_of(t.refusals)},
      {"refused_requests", t.sum.refusals},
      {"requests", t.sum.requests},
      {"adds", t.sum.adds},
      {"deletes", t.sum.deletes},
      {"present", t.sum.present},
      {"absent", t.sum.absent},
      {"held", t.held},
      {"refused_changes", t.sum.refused_changes},
      {"moved", t.sum.moved},
      {"changed_by_batches", t.changed_by_batches},
      {"changed_by_recompressions", t.changed_by_recompressions},
      {"checks", t.checks},
      {"violations", t.violations},
      {"breaks", t.breaks},
      {"first_violation", t.first_violation},
      {"first_compression_us", microseconds(f.first_ms)},
      {"time_us", microseconds(t.sum.ms)}};
  if (!f.room) {
    const auto checks =
        std::find_if(figures.begin(), figures.end(), [](const figure &x) { return x.name == "checks"; });
    figures.insert(checks, {"records_by_case", json_of_cases(t)});
  }
  return figures;
}

std::string text_of_cases(const update_totals &t) {
  std::string out = "records\n";
  for (size_t i = 0; i < n_record_cases; ++i) {
    out += fmt::format("  {:<18}{}\n", case_name(static_cast<record_case>(i)), t.sum.cases[i]);
  }
  return out;
}

std::string text_of(const update_figures &f, const update_totals &t) {
  std::string out;
  const uint64_t after = f.batches.empty() ? f.first_prefixes : f.batches.back().table_prefixes;
  out += fmt::format("table               {} prefixes, then {}\n", f.first_prefixes, after);
  out += fmt::format("batches             {} of {}, {} adds ({} present), {} deletes ({} absent, {} held)\n",
                     f.batches.size(), f.batches_of_history, t.sum.adds, t.sum.present, t.sum.deletes, t.sum.absent,
                     t.held);
  out += fmt::format("accepted            {}, {} of them after a first refusal\n", t.accepted, t.split);
  out += fmt::format("recompressed        {}\n", t.recompressed);
  out += fmt::format("refused             {}, {} changes left out\n", t.left_out, t.sum.refused_changes);
  for (const auto &[kind, count] : t.refusals) {
    out += fmt::format("  {:<18}{}\n", kind, count);
  }
  out += fmt::format("changed             {} by batches, {} by recompressions\n", t.changed_by_batches,
                     t.changed_by_recompressions);
  out += f.room ? fmt::format("moved               {}\n", t.sum.moved) : "";
  out += f.room ? "" : text_of_cases(t);
  out += fmt::format("time                {:.1f} ms, and {:.1f} ms for the first compression\n", t.sum.ms, f.first_ms);
  return out;
}

}  // namespace

update_totals total_of(const update_figures &figures) {
  update_totals t;
  bool was_right = true;
  for (const batch_figures &b : figures.batches) {
    const batch_report &r = b.report;
    t.sum.adds += r.adds;
    t.sum.deletes += r.deletes;
    t.sum.present += r.present;
    t.sum.absent += r.absent;
    t.held += r.held.size();
    t.sum.requests += r.requests;
    t.sum.moved += r.moved;
    t.sum.refusals += r.refusals;
    t.sum.refused_changes += r.refused_changes;
    t.sum.ms += r.ms;
    for (size_t i = 0; i < n_record_cases; ++i) {
      t.sum.cases[i] += r.cases[i];
    }
    (r.recompressed ? t.changed_by_recompressions : t.changed_by_batches) += r.changed;
    ++(r.refused_changes != 0 ? t.left_out : r.recompressed ? t.recompressed : t.accepted);
    t.split += result_of(r) == "split" ? 1 : 0;
    if (r.refused) {
      ++t.refusals[r.refused->kind];
    }
    if (b.checked) {
      ++t.checks;
      t.violations += b.violation.empty() ? 0 : 1;
      t.breaks += was_right && !b.violation.empty() ? 1 : 0;
      was_right = b.violation.empty();
    }
    if (t.first_violation.empty() && !b.violation.empty()) {
      t.first_violation = fmt::format("batch {}: {}", b.number, b.violation);
    }
  }
  return t;
}

void write_batch(row_writer &writer, const batch_figures &b) {
  const batch_report &r = b.report;
  const cell cells[] = {b.number,
                        r.adds,
                        r.deletes,
                        r.present,
                        r.absent,
                        r.changed,
                        result_of(r),
                        r.requests,
                        b.table_prefixes,
                        microseconds(r.ms),
                        b.checked ? cell(b.violation.empty()) : cell(),
                        r.moved,
                        r.refusals,
                        r.refused_changes,
                        r.refused ? cell(r.refused->kind) : cell(),
                        r.refused ? cell(r.refused->reason) : cell(),
                        text_or_nothing(b.violation),
                        uint64_t{r.held.size()}};
  writer.row(cells);
}

void write_refusal(row_writer &writer, const batch_figures &b) {
  if (!b.report.refused) {
    return;
  }
  const refusal &r = *b.report.refused;
  const cell cells[] = {b.number,
                        r.kind,
                        r.prefix ? cell(*r.prefix) : cell(),
                        r.is_anchor,
                        text_or_nothing(r.case_of_prefix),
                        r.prefix ? cell(r.enclosing) : cell(),
                        r.enclosing_bits ? cell(*r.enclosing_bits) : cell(),
                        r.enclosing_bits ? cell(TCAMV6_MAX_CMPR_LEN - *r.enclosing_bits) : cell(),
                        r.siblings,
                        result_of(b.report),
                        r.reason};
  writer.row(cells);
}

std::string update_summary(const update_figures &figures, const output_format &format) {
  const update_totals totals = total_of(figures);
  return &format == &text_format() ? text_of(figures, totals) : format_summary(json_of(figures, totals), format);
}

std::string closing_line(const update_figures &figures) {
  const update_totals t = total_of(figures);
  std::string line = fmt::format("{} batches: {} accepted, {} recompressed, {} refused; ", figures.batches.size(),
                                 t.accepted, t.recompressed, t.left_out);
  if (t.checks == 0) {
    return line + "not checked\n";
  }
  line += fmt::format("{} violations in {} checks\n", t.violations, t.checks);
  return t.first_violation.empty() ? line : line + t.first_violation + '\n';
}

}  // namespace v6tool
