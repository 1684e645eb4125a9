// SPDX-License-Identifier: Apache-2.0
// instance_host.h - the library under the observed host of the tests, driven by values.
#ifndef INSTANCE_HOST_H
#define INSTANCE_HOST_H

#include <compare>
#include <string>
#include <vector>

#include "prefix_value.h"
#include "zel_v6comp.h"

namespace instance_model {

// A place of the grid.
struct place {
  int32_t processor = 0;
  int32_t instance = 0;
  auto operator<=>(const place &) const = default;
};

inline constexpr place all_places[] = {{0, 0}, {0, 1}, {1, 0}, {1, 1}, {2, 0}, {2, 1}, {3, 0}, {3, 1}};

// One record of a request. Bits beyond the length may be set.
struct change {
  bool add = true;
  v6tool::ip_prefix prefix;
  uint32_t weight = 1;
};

// "+2001:db8::/32", "-2001:db8::/32 7"
change read_change(const std::string &text);
std::vector<change> read_changes(const std::vector<std::string> &texts);
std::string text_of(const change &c);
std::string text_of(const std::vector<change> &changes);

// The record that asks about a prefix, and the prefix without the bits beyond its length.
tcamv6_prefix record_of(const v6tool::ip_prefix &prefix);
v6tool::ip_prefix stored_form(const v6tool::ip_prefix &prefix);

struct answer {
  uint32_t status = 0;
  uint32_t changed = 0;
  std::vector<tcamv6_cmpr_pref> prefs;  // of an accepted request
  std::vector<tcamv6_cmpr_addr> addrs;
};

bool same_bytes(const answer &a, const answer &b);

// Everything anew: a fresh host, a fresh global block, pools of `elements` each. What was there is released.
uint32_t start(uint64_t elements = 32768);

// The sizes that raw_blk has had from the beginning.
void restore_pool_sizes();

answer request(const std::vector<change> &changes, place at = {});

tcamv6_state *state_of(place at = {});

enum class update_mode { compatible, safe, room };

void set_mode(update_mode mode);

void set_safe_updates(bool on);

// Elements allocated now, of all types, by the library's own counters.
uint64_t allocated();

}  // namespace instance_model

#endif
