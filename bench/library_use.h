// SPDX-License-Identifier: Apache-2.0
// library_use.h - the library in a benchmark: one instance, filled and emptied.
#ifndef LIBRARY_USE_H
#define LIBRARY_USE_H

#include <cstdint>
#include <vector>

#include "bench_tables.h"
#include "zel_v6comp.h"

namespace v6bench {

enum class change : uint32_t { remove = 0, add = 1 };

tcamv6_prefix record_of(const v6tool::ip_prefix &prefix, change what = change::add);
std::vector<tcamv6_prefix> records_of(const prefix_list &list, change what = change::add);

// A request in memory, ready to be run: add these prefixes, or remove them.
class request {
 public:
  request(const v6tool::ip_prefix *first, size_t n, change what);
  explicit request(const prefix_list &list, change what = change::add) : request(list.data(), list.size(), what) {}
  explicit request(const std::vector<tcamv6_prefix> &records);

  const v6comp_pref_info *get() const { return reinterpret_cast<const v6comp_pref_info *>(bytes_.data()); }
  uint32_t run() const { return zel_v6comp_prefix_compress(get()); }

 private:
  std::vector<uint8_t> bytes_;
};

// How batches are applied; a full compression, too, in room mode.
enum class update_mode { compatible, safe, room };
void use(update_mode mode);

// Start the library with pools that hold any table measured here; later calls do nothing.
void start_library();

// New pools whose memory was never touched; the old ones are lost.
void renew_library();

// Empty the instance. Ends the program when the library refuses.
void empty_instance();

// Empty the instance and compress a table in full. Ends the program when the library refuses.
void load(const request &table);

tcamv6_state *instance();

// Elements that are out now, and ever taken.
struct element_use {
  uint64_t now = 0;
  uint64_t now_bytes = 0;
  uint64_t taken = 0;
};
element_use elements();

// The list that a full compression works on: the records, their anchors, /0. Release with zel_free_named.
struct working_list {
  tcamv6_prefix *records = nullptr;
  uint32_t count = 0;

  explicit working_list(const prefix_list &table);
  ~working_list() { zel_free_named(records); }
  working_list(const working_list &) = delete;
  working_list &operator=(const working_list &) = delete;

  size_t trie_nodes() const;  // no bit trie of the list needs more
};

[[noreturn]] void give_up(const char *what, uint32_t status);

}  // namespace v6bench

#endif
