// SPDX-License-Identifier: Apache-2.0
#include "prefix_wishes.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <numeric>

#include "prefix_text.h"

namespace v6tool {

namespace {

bool parse_count(std::string_view text, uint64_t most, uint64_t &value) {
  const auto [at, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return !text.empty() && at == text.data() + text.size() && error == std::errc() && value <= most;
}

uint64_t sum_of(const std::vector<uint64_t> &values) {
  return std::accumulate(values.begin(), values.end(), uint64_t{0});
}

// The share of a count, rounded to the nearest.
uint64_t part_of(share part, uint64_t count) { return (count * part + whole_share / 2) / whole_share; }

std::string too_much(const char *what, uint64_t possible, uint64_t count) {
  return std::string("no more than ") + std::to_string(possible) + " of " + std::to_string(count) +
         " prefixes can be " + what + " with these lengths";
}

// How many of a count have a property, of which the limits allow no more than their sum.
uint64_t due(share part, uint64_t count, const std::vector<uint64_t> &limits, bool must_be) {
  const uint64_t all = part_of(part, count);
  return must_be ? all : std::min(all, sum_of(limits));
}

// Prefixes of one length that are nested, or that are not.
struct wish_group {
  uint8_t length;
  bool nested;
  uint64_t count;
};

std::string deal_groups(const wish_shares &shares, uint64_t count, const length_mix &there,
                        std::vector<wish_group> &groups) {
  std::vector<uint64_t> parts;
  for (const auto &[length, part] : shares.mix) {
    parts.push_back(part);
  }
  std::vector<uint64_t> counts;
  deal_out(count, parts, std::vector<uint64_t>(parts.size(), count), counts);
  std::vector<uint64_t> limits = counts;
  bool is_shortest = true;  // of those that are there and those that come
  size_t at = 0;
  for (const auto &[length, part] : shares.mix) {
    is_shortest = is_shortest && (there.empty() || there.begin()->first >= length);
    limits[at] = is_shortest ? 0 : counts[at];
    is_shortest = is_shortest && counts[at] == 0;
    ++at;
  }
  std::vector<uint64_t> nested;
  if (!deal_out(due(shares.nested, count, limits, shares.must_nest), limits, limits, nested)) {
    return too_much("nested", sum_of(limits), count);
  }
  size_t i = 0;
  for (const auto &[length, part] : shares.mix) {
    groups.push_back({length, false, counts[i] - nested[i]});
    groups.push_back({length, true, nested[i]});
    ++i;
  }
  return "";
}

}  // namespace

std::string parse_share(std::string_view text, share &value) {
  constexpr const char *expected = "expected a share from 0 to 1, such as 0.25";
  const size_t dot = std::min(text.find('.'), text.size());
  std::string digits(text.substr(std::min(dot + 1, text.size())));
  uint64_t ones = 0;
  uint64_t millionths = 0;
  if (digits.size() > 6 || (dot != text.size() && digits.empty()) || !parse_count(text.substr(0, dot), 1, ones)) {
    return expected;
  }
  digits.resize(6, '0');
  if (!parse_count(digits, whole_share, millionths) || ones * whole_share + millionths > whole_share) {
    return expected;
  }
  value = static_cast<share>(ones * whole_share + millionths);
  return "";
}

std::string parse_mix(std::string_view text, length_mix &mix) {
  mix.clear();
  while (!text.empty()) {
    const std::string_view item = text.substr(0, text.find(','));
    text.remove_prefix(std::min(item.size() + 1, text.size()));
    const size_t colon = std::min(item.find(':'), item.size());
    uint64_t length = 0;
    uint64_t part = 0;
    if (colon == item.size() || !parse_count(item.substr(0, colon), 128, length) ||
        !parse_count(item.substr(colon + 1), UINT32_MAX, part)) {
      return printable(item) + ": expected length:part, such as 48:50, with lengths up to 128";
    }
    mix[static_cast<uint8_t>(length)] += part;
  }
  std::erase_if(mix, [](const auto &entry) { return entry.second == 0; });
  return mix.empty() ? "no length has a part" : "";
}

bool deal_out(uint64_t count, const std::vector<uint64_t> &parts, const std::vector<uint64_t> &limits,
              std::vector<uint64_t> &dealt) {
  dealt.assign(parts.size(), 0);
  const uint64_t all = sum_of(parts);
  if (count == 0 || sum_of(limits) < count || all == 0) {
    return count == 0;
  }
  std::vector<double> missing(parts.size());
  for (size_t i = 0; i < parts.size(); ++i) {
    const double due = static_cast<double>(count) * static_cast<double>(parts[i]) / static_cast<double>(all);
    dealt[i] = std::min(static_cast<uint64_t>(due), limits[i]);
    missing[i] = due - static_cast<double>(dealt[i]);
  }
  for (uint64_t rest = count - std::min(count, sum_of(dealt)); rest > 0; --rest) {
    size_t best = parts.size();
    for (size_t i = 0; i < parts.size(); ++i) {
      if (dealt[i] < limits[i] && (best == parts.size() || missing[i] > missing[best])) {
        best = i;
      }
    }
    ++dealt[best];
    missing[best] -= 1;
  }
  return true;
}

std::string make_wishes(const wish_shares &shares, uint64_t count, const length_mix &there,
                        std::vector<prefix_wish> &wishes) {
  std::vector<wish_group> groups;
  if (std::string fault = deal_groups(shares, count, there, groups); !fault.empty()) {
    return fault;
  }
  std::vector<uint64_t> parts;
  std::vector<uint64_t> limits;
  for (const wish_group &group : groups) {
    parts.push_back(group.count);
    limits.push_back(group.count != 0 && !there.contains(group.length) ? group.count - 1 : group.count);
  }
  std::vector<uint64_t> clustered;
  if (!deal_out(due(shares.clustered, count, limits, shares.must_cluster), parts, limits, clustered)) {
    return too_much("clustered", sum_of(limits), count);
  }
  for (size_t i = 0; i < groups.size(); ++i) {
    for (uint64_t n = 0; n < groups[i].count; ++n) {
      wishes.push_back({groups[i].length, groups[i].nested, n >= groups[i].count - clustered[i]});
    }
  }
  return "";
}

}  // namespace v6tool
