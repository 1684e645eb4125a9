// SPDX-License-Identifier: Apache-2.0
#include "table_summary.h"

#include <fmt/core.h>

#include <algorithm>
#include <map>

#include "json_summary.h"

namespace v6tool {

namespace {

using length_counts = std::map<unsigned, uint32_t>;  // length in bits -> prefixes

struct summary {
  uint64_t rows = 0;
  uint32_t distinct = 0;
  uint32_t anchors = 0;
  uint32_t stored = 0;
  uint32_t longest_code = 0;  // bits, anchors included
  uint32_t bits_required = 0;
  length_counts before;  // distinct prefixes of the table
  length_counts after;   // their codes
  std::vector<pool_use> pools;
  double compress_ms = 0;
};

summary summarize(const table_session &session, const prefix_table &table) {
  const stored_prefixes &stored = session.stored();
  summary s;
  s.rows = table.rows.size();
  s.distinct = stored.n_table;
  s.anchors = stored.n_anchors;
  s.stored = static_cast<uint32_t>(stored.prefixes.size());
  s.bits_required = session.required_bits();
  s.pools = session.pools();
  s.compress_ms = session.compress_ms();
  for (uint32_t i = 0; i < s.stored; ++i) {
    const ip_prefix code = session.translate_stored(stored.prefixes[i]).code;
    s.longest_code = std::max<uint32_t>(s.longest_code, code.length);
    if (stored.kinds[i] == prefix_kind::table) {
      ++s.before[stored.prefixes[i].length];
      ++s.after[code.length];
    }
  }
  return s;
}

figure_list json_counts(const length_counts &counts) {
  figure_list figures;
  for (const auto &[length, count] : counts) {
    figures.push_back({std::to_string(length), uint64_t{count}});
  }
  return figures;
}

figure_list json_summary(const summary &s, const std::string &name) {
  figure_list pools;
  for (const pool_use &pool : s.pools) {
    pools.push_back({pool.name, figure_list{{"size_elements", uint64_t{pool.size}},
                                            {"in_use_elements", uint64_t{pool.in_use}},
                                            {"peak_elements", uint64_t{pool.peak}}}});
  }
  return {{"table", name},
          {"prefixes", s.rows},
          {"distinct_prefixes", s.distinct},
          {"anchors", s.anchors},
          {"stored_prefixes", s.stored},
          {"longest_compressed_length_bits", s.longest_code},
          {"bits_required", s.bits_required},
          {"prefixes_by_length_bits", json_counts(s.before)},
          {"prefixes_by_compressed_length_bits", json_counts(s.after)},
          {"pools", pools},
          {"compress_ms", s.compress_ms}};
}

void append_counts(std::string &out, const char *title, const length_counts &counts) {
  uint32_t largest = 1;
  for (const auto &[length, count] : counts) {
    largest = std::max(largest, count);
  }
  out += title;
  for (const auto &[length, count] : counts) {
    const uint64_t stars = std::max<uint64_t>(1, uint64_t{40} * count / largest);
    out += fmt::format("  /{:<4} {:>7}  {}\n", length, count, std::string(stars, '*'));
  }
}

std::string text_summary(const summary &s) {
  std::string out;
  out += fmt::format("prefixes            {} ({} distinct)\n", s.rows, s.distinct);
  out += fmt::format("anchors             {}\n", s.anchors);
  out += fmt::format("stored              {} (with anchors and /0)\n", s.stored);
  out += fmt::format("bits required       {} (what is longer keeps room for updates)\n", s.bits_required);
  out += fmt::format("longest compressed  {} of {} bits\n", s.longest_code, +TCAMV6_MAX_CMPR_LEN);
  out += fmt::format("time                {:.1f} ms\n", s.compress_ms);
  append_counts(out, "\nlengths before\n", s.before);
  append_counts(out, "\nlengths after\n", s.after);
  out += "\npool                    size    in use      peak\n";
  for (const pool_use &pool : s.pools) {
    out += fmt::format("{:<18} {:>9} {:>9} {:>9}\n", pool.name, pool.size, pool.in_use, pool.peak);
  }
  return out;
}

}  // namespace

std::string table_summary(const table_session &session, const prefix_table &table, const output_format &format) {
  const summary s = summarize(session, table);
  return &format == &text_format() ? text_summary(s) : format_summary(json_summary(s, table.name), format);
}

}  // namespace v6tool
