// SPDX-License-Identifier: Apache-2.0
// Delta debugging: cut the rows into n pieces and leave out one after the other. If what stays is refused, go on with
// that; if every piece is needed, cut finer. Sorted rows keep neighbours in one piece, and it is neighbours that get
// into one another's way, so the first cuts throw most of a large table out.
#include "refused_part.h"

#include <algorithm>
#include <chrono>

namespace v6tool {

namespace {

using steady = std::chrono::steady_clock;
constexpr std::chrono::seconds most_time(4);

class part_finder {
 public:
  part_finder(const part_trial &is_refused, std::vector<table_row> rows)
      : is_refused_(is_refused), rows_(std::move(rows)) {}

  refused_part find() {
    size_t pieces = 2;
    while (rows_.size() > 1 && !late()) {
      if (leave_out_one_of(pieces)) {
        pieces = std::max<size_t>(pieces - 1, 2);
      } else if (pieces < rows_.size()) {
        pieces = std::min(2 * pieces, rows_.size());
      } else {
        break;
      }
    }
    return {rows_, !late()};
  }

 private:
  bool late() const { return steady::now() - began_ > most_time; }

  bool leave_out_one_of(size_t pieces) {
    for (size_t i = 0; i < pieces && !late(); ++i) {
      const auto begin = static_cast<std::ptrdiff_t>(rows_.size() * i / pieces);
      const auto end = static_cast<std::ptrdiff_t>(rows_.size() * (i + 1) / pieces);
      std::vector<table_row> rest(rows_.begin(), rows_.begin() + begin);
      rest.insert(rest.end(), rows_.begin() + end, rows_.end());
      if (is_refused_(rest)) {
        rows_ = std::move(rest);
        return true;
      }
    }
    return false;
  }

  const part_trial &is_refused_;
  std::vector<table_row> rows_;
  steady::time_point began_ = steady::now();
};

}  // namespace

refused_part find_refused_part(const prefix_table &table, const part_trial &is_refused) {
  std::vector<table_row> rows = table.rows;
  const auto by_prefix = [](const table_row &a, const table_row &b) { return a.prefix < b.prefix; };
  std::stable_sort(rows.begin(), rows.end(), by_prefix);
  return part_finder(is_refused, std::move(rows)).find();
}

}  // namespace v6tool
