// SPDX-License-Identifier: Apache-2.0
#include "checked_library.h"

#include <algorithm>
#include <bitset>
#include <cstring>

#include "prefix_text.h"
#include "tcamv6_state_internal.h"
#include "test_host.h"
#include "tight_bits.h"

namespace instance_model {

namespace {

using v6tool::ip_prefix;

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

uint32_t bits_of(const stored_set &set) {
  std::vector<ip_prefix> prefixes;
  for (const auto &[prefix, count] : set) {
    prefixes.push_back(prefix);
  }
  return tight_bits(prefixes);
}

// Every entry's code and address. Cost: a dump.
told_moves::form_map forms(place at) {
  uint32_t n = 0;
  tcamv6_dump_n_prefixes(state_of(at), &n);
  std::vector<tcamv6_prefix> prefixes(n);
  std::vector<tcamv6_cmpr_pref> codes(n);
  std::vector<tcamv6_cmpr_addr> addresses(n);
  uint32_t written = 0;
  told_moves::form_map forms;
  if (tcamv6_dump_cmpr_tbl(state_of(at), static_cast<int32_t>(n), prefixes.data(), codes.data(), addresses.data(),
                           &written) != 0) {
    return forms;
  }
  for (uint32_t i = 0; i < written; ++i) {
    const ip_prefix prefix = stored_form({v6tool::key_from_bytes(prefixes[i].address), prefixes[i].length});
    const ip_prefix code = stored_form({v6tool::key_from_bytes(codes[i].key), codes[i].length});
    forms[prefix] = {code, {v6tool::key_from_bytes(addresses[i].bytes).hi, 0}};
  }
  return forms;
}

std::map<ip_prefix, uint32_t> handles_of(place at, const stored_set &set) {
  std::map<ip_prefix, uint32_t> handles;
  for (const auto &[prefix, count] : set) {
    const tcamv6_prefix record = record_of(prefix);
    uint32_t handle = 0;
    if (tcamv6_prefix_handle_query(state_of(at), &record, &handle) == 0 && handle != 0) {
      handles[prefix] = handle;
    }
  }
  return handles;
}

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
  set_mode(update_mode::compatible);
  set_move_limit(UINT32_MAX);
}

void checked_library::set_mode(update_mode mode) {
  mode_ = mode;
  instance_model::set_mode(mode);
}

void checked_library::set_move_limit(uint32_t entries) {
  move_limit_ = entries;
  zel_v6comp_set_move_limit(entries);
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
  const remembered before = full ? remembered{} : remember(at);
  answer a = instance_model::request(changes, at);
  std::string fault = full ? after_full_run(at, changes, a.status) : after_batch_run(at, changes, a.status, before);
  paths_left_ = !full && mode_ == update_mode::compatible && a.status != 0;
  if (fault.empty()) {
    fault = check(at);
  }
  if (out != nullptr) {
    *out = std::move(a);
  }
  return fault.empty() ? "" : fault + " after " + text_of(changes);
}

codes checked_library::what_must_stay() const { return paths_left_ ? codes::owned : codes::all; }

// For more than 64 bits, and in the other modes for limits.
bool checked_library::may_refuse_table(const stored_set &set, uint32_t status) const {
  if (mode_ == update_mode::room) {
    return status == 75 && bits_of(set) > TCAMV6_MAX_CMPR_LEN;
  }
  return status == 75 || (is_one_of(status, {1, 14}) && may_contradict(set));
}

std::string checked_library::after_full_run(place at, const std::vector<change> &changes, uint32_t status) {
  table &t = tables_[at];
  t = {};
  if (status == 0) {
    t.compressed = true;
    t.set = after_full(changes);
    const bool fits = mode_ != update_mode::room || bits_of(t.set) <= TCAMV6_MAX_CMPR_LEN;
    return fits ? difference(stored(at), t.set) : "a table of more than 64 bits was accepted";
  }
  const bool expected = may_refuse_table(after_full(changes), status) || (status == 12 && memory_may_fail_);
  return expected ? "" : unexpected("a full compression", status);
}

checked_library::remembered checked_library::remember(place at) const {
  remembered before;
  if (thorough_ && mode_ != update_mode::compatible) {
    before.fingerprint = fingerprint(at, what_must_stay());
    before.moves = told_moves::list(at.processor, at.instance);
    if (can_dump(tables_.at(at))) {
      before.forms = forms(at);
    }
  }
  return before;
}

bool checked_library::may_answer(place at, uint32_t status) const {
  const bool room = mode_ == update_mode::room;
  const bool no_place = is_one_of(status, {2, 14, 28}) && !(room && tables_.at(at).exact);
  const bool for_room = room && (status == 75 || (status == 28 && move_limit_ != UINT32_MAX));
  return status == 0 || status == 22 || no_place || for_room || (status == 12 && memory_may_fail_);
}

// A refused batch, or recompression, changes nothing.
std::string checked_library::check_left_alone(place at, const remembered &before) const {
  if (before.fingerprint.empty()) {
    return "";
  }
  if (fingerprint(at, what_must_stay()) != before.fingerprint) {
    return "a refused request changed something";
  }
  const std::vector<zel_v6comp_move> now = told_moves::list(at.processor, at.instance);
  const bool same = now.size() == before.moves.size() &&
                    (now.empty() || std::memcmp(now.data(), before.moves.data(), now.size() * sizeof now[0]) == 0);
  return same ? "" : "a refused request changed the list of moves";
}

std::string checked_library::check_moves(place at, const remembered &before, const std::set<ip_prefix> &deleted) const {
  const std::vector<zel_v6comp_move> moves = told_moves::list(at.processor, at.instance);
  if (moves.size() > move_limit_) {
    return std::to_string(moves.size()) + " entries were moved";
  }
  if (before.forms.empty() || !can_dump(tables_.at(at))) {
    return "";
  }
  return told_moves::fault(before.forms, forms(at), deleted, moves);
}

std::string checked_library::after_batch_run(place at, const std::vector<change> &changes, uint32_t status,
                                             const remembered &before) {
  table &t = tables_[at];
  if (!may_answer(at, status)) {
    return unexpected("a batch", status);
  }
  // Taking nothing from ::/0 while its sum has wrapped to 0 counts as its removal, which never happens: the number
  // of prefixes is one too low from then on.
  for (const change &c : changes) {
    t.counted = t.counted && (c.add || c.weight != 0 || c.prefix.length != 0);
  }
  if (mode_ == update_mode::compatible) {
    t.exact = false;
    t.counted = t.counted && status == 0;
  }
  if (t.exact) {
    return after_exact_batch(at, changes, status, before);
  }
  if (mode_ != update_mode::compatible && status != 0) {
    return check_left_alone(at, before);
  }
  t.set = stored(at);
  t.handles.clear();
  return "";
}

std::string checked_library::after_exact_batch(place at, const std::vector<change> &changes, uint32_t status,
                                               const remembered &before) {
  table &t = tables_[at];
  bool refused = false;
  std::vector<ip_prefix> removed;
  stored_set expected = after_batch(t.set, changes, mode_, refused, &removed);
  if (mode_ == update_mode::room) {
    // As listed, a prefix can come before another goes: more may be needed for a moment than in the end.
    const bool needs_more = bits_of(expected) > TCAMV6_MAX_CMPR_LEN;
    if ((needs_more && status == 0) || (status == 75 && !needs_more && !has_opposites(changes))) {
      return unexpected("a batch that needs as many bits as this", status);
    }
  }
  if (status != 0) {
    return status == 22 && !refused ? unexpected("a right batch", 22) : check_left_alone(at, before);
  }
  if (refused) {
    return "a delete of more than there is was accepted";
  }
  t.set = std::move(expected);
  std::set<ip_prefix> deleted(removed.begin(), removed.end());
  for (const ip_prefix &prefix : removed) {
    t.handles.erase(prefix);
  }
  for (const change &c : changes) {
    if (!c.add) {
      deleted.insert(stored_form(c.prefix));
    }
  }
  std::string fault = thorough_ ? difference(stored(at), t.set) : "";
  return fault.empty() ? check_moves(at, before, deleted) : fault;
}

std::string checked_library::recompress(place at) {
  table &t = tables_[at];
  const remembered before = t.compressed ? remember(at) : remembered{};
  const stored_set set = t.compressed ? stored(at) : stored_set{};
  const std::map<ip_prefix, uint32_t> handles = handles_of(at, set);
  const uint32_t status = zel_v6comp_recompress(at.processor, at.instance);
  if (!t.compressed) {
    return status == 22 ? "" : unexpected("a recompression of nothing", status);
  }
  if (status != 0) {
    const bool expected = may_refuse_table(set, status) || (status == 12 && memory_may_fail_);
    return expected ? check_left_alone(at, before) : unexpected("a recompression", status);
  }
  t.exact = true;
  t.set = set;
  std::string fault = difference(stored(at), set);
  if (fault.empty() && handles_of(at, set) != handles) {
    fault = "a recompression changed handles";
  }
  t.handles = handles;
  if (fault.empty() && !before.forms.empty()) {
    fault = told_moves::fault(before.forms, forms(at), {}, told_moves::list(at.processor, at.instance));
  }
  return fault.empty() ? check(at) : fault;
}

std::string checked_library::reset(place at) {
  tables_[at] = {};
  if (zel_v6comp_reset_instance(at.processor, at.instance) != 0) {
    return "a reset was refused";
  }
  return check(at);
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
