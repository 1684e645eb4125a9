// SPDX-License-Identifier: Apache-2.0
#include "updated_table.h"

#include <algorithm>
#include <cstring>

#include "prefix_text.h"

namespace updated_table {

namespace {

using v6tool::ip_prefix;

tcamv6_state *instance() { return zel_v6comp_instance(0, 0); }

ip_prefix prefix_of(const uint8_t address[16], uint8_t length) {
  return {v6tool::masked(v6tool::key_from_bytes(address), length), length};
}

tcamv6_prefix record_of(const change &c) {
  tcamv6_prefix record = {};
  record.flags_tag = c.add ? TM_PREFIX_FLAG_ADD : 0;
  record.weight = c.weight;
  record.length = c.prefix.length;
  v6tool::key_to_bytes(c.prefix.key, record.address);
  return record;
}

std::vector<tcamv6_prefix> records_of(std::span<const change> changes) {
  std::vector<tcamv6_prefix> records;
  for (const change &c : changes) {
    records.push_back(record_of(c));
  }
  return records;
}

// The working list of a request: its records, their anchors and perhaps /0, sorted.
std::vector<tcamv6_prefix> working_list(std::span<const change> changes, bool full) {
  const std::vector<tcamv6_prefix> records = records_of(changes);
  tcamv6_prefix *list = nullptr;
  uint32_t count = 0;
  if (tcamv6_build_prefix_list(records.data(), &list, static_cast<uint32_t>(records.size()), &count, full ? 1 : 0) !=
      0) {
    std::abort();
  }
  std::vector<tcamv6_prefix> copy(list, list + count);
  zel_free_named(list);
  return copy;
}

bool is_add(const tcamv6_prefix &record) { return (record.flags_tag & TM_PREFIX_FLAG_ADD) != 0; }
bool is_anchor(const tcamv6_prefix &record) { return record.weight == record.anchor_ref; }

uint16_t share_of(const sums &s) { return static_cast<uint16_t>(s.weight - s.anchors); }

void add_to(sums *s, const tcamv6_prefix &record) {
  s->weight = static_cast<uint16_t>(s->weight + record.weight);
  s->anchors = static_cast<uint16_t>(s->anchors + record.anchor_ref);
}

}  // namespace

std::string text_of(const change_list &changes) {
  std::string text;
  for (const change &c : changes) {
    text.append(text.empty() ? "" : " ").append(c.add ? "+" : "-").append(v6tool::format_prefix(c.prefix));
    if (c.weight != 1) {
      text.append("*").append(std::to_string(c.weight));
    }
  }
  return text;
}

uint32_t request(std::span<const change> changes) {
  const std::vector<tcamv6_prefix> records = records_of(changes);
  std::vector<uint8_t> bytes(sizeof(v6comp_pref_info) + records.size() * sizeof(tcamv6_prefix));
  const v6comp_pref_info head = {0, 0, static_cast<uint32_t>(records.size())};
  std::memcpy(bytes.data(), &head, sizeof head);
  if (!records.empty()) {
    std::memcpy(bytes.data() + sizeof head, records.data(), records.size() * sizeof(tcamv6_prefix));
  }
  return zel_v6comp_prefix_compress(reinterpret_cast<const v6comp_pref_info *>(bytes.data()));
}

void reset() { zel_v6comp_reset_instance(0, 0); }

void counting::compress(std::span<const change> changes) {
  stored_.clear();
  bare_paths_.clear();
  for (const tcamv6_prefix &record : working_list(changes, true)) {
    add_to(&stored_[prefix_of(record.address, record.length)], record);
  }
}

uint16_t counting::own_share(const ip_prefix &prefix) const {
  const auto found = stored_.find(prefix);
  return found == stored_.end() ? uint16_t{0} : share_of(found->second);
}

bool counting::has_longer(const ip_prefix &prefix) const {
  const auto next = stored_.upper_bound(prefix);
  return next != stored_.end() && v6tool::contains(prefix, next->first);
}

void counting::forget_bare_paths() {
  std::erase_if(bare_paths_, [this](const auto &path) { return !has_longer(path.first); });
}

// False: there is not that much.
bool counting::remove(const tcamv6_prefix &record, bool safe) {
  const ip_prefix prefix = prefix_of(record.address, record.length);
  const auto found = stored_.find(prefix);
  const bool from_share = safe && !is_anchor(record);
  if (found == stored_.end() || (from_share && share_of(found->second) == 0)) {
    return true;
  }
  sums *s = &found->second;
  if (record.weight > (from_share ? share_of(*s) : s->weight)) {
    return false;
  }
  s->weight = static_cast<uint16_t>(s->weight - record.weight);
  s->anchors = static_cast<uint16_t>(s->anchors - record.anchor_ref);
  if (s->weight != 0) {
    return true;
  }
  if (prefix.length == 0) {
    s->weight = 1;
    return true;
  }
  const sums left = *s;
  stored_.erase(found);
  if (has_longer(prefix)) {
    bare_paths_[prefix] = left;
  }
  forget_bare_paths();
  return true;
}

uint32_t counting::apply_list(const std::vector<tcamv6_prefix> &list, bool safe) {
  for (const tcamv6_prefix &record : list) {
    if (!is_add(record)) {
      if (!remove(record, safe)) {
        return 22;
      }
      continue;
    }
    const ip_prefix prefix = prefix_of(record.address, record.length);
    if (const auto path = bare_paths_.find(prefix); path != bare_paths_.end()) {
      stored_[prefix] = path->second;
      bare_paths_.erase(path);
    }
    add_to(&stored_[prefix], record);
  }
  return 0;
}

uint32_t counting::apply(std::span<const change> changes, bool safe) {
  change_list effective;
  std::map<ip_prefix, uint16_t> shares;
  for (const change &c : changes) {
    if (safe) {
      const auto [at, is_new] = shares.try_emplace(c.prefix, uint16_t{0});
      uint16_t &share = at->second;
      share = is_new ? own_share(c.prefix) : share;
      // It gets no anchors, and finds nothing when its turn comes: only ::/0 is never left without a share.
      if (!c.add && share == 0 && c.prefix.length != 0) {
        continue;
      }
      if (c.add) {
        share = static_cast<uint16_t>(share + c.weight);
      } else if (c.weight <= share) {
        share = static_cast<uint16_t>(share - c.weight);
      }
    }
    effective.push_back(c);
  }
  const counting before = *this;
  const uint32_t status = apply_list(working_list(effective, false), safe);
  if (status != 0) {
    *this = before;
  }
  return status;
}

bool stored_row::operator==(const stored_row &other) const {
  return row.original == other.row.original && row.code == other.row.code && row.address == other.row.address &&
         counters == other.counters;
}

std::optional<std::vector<stored_row>> look_up(const counting &expected, std::string *fault) {
  std::vector<stored_row> rows;
  size_t n_dumped = 0;
  for (const auto &[prefix, counters] : expected.stored()) {
    const tcamv6_prefix record = record_of({true, prefix, 0});
    tcamv6_cmpr_pref code = {};
    tcamv6_cmpr_addr address = {};
    if (tcamv6_lookup_prefix(instance(), &record, &code, &address) != 0) {
      *fault = v6tool::format_prefix(prefix) + " is not stored";
      return std::nullopt;
    }
    rows.push_back({{prefix, prefix_of(code.key, code.length), v6tool::key_from_bytes(address.bytes)}, counters});
    n_dumped += counters.weight != counters.anchors;
  }
  const std::vector<stored_row> dumped = dump();
  if (dumped.size() != n_dumped) {
    *fault = std::to_string(dumped.size()) + " rows dumped of " + std::to_string(n_dumped);
    return std::nullopt;
  }
  for (const stored_row &row : dumped) {
    const auto at = std::lower_bound(rows.begin(), rows.end(), row, [](const stored_row &a, const stored_row &b) {
      return a.row.original < b.row.original;
    });
    if (at == rows.end() || *at != row) {
      *fault = v6tool::format_prefix(row.row.original) + " is dumped with other codes or sums";
      return std::nullopt;
    }
  }
  return rows;
}

std::vector<stored_row> dump() {
  uint32_t n = 0;
  uint32_t written = 0;
  tcamv6_dump_n_prefixes(instance(), &n);
  std::vector<tcamv6_prefix> prefixes(n);
  std::vector<tcamv6_cmpr_pref> codes(n);
  std::vector<tcamv6_cmpr_addr> addresses(n);
  std::vector<stored_row> rows;
  if (tcamv6_dump_cmpr_tbl(instance(), static_cast<int32_t>(n), prefixes.data(), codes.data(), addresses.data(),
                           &written) != 0) {
    return rows;
  }
  for (uint32_t i = 0; i < written; ++i) {
    rows.push_back({{prefix_of(prefixes[i].address, prefixes[i].length), prefix_of(codes[i].key, codes[i].length),
                     v6tool::key_from_bytes(addresses[i].bytes)},
                    {static_cast<uint16_t>(prefixes[i].weight), static_cast<uint16_t>(prefixes[i].anchor_ref)}});
  }
  return rows;
}

std::vector<uint32_t> allocated() {
  std::vector<uint32_t> counts;
  for (uint32_t type = 0; type < TM_CHUNK_TYPES; ++type) {
    counts.push_back(gbl_chunk_info[type].allocated);
  }
  return counts;
}

}  // namespace updated_table
