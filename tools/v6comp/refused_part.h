// SPDX-License-Identifier: Apache-2.0
// refused_part.h - which prefixes of a refused table break the limit.
//
// A refusal has a status, not a culprit: what breaks a limit is how prefixes stand to one another. So parts of the
// table are compressed until one is found that is refused in the same way, and fits as soon as any prefix is taken out
// of it.
#ifndef REFUSED_PART_H
#define REFUSED_PART_H

#include <functional>
#include <vector>

#include "table_reader.h"

namespace v6tool {

struct refused_part {
  std::vector<table_row> rows;  // sorted by prefix
  bool smallest = false;        // fits without any one of its rows; false: time was up before that was sure
};

// Is a table of these rows refused in the same way?
using part_trial = std::function<bool(const std::vector<table_row> &rows)>;

// `table` is. Takes a few seconds at most, since with hostile tables the number of compressions grows with the square
// of the part's size.
refused_part find_refused_part(const prefix_table &table, const part_trial &is_refused);

}  // namespace v6tool

#endif
