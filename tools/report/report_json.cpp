// SPDX-License-Identifier: Apache-2.0
// The figures and the rows of a report as JSON.
#include <nlohmann/json.hpp>
#include <string_view>

#include "prefix_text.h"
#include "report_page.h"

namespace v6tool {

namespace {

using nlohmann::ordered_json;

constexpr auto replace = ordered_json::error_handler_t::replace;

constexpr const char *pool_names[ZEL_V6COMP_TABLE_POOLS] = {"tree nodes", "tree data", "prefix data", "path data",
                                                            "trie nodes"};

std::string text_of(const ordered_json &value) { return value.dump(-1, ' ', true, replace); }

ordered_json lengths_of(const report_data &data) {
  std::vector<uint64_t> before(129, 0);
  std::vector<uint64_t> after(65, 0);
  for (const zel_v6comp_table_row &row : data.rows) {
    ++before[row.length];
    ++after[row.code_length];
  }
  return {{"before", before}, {"after", after}};
}

ordered_json depths_of(const report_data &data) {
  ordered_json depths = ordered_json::array();
  for (const depth_figures &d : figures_by_depth(data.rows, nest(data.rows))) {
    depths.push_back({{"depth", d.depth},
                      {"prefixes", d.prefixes},
                      {"headroom", {{"min", d.least}, {"median", d.median}, {"max", d.most}}},
                      {"code", {{"min", d.shortest}, {"max", d.longest}}}});
  }
  return depths;
}

ordered_json pools_of(const report_data &data) {
  ordered_json pools = ordered_json::array();
  for (size_t i = 0; i < ZEL_V6COMP_TABLE_POOLS; ++i) {
    pools.push_back(
        {{"name", pool_names[i]}, {"in_use", data.figures.pools[i].in_use}, {"size", data.figures.pools[i].size}});
  }
  return pools;
}

// Columns, and the refusals beside them, since there are few.
ordered_json batches_of(const report_data &data) {
  ordered_json columns = {{"number", ordered_json::array()},  {"added", ordered_json::array()},
                          {"removed", ordered_json::array()}, {"moved", ordered_json::array()},
                          {"writes", ordered_json::array()},  {"prefixes", ordered_json::array()},
                          {"ms", ordered_json::array()},      {"refused", ordered_json::array()}};
  for (const report_batch &batch : data.batches) {
    columns["number"].push_back(batch.number);
    columns["added"].push_back(batch.added);
    columns["removed"].push_back(batch.removed);
    columns["moved"].push_back(batch.moved);
    columns["writes"].push_back(batch.writes);
    columns["prefixes"].push_back(batch.prefixes);
    columns["ms"].push_back(batch.ms);
    if (!batch.refused.empty()) {
      columns["refused"].push_back({{"batch", batch.number}, {"reason", batch.refused}});
    }
  }
  return columns;
}

std::string hex(uint64_t number) {
  static constexpr char digits[] = "0123456789abcdef";
  std::string text(16, '0');
  for (size_t i = 16; i-- > 0; number >>= 4) {
    text[i] = digits[number & 15];
  }
  return text;
}

}  // namespace

std::string report_json(const report_data &data) {
  ordered_json all = {{"schema", "v6comp.report/1"},
                      {"version", data.version},
                      {"table", data.table},
                      {"history", data.history.empty() ? ordered_json() : ordered_json(data.history)},
                      {"prefixes", data.figures.prefixes},
                      {"anchors", data.figures.anchors},
                      {"bits_needed", data.figures.bits_needed},
                      {"deepest_code", data.figures.deepest_code},
                      {"lengths", lengths_of(data)},
                      {"depths", depths_of(data)},
                      {"pools", pools_of(data)},
                      {"batches", data.history.empty() ? ordered_json() : batches_of(data)}};
  return text_of(all);
}

std::string report_rows_json(const report_data &data) {
  const row_nesting nesting = nest(data.rows);
  ordered_json prefix = ordered_json::array();
  ordered_json bits = ordered_json::array();
  ordered_json code = ordered_json::array();
  ordered_json key = ordered_json::array();
  ordered_json up = ordered_json::array();
  for (size_t i = 0; i < data.rows.size(); ++i) {
    const zel_v6comp_table_row &row = data.rows[i];
    const std::string key_digits = hex(row.key);
    prefix.push_back(format_prefix(prefix_of(row)));
    bits.push_back(row.code_length);
    code.push_back(hex(row.code).substr(0, (row.code_length + 3U) / 4));
    key.push_back(key_digits.substr(0, key_digits.find_last_not_of('0') + 1));
    up.push_back(nesting.parent[i] == row_nesting::none ? 0 : i - nesting.parent[i]);
  }
  return text_of({{"prefix", std::move(prefix)},
                  {"bits", std::move(bits)},
                  {"code", std::move(code)},
                  {"key", std::move(key)},
                  {"up", std::move(up)},
                  {"need", nesting.need}});
}

}  // namespace v6tool
