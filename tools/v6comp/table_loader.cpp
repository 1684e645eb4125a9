// SPDX-License-Identifier: Apache-2.0
// Neighbours share their enclosing prefixes, so in the order of addresses a batch has little to squeeze in above what
// is there. In any other order more prefixes have to move, and each of them costs time.
#include "table_loader.h"

#include <algorithm>
#include <map>
#include <numeric>

namespace v6tool {

namespace {

constexpr size_t most_records = TCAMV6_MAX_PREFIXES;

std::vector<size_t> by_address(const prefix_table &table) {
  std::vector<size_t> order(table.rows.size());
  std::iota(order.begin(), order.end(), size_t{0});
  std::stable_sort(order.begin(), order.end(),
                   [&](size_t a, size_t b) { return table.rows[a].prefix < table.rows[b].prefix; });
  return order;
}

// The rows that came in earlier requests and are somewhere else now.
class row_places {
 public:
  row_places(const prefix_table &table, request_outcome &outcome) : table_(table), outcome_(outcome) {}

  void take(std::span<const zel_v6comp_move> moves) {
    if (moves.empty()) {
      return;
    }
    std::map<ip_prefix, ip_prefix> codes;
    for (const zel_v6comp_move &move : moves) {
      uint8_t key[16] = {};
      std::copy(std::begin(move.new_key), std::end(move.new_key), key);
      codes[{key_from_bytes(move.address), move.length}] = {key_from_bytes(key), move.new_length};
    }
    for (size_t row = 0; row < table_.rows.size(); ++row) {
      const auto moved = codes.find(table_.rows[row].prefix);
      if (moved != codes.end()) {
        outcome_.codes[row] = moved->second;
      }
    }
  }

 private:
  const prefix_table &table_;
  request_outcome &outcome_;
};

}  // namespace

request_outcome load_table(const library_instance &instance, const prefix_table &table) {
  const std::vector<request_row> rows = request_rows(table);
  if (rows.size() <= most_records) {
    return instance.request(rows);
  }
  request_outcome outcome;
  outcome.codes.resize(rows.size());
  row_places places(table, outcome);
  const std::vector<size_t> order = by_address(table);
  for (size_t begin = 0; begin < order.size(); begin += most_records) {
    const size_t n = std::min(most_records, order.size() - begin);
    std::vector<request_row> part(n);
    std::transform(order.begin() + static_cast<std::ptrdiff_t>(begin),
                   order.begin() + static_cast<std::ptrdiff_t>(begin + n), part.begin(),
                   [&](size_t row) { return rows[row]; });
    const request_outcome one = instance.request(part);
    outcome.ms += one.ms;
    outcome.status = one.status;
    if (one.status != 0) {
      outcome.codes.clear();
      break;
    }
    for (size_t i = 0; i < n; ++i) {
      outcome.codes[order[begin + i]] = one.codes[i];
    }
    places.take(instance.moves());
  }
  return outcome;
}

pool_needs needs_of_loading(const stored_prefixes &stored, size_t rows) {
  pool_needs needs = find_pool_needs(stored);
  if (rows > most_records) {
    for (pool_need &need : needs) {
      need.most *= 2;
    }
  }
  return needs;
}

}  // namespace v6tool
