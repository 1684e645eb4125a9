// SPDX-License-Identifier: Apache-2.0
// prefix_wishes.h - what made-up prefixes are to be like: how many of each length, how many inside others, how many
// side by side. Shares are met to the prefix, not on average.
#ifndef PREFIX_WISHES_H
#define PREFIX_WISHES_H

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace v6tool {

// In parts of a million, so that no rounding depends on a machine.
using share = uint32_t;
constexpr share whole_share = 1000000;

// "0.4", "1", "0.333333": 0 to 1. Returns what is wrong in words, "" when it is good.
std::string parse_share(std::string_view text, share &value);

// "32:20,48:50,64:30": length and part; parts are whole numbers of any sum.
using length_mix = std::map<uint8_t, uint64_t>;
std::string parse_mix(std::string_view text, length_mix &mix);

// One prefix to be made.
struct prefix_wish {
  uint8_t length = 0;
  bool nested = false;     // inside another one
  bool clustered = false;  // the block before it, of the same length, is there too
};

struct wish_shares {
  length_mix mix;
  share nested = 0;
  share clustered = 0;
  // A share that was asked for is met, or nothing is made. One that was found somewhere is met as far as it can be.
  bool must_nest = true;
  bool must_cluster = true;
};

// `count` wishes, by length; of each length those that are not nested first, and clustered ones after the others.
// Lengths take their parts, the largest remainders one more; nested and clustered ones are taken from all lengths
// alike, as far as they can be.
//   there   lengths of the prefixes that are there already: the shortest of all lengths cannot be nested, and the first
//           of a length that is not there stands alone
// Returns what cannot be in words, "" when it is good.
std::string make_wishes(const wish_shares &shares, uint64_t count, const length_mix &there,
                        std::vector<prefix_wish> &wishes);

// `count` dealt out in proportion to `parts`, of which at least one is not 0; no one gets more than its limit. False
// when the limits do not suffice.
bool deal_out(uint64_t count, const std::vector<uint64_t> &parts, const std::vector<uint64_t> &limits,
              std::vector<uint64_t> &dealt);

}  // namespace v6tool

#endif
