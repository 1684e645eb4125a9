// SPDX-License-Identifier: Apache-2.0
// fit_growth.h - how a figure grows over a history, and when it gets to its limit if it goes on like that.
//
// Growth is a straight line through all points. Bits of codes grow more slowly than that where prefixes come side by
// side (twice as many take one bit more), so that the answer is rather early than late.
#ifndef FIT_GROWTH_H
#define FIT_GROWTH_H

#include <cstdint>
#include <optional>
#include <span>

namespace v6tool {

struct growth_point {
  double changes = 0;  // so far
  double value = 0;    // after them
};

// Of the line with the least squares; nothing for points that are not at two places at least.
std::optional<double> growth_per_change(std::span<const growth_point> points);

// More changes until `limit` is reached, rounded down; 0 when it is reached already. Nothing when the line does not
// lead there, or not within 10^12 changes.
std::optional<uint64_t> changes_until(double now, double limit, double per_change);

}  // namespace v6tool

#endif
