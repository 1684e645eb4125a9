// SPDX-License-Identifier: Apache-2.0
#include "checked_library.h"

#include <algorithm>
#include <bitset>
#include <cstring>

#include "prefix_text.h"
#include "tcamv6_lookup_index.h"
#include "tcamv6_state_internal.h"
#include "test_host.h"

namespace instance_model {

namespace {

using v6tool::ip_prefix;

tcamv6_prefix record_of(const ip_prefix &prefix) {
  tcamv6_prefix record = {};
  record.length = prefix.length;
  v6tool::key_to_bytes(prefix.key, record.address);
  return record;
}

ip_prefix stored_form(const ip_prefix &prefix) { return {v6tool::masked(prefix.key, prefix.length), prefix.length}; }

std::string difference(const stored_set &stored, const stored_set &expected) {
  for (const auto &[prefix, count] : expected) {
    const auto found = stored.find(prefix);
    if (found == stored.end()) {
      return v6tool::format_prefix(prefix) + " is missing";
    }
    if (found->second != count) {
      return v6tool::format_prefix(prefix) + " has counters " + std::to_string(found->second.weight) + ' ' +
             std::to_string(found->second.anchors) + " instead of " + std::to_string(count.weight) + ' ' +
             std::to_string(count.anchors);
    }
  }
  return stored.size() == expected.size() ? "" : "something is stored that should not be";
}

bool is_one_of(uint32_t status, std::initializer_list<uint32_t> statuses) {
  return std::find(statuses.begin(), statuses.end(), status) != statuses.end();
}

// Most nodes of the path-compressed trie above one prefix: stored ones and forks.
size_t deepest_path(const stored_set &set) {
  size_t deepest = 0;
  for (const auto &[prefix, prefix_count] : set) {
    std::bitset<129> nodes;
    for (const auto &[other, other_count] : set) {
      const unsigned shared = std::min<unsigned>(v6tool::common_bits(prefix.key, other.key), other.length);
      if (shared < prefix.length) {
        nodes.set(shared);
      }
    }
    deepest = std::max(deepest, nodes.count());
  }
  return deepest;
}

// Limits and codes contradict each other (14), or no depth is left for a node of the code tree (1), only where the
// path-compressed trie is deeper than 64 edges; below each node it may keep one edge more for what comes later.
bool may_contradict(const stored_set &set) { return 2 * deepest_path(set) > 64; }

std::string unexpected(const char *what, uint32_t status) {
  return std::string(what) + " answered " + std::to_string(status);
}

}  // namespace

checked_library::checked_library(uint64_t pool_elements, bool fresh) {
  if (fresh || gbl_state == nullptr) {
    start(pool_elements);
  }
  for (const place &at : all_places) {
    zel_v6comp_reset_instance(at.processor, at.instance);
  }
  tcamv6_debug_flags = {};
  tags_so_far = 0;
  set_safe_updates(false);
}

void checked_library::set_safe(bool on) {
  safe_ = on;
  set_safe_updates(on);
}

std::string checked_library::check(place at) {
  table &t = tables_[at];
  if (!thorough_) {
    return "";
  }
  std::string fault = first_fault(at, t.counted);
  if (fault.empty() && t.compressed && t.exact) {
    fault = containment_fault(at);
  }
  return fault;
}

std::string checked_library::full_check(place at) {
  const bool was = thorough_;
  thorough_ = true;
  std::string fault = check(at);
  thorough_ = was;
  const table &t = tables_[at];
  if (fault.empty() && t.compressed && t.exact) {
    fault = difference(stored(at), t.set);
  }
  return fault;
}

std::string checked_library::request(place at, const std::vector<change> &changes, answer *out) {
  table &t = tables_[at];
  const bool full = !t.compressed;
  const std::string before = thorough_ && safe_ && !full ? fingerprint(at, what_must_stay()) : "";
  answer a = instance_model::request(changes, at);
  std::string fault = full ? after_full_run(at, changes, a.status) : after_batch_run(at, changes, a.status, before);
  paths_left_ = !full && !safe_ && a.status != 0;
  if (fault.empty()) {
    fault = check(at);
  }
  if (out != nullptr) {
    *out = std::move(a);
  }
  return fault.empty() ? "" : fault + " after " + text_of(changes);
}

codes checked_library::what_must_stay() const { return paths_left_ ? codes::owned : codes::all; }

std::string checked_library::after_full_run(place at, const std::vector<change> &changes, uint32_t status) {
  table &t = tables_[at];
  t = {};
  if (status == 0) {
    t.compressed = true;
    t.set = after_full(changes);
    return difference(stored(at), t.set);
  }
  const bool expected = status == 75 || (is_one_of(status, {1, 14}) && may_contradict(after_full(changes))) ||
                        (status == 12 && memory_may_fail_);
  return expected ? "" : unexpected("a full compression", status);
}

std::string checked_library::after_batch_run(place at, const std::vector<change> &changes, uint32_t status,
                                             const std::string &before) {
  table &t = tables_[at];
  if (!is_one_of(status, {0, 2, 14, 22, 28}) && !(status == 12 && memory_may_fail_)) {
    return unexpected("a batch", status);
  }
  // Taking nothing from ::/0 while its sum has wrapped to 0 counts as its removal, which never happens: the number
  // of prefixes is one too low from then on.
  for (const change &c : changes) {
    t.counted = t.counted && (c.add || c.weight != 0 || c.prefix.length != 0);
  }
  if (!safe_) {
    t.exact = false;
    t.counted = t.counted && status == 0;
    t.set = stored(at);
    t.handles.clear();
    return "";
  }
  if (status != 0) {
    return !before.empty() && fingerprint(at, what_must_stay()) != before ? "a refused batch changed something" : "";
  }
  bool refused = false;
  std::vector<ip_prefix> removed;
  stored_set expected = after_batch(t.set, changes, true, refused, &removed);
  if (!t.exact) {
    t.set = stored(at);
    t.handles.clear();
    return "";
  }
  if (refused) {
    return "a delete of more than there is was accepted";
  }
  t.set = std::move(expected);
  for (const ip_prefix &prefix : removed) {
    t.handles.erase(prefix);
  }
  return thorough_ ? difference(stored(at), t.set) : "";
}

std::string checked_library::reset(place at) {
  tables_[at] = {};
  if (zel_v6comp_reset_instance(at.processor, at.instance) != 0) {
    return "a reset was refused";
  }
  return check(at);
}

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

std::string checked_library::attach(place at, const ip_prefix &prefix, uint32_t handle) {
  const tcamv6_prefix record = record_of(prefix);
  const int32_t result = tcamv6_prefix_handle_attach(state_of(at), &record, handle);
  const bool is_stored = tables_[at].set.count(stored_form(prefix)) != 0;
  if (is_stored && result == 0) {
    tables_[at].handles[stored_form(prefix)] = handle;
  }
  return result == (is_stored ? 0 : -22) ? "" : "attaching gave " + std::to_string(result);
}

std::string checked_library::query(place at, const ip_prefix &prefix) {
  const table &t = tables_[at];
  const tcamv6_prefix record = record_of(prefix);
  uint32_t handle = 0xDEAD;
  const int32_t result = tcamv6_prefix_handle_query(state_of(at), &record, &handle);
  if (t.set.count(stored_form(prefix)) == 0) {
    return result == -22 && handle == 0xDEAD ? "" : "querying what is not stored gave " + std::to_string(result);
  }
  if (result != 0) {
    return "querying gave " + std::to_string(result);
  }
  const auto found = t.handles.find(stored_form(prefix));
  const uint32_t expected = found == t.handles.end() ? 0 : found->second;
  return !t.exact || handle == expected ? "" : "the handle of " + v6tool::format_prefix(prefix) + " is another";
}

std::string checked_library::dump(place at) {
  const table &t = tables_[at];
  uint32_t count = 0xDEAD;
  tm_incr_update_entry *list = nullptr;
  const uint32_t status = zel_v6comp_sort_and_dump_prefix(at.processor, at.instance, &count, &list);
  if (!t.compressed) {
    return count == 0 && is_one_of(status, {0, 22}) ? "" : unexpected("a dump of nothing", status);
  }
  if (!t.exact || !t.counted) {
    return is_one_of(status, {0, 14, 22}) ? "" : unexpected("a dump", status);
  }
  size_t rows = 0;
  for (const auto &[prefix, c] : t.set) {
    rows += c.weight != c.anchors ? 1 : 0;
  }
  if (status != 0 || count != rows) {
    return unexpected("a dump", status) + ", " + std::to_string(count) + " rows of " + std::to_string(rows);
  }
  for (uint32_t i = 0; i < count; ++i) {
    const ip_prefix prefix = stored_form({v6tool::key_from_bytes(list[i].prefix), list[i].length});
    if (t.set.count(prefix) == 0 || (i != 0 && list[i - 1].length < list[i].length)) {
      return "a dump shows " + v6tool::format_prefix(prefix) + " wrongly";
    }
  }
  return "";
}

std::string checked_library::refusals(place at) {
  const std::string before = fingerprint(at);
  const std::vector<change> too_long = {{true, {{}, 129}, 1}};
  const bool refused = instance_model::request(too_long, at).status == 22 &&
                       instance_model::request({}, {4, at.instance}).status == 22 &&
                       instance_model::request({}, {at.processor, -1}).status == 22 &&
                       instance_model::request({}, {at.processor, 2}).status == 22;
  if (!refused) {
    return "a request off the grid or with a long record was not refused with 22";
  }
  return fingerprint(at) == before ? "" : "a turned away request changed something";
}

}  // namespace instance_model
