// SPDX-License-Identifier: Apache-2.0
#include "library_use.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace v6bench {

namespace {

// Address space only: the platform commits what is touched.
constexpr uint64_t pool_elements = 8000000;

void initialise() {
  for (tm_raw_blk_row &row : raw_blk) {
    if (row.elem_size != 0 && row.enabled != 0) {
      row.n_elems = pool_elements;
    }
  }
  const uint32_t status = zel_v6comp_init_global_state(1, 1);
  if (status != 0) {
    give_up("zel_v6comp_init_global_state", status);
  }
  tcamv6_debug_flags.error = 0;  // refusals are counted here, not printed
}

bool started = false;

}  // namespace

void give_up(const char *what, uint32_t status) {
  std::fprintf(stderr, "%s: status %u\n", what, status);
  std::exit(4);
}

tcamv6_prefix record_of(const v6tool::ip_prefix &prefix, change what) {
  tcamv6_prefix record = {};
  record.flags_tag = static_cast<uint32_t>(what);
  record.weight = 1;
  record.length = prefix.length;
  v6tool::key_to_bytes(prefix.key, record.address);
  return record;
}

std::vector<tcamv6_prefix> records_of(const prefix_list &list, change what) {
  std::vector<tcamv6_prefix> records;
  records.reserve(list.size());
  for (const v6tool::ip_prefix &prefix : list) {
    records.push_back(record_of(prefix, what));
  }
  return records;
}

request::request(const v6tool::ip_prefix *first, size_t n, change what)
    : request(records_of(prefix_list(first, first + n), what)) {}

request::request(const std::vector<tcamv6_prefix> &records)
    : bytes_(sizeof(v6comp_pref_info) + records.size() * sizeof(tcamv6_prefix)) {
  const v6comp_pref_info head = {0, 0, static_cast<uint32_t>(records.size())};
  std::memcpy(bytes_.data(), &head, sizeof(head));
  std::memcpy(bytes_.data() + sizeof(head), records.data(), records.size() * sizeof(tcamv6_prefix));
}

void use(update_mode mode) {
  zel_v6comp_set_room(mode == update_mode::room ? 1 : 0);
  zel_v6comp_set_safe_updates(mode == update_mode::compatible ? 0 : 1);
}

void start_library() {
  if (!started) {
    initialise();
    started = true;
  }
}

void renew_library() {
  initialise();
  started = true;
}

void empty_instance() {
  const uint32_t status = zel_v6comp_reset_instance(0, 0);
  if (status != 0) {
    give_up("zel_v6comp_reset_instance", status);
  }
}

void load(const request &table) {
  start_library();
  empty_instance();
  const uint32_t status = table.run();
  if (status != 0) {
    give_up("full compression", status);
  }
}

tcamv6_state *instance() { return zel_v6comp_instance(0, 0); }

element_use elements() {
  element_use use;
  for (int type = 0; type < TM_CHUNK_TYPES; ++type) {
    const tm_chunk_info &info = gbl_chunk_info[type];
    if (info.handle != 0) {
      use.now += info.allocated;
      use.now_bytes += uint64_t{info.allocated} * info.elem_size;
      use.taken += info.mallocs;
    }
  }
  return use;
}

working_list::working_list(const prefix_list &table) {
  const std::vector<tcamv6_prefix> from = records_of(table);
  const int32_t result = tcamv6_build_prefix_list(from.data(), &records, static_cast<uint32_t>(from.size()), &count, 1);
  if (result != 0) {
    give_up("tcamv6_build_prefix_list", static_cast<uint32_t>(-result));
  }
}

size_t working_list::trie_nodes() const {
  size_t nodes = 1;
  for (uint32_t i = 0; i < count; ++i) {
    nodes += records[i].length;
  }
  return nodes;
}

}  // namespace v6bench
