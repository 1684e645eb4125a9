// SPDX-License-Identifier: Apache-2.0
#include "instance_host.h"

#include <cstdlib>
#include <cstring>

#include "prefix_text.h"
#include "tcamv6_leftovers.h"
#include "tcamv6_state_internal.h"
#include "test_host.h"
#include "tm_journal.h"

namespace instance_model {

namespace {

constexpr uint64_t usual_elements = 32768;

tcamv6_prefix record_of(const change &c) {
  tcamv6_prefix record = instance_model::record_of(c.prefix);
  record.flags_tag = c.add ? TM_PREFIX_FLAG_ADD : 0;
  record.weight = c.weight;
  return record;
}

std::vector<uint8_t> request_bytes(const std::vector<change> &changes, place at) {
  std::vector<uint8_t> bytes(sizeof(v6comp_pref_info) + changes.size() * sizeof(tcamv6_prefix));
  const v6comp_pref_info head = {at.processor, at.instance, static_cast<uint32_t>(changes.size())};
  std::memcpy(bytes.data(), &head, sizeof head);
  uint8_t *next = bytes.data() + sizeof head;
  for (const change &c : changes) {
    const tcamv6_prefix record = record_of(c);
    std::memcpy(next, &record, sizeof record);
    next += sizeof record;
  }
  return bytes;
}

// No records have no address to compare at.
template <typename record>
bool same_records(const std::vector<record> &a, const std::vector<record> &b) {
  return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(record)) == 0);
}

}  // namespace

tcamv6_prefix record_of(const v6tool::ip_prefix &prefix) {
  tcamv6_prefix record = {};
  record.length = prefix.length;
  v6tool::key_to_bytes(prefix.key, record.address);
  return record;
}

v6tool::ip_prefix stored_form(const v6tool::ip_prefix &prefix) {
  return {v6tool::masked(prefix.key, prefix.length), prefix.length};
}

change read_change(const std::string &text) {
  change c;
  c.add = text.at(0) == '+';
  const size_t blank = text.find(' ');
  if (!v6tool::parse_prefix(text.substr(1, blank - 1), c.prefix).empty()) {
    std::abort();
  }
  if (blank != std::string::npos) {
    c.weight = static_cast<uint32_t>(std::stoul(text.substr(blank)));
  }
  return c;
}

std::vector<change> read_changes(const std::vector<std::string> &texts) {
  std::vector<change> changes;
  for (const std::string &text : texts) {
    changes.push_back(read_change(text));
  }
  return changes;
}

std::string text_of(const change &c) {
  return (c.add ? "+" : "-") + v6tool::format_prefix(c.prefix) + ' ' + std::to_string(c.weight);
}

std::string text_of(const std::vector<change> &changes) {
  std::string text;
  for (const change &c : changes) {
    text += '"' + text_of(c) + "\", ";
  }
  return text;
}

bool same_bytes(const answer &a, const answer &b) {
  return a.status == b.status && a.changed == b.changed && same_records(a.prefs, b.prefs) &&
         same_records(a.addrs, b.addrs);
}

uint32_t start(uint64_t elements) {
  tm_journal_discard();
  tcamv6_forget_leftovers();
  if (gbl_state != nullptr) {
    zel_free_named(gbl_state);
    gbl_state = nullptr;
  }
  test_host::reset();
  tags_so_far = 0;
  set_safe_updates(false);
  for (tm_raw_blk_row &row : raw_blk) {
    if (row.enabled != 0 && row.elem_size != 0) {
      row.n_elems = elements;
    }
  }
  return zel_v6comp_init_global_state(TCAMV6_MAX_INSTANCES, TCAMV6_MAX_PROCESSORS);
}

void restore_pool_sizes() {
  for (tm_raw_blk_row &row : raw_blk) {
    if (row.enabled != 0 && row.elem_size != 0) {
      row.n_elems = usual_elements;
    }
  }
}

// What the library keeps of the moves of a place's last request.
size_t bytes_of_moves(place at) {
  const zel_v6comp_move *moves = nullptr;
  uint32_t n = 0;
  zel_v6comp_moves(at.processor, at.instance, &moves, &n);
  return test_host::heap_block_bytes(moves);
}

answer request(const std::vector<change> &changes, place at) {
  const std::vector<uint8_t> bytes = request_bytes(changes, at);
  tcamv6_cmpr_pref *prefs = nullptr;
  tcamv6_cmpr_addr *addrs = nullptr;
  answer result;
  const size_t held = test_host::heap().bytes - bytes_of_moves(at);
  result.status = zel_v6comp_prefix_compress_prefixes(reinterpret_cast<const v6comp_pref_info *>(bytes.data()), &prefs,
                                                      &addrs, &result.changed);
  if (result.status == 0) {
    // Nothing else than the results may be out: their number follows.
    const size_t n = (test_host::heap().bytes - bytes_of_moves(at) - held) / (sizeof *prefs + sizeof *addrs);
    result.prefs.assign(prefs, prefs + n);
    result.addrs.assign(addrs, addrs + n);
  }
  zel_v6comp_free_compr_result(prefs, addrs);
  return result;
}

tcamv6_state *state_of(place at) { return zel_v6comp_instance(at.processor, at.instance); }

void set_mode(update_mode mode) {
  zel_v6comp_set_room(mode == update_mode::room ? 1 : 0);
  set_safe_updates(mode != update_mode::compatible);
}

void set_safe_updates(bool on) { zel_v6comp_set_safe_updates(on ? 1 : 0); }

uint64_t allocated() {
  uint64_t sum = 0;
  for (uint32_t type = 0; type < TM_CHUNK_TYPES; ++type) {
    sum += gbl_chunk_info[type].allocated;
  }
  return sum;
}

}  // namespace instance_model
