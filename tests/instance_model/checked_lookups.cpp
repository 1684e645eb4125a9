// SPDX-License-Identifier: Apache-2.0
// checked_lookups.cpp - the checked library's lookups: by the model, and with the read index as without it.
#include <cstring>

#include "checked_library.h"
#include "prefix_text.h"
#include "tcamv6_lookup_index.h"
#include "tcamv6_state_internal.h"

namespace instance_model {

using v6tool::ip_prefix;

namespace {

// All that a lookup writes; what it leaves alone must be the same too.
struct lookup_answer {
  int32_t result;
  tcamv6_prefix match;
  tcamv6_cmpr_pref pref;
  tcamv6_cmpr_addr addr;

  lookup_answer() { std::memset(static_cast<void *>(this), 0x5A, sizeof *this); }
};

// The answer, and whether the tries alone give the same.
template <class Ask>
lookup_answer answer_of(tcamv6_state *state, Ask ask, bool &same) {
  lookup_answer answer;
  ask(answer);
  const uint64_t index = state->read_index;
  state->read_index = 0;
  lookup_answer plain;
  ask(plain);
  state->read_index = index;
  same = std::memcmp(&answer, &plain, sizeof answer) == 0;
  return answer;
}

}  // namespace

std::string checked_library::lookup(place at, const ip_prefix &prefix) {
  const tcamv6_prefix record = record_of(prefix);
  tcamv6_state *state = state_of(at);
  bool same = false;
  const lookup_answer a = answer_of(
      state, [&](lookup_answer &to) { to.result = tcamv6_lookup_prefix(state, &record, &to.pref, &to.addr); }, same);
  const bool is_stored = tables_[at].set.count(stored_form(prefix)) != 0;
  if (a.result != (is_stored ? 0 : -22)) {
    return "lookup of " + v6tool::format_prefix(prefix) + " gave " + std::to_string(a.result);
  }
  if (!same) {
    return "lookup of " + v6tool::format_prefix(prefix) + " gave what the tries do not";
  }
  return a.result == 0 && a.pref.length > 64 ? "a code of more than 64 bits" : "";
}

std::string checked_library::lookup_address(place at, v6tool::ip_key address) {
  uint8_t bytes[16];
  v6tool::key_to_bytes(address, bytes);
  tcamv6_state *state = state_of(at);
  bool same = false;
  const lookup_answer a = answer_of(
      state, [&](lookup_answer &to) { to.result = tcamv6_lookup_address(state, bytes, &to.match, &to.pref, &to.addr); },
      same);
  const ip_prefix *longest = nullptr;
  for (const auto &[prefix, count] : tables_[at].set) {
    if (v6tool::covers(prefix, address) && (longest == nullptr || prefix.length > longest->length)) {
      longest = &prefix;
    }
  }
  if (a.result != (longest != nullptr ? 0 : -22)) {
    return "lookup of " + v6tool::format_address(address) + " gave " + std::to_string(a.result);
  }
  if (!same) {
    return "lookup of " + v6tool::format_address(address) + " gave what the tries do not";
  }
  if (longest == nullptr) {
    return "";
  }
  const counters &count = tables_[at].set[*longest];
  const bool right = a.match.length == longest->length &&
                     v6tool::covers(*longest, v6tool::key_from_bytes(a.match.address)) &&
                     a.match.weight == count.weight && a.match.anchor_ref == count.anchors;
  return right ? "" : v6tool::format_address(address) + " does not find " + v6tool::format_prefix(*longest);
}

std::string checked_library::many_lookups(place at) {
  tcamv6_state *state = state_of(at);
  const stored_set &set = tables_[at].set;
  const int32_t indexed = tcamv6_build_lookup_index(state);
  if (indexed != TM_OK && indexed != (state->opt_done == 1 ? TM_ENOMEM : TM_EINVAL)) {
    return "the read index cannot be built: " + std::to_string(indexed);
  }
  for (const auto &[prefix, count] : set) {
    std::string fault = lookup(at, prefix);
    if (fault.empty()) {
      fault = lookup_address(at, v6tool::last_address(prefix));
    }
    if (!fault.empty()) {
      return fault;
    }
  }
  return "";
}

}  // namespace instance_model
