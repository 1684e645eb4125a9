// SPDX-License-Identifier: Apache-2.0
// fit_study.h - what a table takes of the bits of a code and of the library's pools, now and over a history.
#ifndef FIT_STUDY_H
#define FIT_STUDY_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "history_reader.h"
#include "report_data.h"
#include "tool_options.h"

namespace v6tool {

struct fit_pool {
  std::string name;
  uint64_t element_bytes = 0;
  uint64_t in_use = 0;  // elements
  uint64_t peak = 0;    // most at a time, the full compression included
  uint64_t size = 0;    // elements that there are; 0: as many as needed

  uint64_t percent() const { return size == 0 ? 0 : (peak * 100 + size - 1) / size; }
};

// After so many changes of the history.
struct fit_point {
  uint64_t changes = 0;
  uint32_t bits_needed = 0;
  std::vector<uint64_t> in_use;  // by pool
};

// When something is used up, if the history goes on.
struct fit_forecast {
  std::string limit;  // "bits", or a pool's name
  uint64_t changes = 0;
};

struct fit_study {
  std::string misfit;         // why the table, or a batch, does not fit; "" = all fits
  uint32_t bits_needed = 0;   // more than 64 when the table does not fit for its bits
  uint32_t longest_code = 0;  // in use
  uint64_t prefixes = 0;
  uint64_t anchors = 0;
  std::vector<fit_pool> pools;
  std::vector<depth_figures> depths;

  // Of the history, when there is one.
  uint64_t prefixes_before = 0;
  uint64_t batches = 0, refused = 0;
  uint64_t additions = 0, deletes = 0, moved = 0;
  std::vector<fit_point> points;  // the beginning, and at most 200 others
  std::optional<fit_forecast> forecast;

  uint64_t bits_percent() const { return (uint64_t{bits_needed} * 100 + 63) / 64; }
  uint64_t percent() const;  // of what is fullest
};

// The history may be empty. A batch that does not fit is left out.
fit_study study_fit(const prefix_table &table, const update_history &history, const common_options &options);

}  // namespace v6tool

#endif
