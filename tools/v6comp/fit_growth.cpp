// SPDX-License-Identifier: Apache-2.0
#include "fit_growth.h"

namespace v6tool {

std::optional<double> growth_per_change(std::span<const growth_point> points) {
  const auto count = static_cast<double>(points.size());
  double mean_changes = 0;
  double mean_value = 0;
  for (const growth_point &point : points) {
    mean_changes += point.changes / count;
    mean_value += point.value / count;
  }
  double spread = 0;
  double product = 0;
  for (const growth_point &point : points) {
    spread += (point.changes - mean_changes) * (point.changes - mean_changes);
    product += (point.changes - mean_changes) * (point.value - mean_value);
  }
  return spread > 0 ? std::optional(product / spread) : std::nullopt;
}

std::optional<uint64_t> changes_until(double now, double limit, double per_change) {
  constexpr double most = 1e12;
  if (now >= limit) {
    return 0;
  }
  if (per_change <= 0 || (limit - now) / per_change > most) {
    return std::nullopt;
  }
  return static_cast<uint64_t>((limit - now) / per_change);
}

}  // namespace v6tool
