// SPDX-License-Identifier: Apache-2.0
// v6comp fit: does a table fit, and for how long?
#include <fmt/core.h>

#include <algorithm>
#include <memory>

#include "fit_study.h"
#include "json_summary.h"
#include "live_options.h"
#include "row_writer.h"
#include "tool_options.h"
#include "zel_v6comp.h"

namespace v6tool {

namespace {

struct fit_options {
  common_options common;
  output_options output;
  std::string history;
  uint32_t warn = 70;  // percent
  uint32_t fail = 90;
};

enum class fit_verdict : uint8_t { fits, warn, fail, misfit };

fit_verdict judge(const fit_study &study, const fit_options &options) {
  if (!study.misfit.empty()) {
    return fit_verdict::misfit;
  }
  const uint64_t percent = study.percent();
  return percent >= options.fail ? fit_verdict::fail : percent >= options.warn ? fit_verdict::warn : fit_verdict::fits;
}

const char *name_of(fit_verdict verdict) {
  switch (verdict) {
    case fit_verdict::fits:
      return "fits";
    case fit_verdict::warn:
      return "fits_with_a_warning";
    case fit_verdict::fail:
      return "too_full";
    case fit_verdict::misfit:
      return "does_not_fit";
  }
  return "";
}

// The pool that is fullest, null when all are as large as needed.
const fit_pool *fullest_pool(const fit_study &study) {
  const auto fullest = std::max_element(study.pools.begin(), study.pools.end(),
                                        [](const fit_pool &a, const fit_pool &b) { return a.percent() < b.percent(); });
  return fullest == study.pools.end() || fullest->size == 0 ? nullptr : &*fullest;
}

std::string forecast_words(const fit_study &study) {
  if (study.points.empty()) {
    return "";
  }
  if (!study.forecast) {
    return "; the history leads to no limit";
  }
  const std::string what = study.forecast->limit == "bits" ? "64 bits" : "the end of pool " + study.forecast->limit;
  return fmt::format("; {} after about {} more changes like those", what, study.forecast->changes);
}

std::string sentence(const fit_study &study, fit_verdict verdict) {
  if (verdict == fit_verdict::misfit) {
    return "does not fit: " + study.misfit;
  }
  const char *word = verdict == fit_verdict::fits   ? "fits"
                     : verdict == fit_verdict::warn ? "fits, warning"
                                                    : "too full";
  std::string text = fmt::format("{}: {} of 64 bits ({} %)", word, study.bits_needed, study.bits_percent());
  if (const fit_pool *pool = fullest_pool(study)) {
    text += fmt::format(", {} of {} elements of {} ({} %)", pool->peak, pool->size, pool->name, pool->percent());
  }
  return text + forecast_words(study);
}

figure_list pool_figures(const std::vector<fit_pool> &pools) {
  figure_list figures;
  for (const fit_pool &pool : pools) {
    figure_list inner = {{"element_bytes", pool.element_bytes},
                         {"in_use_elements", pool.in_use},
                         {"peak_elements", pool.peak},
                         {"peak_bytes", pool.peak * pool.element_bytes}};
    if (pool.size != 0) {
      inner.push_back({"size_elements", pool.size});
      inner.push_back({"percent", pool.percent()});
    }
    figures.push_back({pool.name, inner});
  }
  return figures;
}

figure_list depth_figure_list(const std::vector<depth_figures> &depths) {
  figure_list figures;
  for (const depth_figures &depth : depths) {
    figures.push_back({std::to_string(depth.depth), figure_list{{"prefixes", depth.prefixes},
                                                                {"shortest_code_bits", uint64_t{depth.shortest}},
                                                                {"longest_code_bits", uint64_t{depth.longest}},
                                                                {"least_headroom_bits", uint64_t{depth.least}},
                                                                {"median_headroom_bits", uint64_t{depth.median}},
                                                                {"most_headroom_bits", uint64_t{depth.most}}}});
  }
  return figures;
}

figure_list json_figures(const fit_study &study, fit_verdict verdict, const std::string &table,
                         const std::string &history) {
  figure_list figures = {{"table", table},
                         {"verdict", std::string(name_of(verdict))},
                         {"sentence", sentence(study, verdict)},
                         {"percent", study.percent()},
                         {"prefixes", study.prefixes},
                         {"anchors", study.anchors},
                         {"bits_needed", uint64_t{study.bits_needed}},
                         {"bits_percent", study.bits_percent()},
                         {"longest_code_bits", uint64_t{study.longest_code}},
                         {"pools", pool_figures(study.pools)},
                         {"depths", depth_figure_list(study.depths)}};
  if (!study.points.empty()) {
    figures.push_back({"history", figure_list{{"file", history},
                                              {"batches", study.batches},
                                              {"refused_batches", study.refused},
                                              {"additions", study.additions},
                                              {"deletes", study.deletes},
                                              {"moved", study.moved},
                                              {"prefixes_before", study.prefixes_before},
                                              {"bits_before", uint64_t{study.points.front().bits_needed}}}});
  }
  if (study.forecast) {
    figures.push_back(
        {"forecast", figure_list{{"limit", study.forecast->limit}, {"changes", study.forecast->changes}}});
  }
  return figures;
}

std::string pools_text(const fit_study &study) {
  std::string out = "\npool                in use       peak         of      %        bytes\n";
  uint64_t bytes = 0;
  for (const fit_pool &pool : study.pools) {
    out += fmt::format("{:<16} {:>9} {:>10} {:>10} {:>6} {:>12}\n", pool.name, pool.in_use, pool.peak,
                       pool.size == 0 ? "as needed" : std::to_string(pool.size),
                       pool.size == 0 ? "-" : std::to_string(pool.percent()), pool.peak * pool.element_bytes);
    bytes += pool.peak * pool.element_bytes;
  }
  return out + fmt::format("{:<16} {:>9} {:>10} {:>10} {:>6} {:>12}\n", "all", "", "", "", "", bytes);
}

std::string depths_text(const fit_study &study) {
  std::string out = "\ndepth   prefixes   code bits   headroom: least   median     most\n";
  for (const depth_figures &depth : study.depths) {
    const std::string codes = depth.shortest == depth.longest ? std::to_string(depth.longest)
                                                              : fmt::format("{}-{}", depth.shortest, depth.longest);
    out += fmt::format("{:>5} {:>10} {:>11} {:>17} {:>8} {:>8}\n", depth.depth, depth.prefixes, codes, depth.least,
                       depth.median, depth.most);
  }
  return out;
}

std::string text_figures(const fit_study &study, fit_verdict verdict) {
  std::string out = sentence(study, verdict) + "\n\n";
  out += fmt::format("prefixes      {}, and {} anchors\n", study.prefixes, study.anchors);
  out += fmt::format("bits needed   {} of 64", study.bits_needed);
  out += study.longest_code == 0 ? "\n" : fmt::format(", the longest code in use has {}\n", study.longest_code);
  if (!study.points.empty()) {
    out += fmt::format("history       {} batches, {} refused; {} additions, {} deletes, {} moved\n", study.batches,
                       study.refused, study.additions, study.deletes, study.moved);
    out += fmt::format("before it     {} prefixes, {} bits needed\n", study.prefixes_before,
                       study.points.front().bits_needed);
  }
  return study.pools.empty() ? out : out + pools_text(study) + depths_text(study);
}

exit_code run_fit(const fit_options &options) {
  if (options.warn > options.fail) {
    throw tool_failure{exit_bad_input, {"--warn is above --fail"}};
  }
  check_plain_output(options.output, {options.common.table, options.history});
  const prefix_table table = read_any_table(options.common);
  update_history history;
  if (!options.history.empty()) {
    history = read_command_history(options.history, table, true);
  }
  const fit_study study = study_fit(table, history, options.common);
  const fit_verdict verdict = judge(study, options);
  const output_format &format = *options.output.format;
  write_output(options.output, &format == &text_format()
                                   ? text_figures(study, verdict)
                                   : format_summary(json_figures(study, verdict, table.name, history.name), format));
  return verdict == fit_verdict::fits || verdict == fit_verdict::warn ? exit_good : exit_no;
}

}  // namespace

void add_fit_command(command_line &line) {
  const auto options = std::make_shared<fit_options>();
  command_options command(line, "fit", [options] { return run_fit(*options); });
  add_input_options(command, options->common);
  command.text("HISTORY", options->history);
  command.number("--warn", options->warn);
  command.number("--fail", options->fail);
  command.text("--pool-elements", options->common.pool_elements);
  add_output_options(command, options->output);
}

}  // namespace v6tool
