// SPDX-License-Identifier: Apache-2.0
#include "prefix_crowd.h"

namespace v6tool {

std::optional<ip_prefix> block_after(const ip_prefix &prefix) {
  const ip_key next = next_key(last_address(prefix));
  return next == ip_key{} ? std::nullopt : std::optional(ip_prefix{next, prefix.length});
}

std::optional<ip_prefix> block_before(const ip_prefix &prefix) {
  return prefix.key == ip_key{}
             ? std::nullopt
             : std::optional(ip_prefix{masked(previous_key(prefix.key), prefix.length), prefix.length});
}

bool prefix_crowd::is_nested(const ip_prefix &prefix) const {
  for (uint8_t length = 0; length < prefix.length; ++length) {
    if (!by_length_[length].empty() && holds({masked(prefix.key, length), length})) {
      return true;
    }
  }
  return false;
}

bool prefix_crowd::is_clustered(const ip_prefix &prefix) const {
  const auto before = block_before(prefix);
  return before && holds(*before);
}

void prefix_crowd::insert(const ip_prefix &prefix) {
  std::vector<ip_prefix> &peers = by_length_[prefix.length];
  if (places_.try_emplace(prefix, peers.size()).second) {
    peers.push_back(prefix);
  }
}

// The last of its length takes its place.
void prefix_crowd::erase(const ip_prefix &prefix) {
  std::vector<ip_prefix> &peers = by_length_[prefix.length];
  const size_t place = places_.at(prefix);
  peers[place] = peers.back();
  places_[peers[place]] = place;
  peers.pop_back();
  places_.erase(prefix);
}

ip_prefix prefix_crowd::any(fixed_random &random) const {
  uint64_t n = random.below(size());
  size_t length = 0;
  for (; n >= by_length_[length].size(); ++length) {
    n -= by_length_[length].size();
  }
  return by_length_[length][n];
}

std::optional<ip_prefix> prefix_crowd::any_shorter(uint8_t length, fixed_random &random) const {
  uint64_t count = 0;
  for (uint8_t shorter = 0; shorter < length; ++shorter) {
    count += by_length_[shorter].size();
  }
  if (count == 0) {
    return std::nullopt;
  }
  uint64_t n = random.below(count);
  uint8_t shorter = 0;
  for (; n >= by_length_[shorter].size(); ++shorter) {
    n -= by_length_[shorter].size();
  }
  return by_length_[shorter][n];
}

std::optional<ip_prefix> prefix_crowd::propose(const prefix_wish &wish, fixed_random &random) const {
  if (wish.clustered) {
    const std::vector<ip_prefix> &peers = by_length_[wish.length];
    return peers.empty() ? std::nullopt : block_after(peers[random.below(peers.size())]);
  }
  const std::optional<ip_prefix> around = wish.nested ? any_shorter(wish.length, random) : within_;
  if (!around || around->length > wish.length) {
    return std::nullopt;
  }
  const ip_key noise = random.key() & ~leading_ones(around->length);
  return ip_prefix{masked(around->key | noise, wish.length), wish.length};
}

std::optional<ip_prefix> prefix_crowd::find_place(const prefix_wish &wish, fixed_random &random) const {
  constexpr int attempts = 20000;
  for (int i = 0; i < attempts; ++i) {
    const std::optional<ip_prefix> place = propose(wish, random);
    if (!place || !contains(within_, *place) || holds(*place) || is_nested(*place) != wish.nested ||
        is_clustered(*place) != wish.clustered) {
      continue;
    }
    if (const auto after = block_after(*place); !after || !holds(*after)) {
      return place;
    }
  }
  return std::nullopt;
}

std::vector<ip_prefix> prefix_crowd::sorted() const {
  std::vector<ip_prefix> prefixes;
  prefixes.reserve(size());
  for (const auto &[prefix, place] : places_) {
    prefixes.push_back(prefix);
  }
  return prefixes;
}

}  // namespace v6tool
