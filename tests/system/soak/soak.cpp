// SPDX-License-Identifier: Apache-2.0
// soak - random updates over all eight instances, everything checked every thousand of them.
//   soak [UPDATES [SEED [ELEMENTS]]]      1,000,000 and 1 when left out
//
// Each update is one batch: mostly a few additions and deletions near what is stored, now and then a reset, a table
// compressed anew, a refusal or a query. Half of the instances' updates are made with safe updates on. Prints what the
// heap and the pools held along the way; exit 1 with the first thing that is wrong, and when memory has grown.
//
// The pools are large enough for eight tables, so that a request which finds no room has been preceded by a leak. With
// ELEMENTS of each type (32,768, say) they may be too small: then 12 is an answer, but only where a pool was asked in
// vain, and nothing may be lost by it.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>

#include "checked_library.h"
#include "test_host.h"

namespace {

using namespace instance_model;

constexpr uint64_t roomy = 131072;
constexpr uint64_t check_every = 1000;
constexpr uint64_t report_every = 50000;

class walker {
 public:
  walker(uint64_t seed, uint64_t pool_elements) : library_(pool_elements), random_(seed) {
    library_.set_thorough(false);
    library_.expect_refusals(pool_elements < roomy);
  }

  // One update of one instance; "" or what is wrong.
  std::string step() {
    const place at = all_places[below(8)];
    if (!library_.compressed(at)) {
      library_.set_safe(is_safe(at));
      answer a;
      return request(at, changes(at, 40, 0), a);
    }
    library_.set_safe(is_safe(at));
    switch (below(64)) {
      case 0:
        return library_.reset(at);
      case 1:
        return library_.dump(at);
      case 2:
        return library_.query(at, any_prefix(at));
      case 3:
        return library_.attach(at, any_prefix(at), below(1000));
      case 4:
        return below(8) == 0 ? library_.many_lookups(at) : library_.lookup(at, any_prefix(at));
      case 5:
        return library_.lookup_address(at, {random_(), random_()});
      default:
        return update(at);
    }
  }

  std::string check_all() {
    for (const place &at : all_places) {
      std::string fault = library_.full_check(at);
      if (!fault.empty()) {
        return fault;
      }
    }
    return test_host::pool_damage();
  }

  // After an accepted request nothing may be left over.
  std::string check_memory() {
    answer a;
    const place at = {0, 0};
    std::string fault = library_.request(at, {}, &a);
    return fault.empty() && a.status == 0 ? library_.memory_check() : fault;
  }

  std::string finish() {
    for (const place &at : all_places) {
      library_.reset(at);
    }
    return allocated() == 0 ? library_.memory_check() : "elements are left after the last reset";
  }

  uint64_t accepted = 0;
  uint64_t recompressed = 0;
  std::map<uint32_t, uint64_t> refusals;  // number of each status

 private:
  uint32_t below(uint32_t n) { return static_cast<uint32_t>(random_() % n); }

  static bool is_safe(place at) { return at.instance == 0; }

  static uint64_t asked_in_vain() {
    uint64_t sum = 0;
    for (uint32_t type = 0; type < TM_CHUNK_TYPES; ++type) {
      sum += gbl_chunk_info[type].failed;
    }
    return sum;
  }

  std::string request(place at, const std::vector<change> &list, answer &a) {
    const uint64_t before = asked_in_vain();
    std::string fault = library_.request(at, list, &a);
    ++(a.status == 0 ? accepted : refusals[a.status]);
    if (fault.empty() && a.status == 12 && asked_in_vain() == before) {
      fault = "no room was found although every pool gave what it was asked for";
    }
    return fault;
  }

  std::string update(place at) {
    answer a;
    const bool shrink = library_.set_of(at).size() > 600;
    std::string fault = request(at, changes(at, 1 + below(6), shrink ? 3 : 1), a);
    // As a host would: a table that has no room for a change is compressed anew.
    if (fault.empty() && a.status != 0 && below(4) == 0) {
      ++recompressed;
      fault = library_.reset(at);
    }
    return fault;
  }

  v6tool::ip_prefix any_prefix(place at) {
    const stored_set &set = library_.set_of(at);
    if (set.empty() || below(4) == 0) {
      return fresh_prefix({random_(), random_()});
    }
    auto found = set.begin();
    std::advance(found, below(static_cast<uint32_t>(set.size())));
    return found->first;
  }

  v6tool::ip_prefix fresh_prefix(v6tool::ip_key near) {
    static constexpr uint8_t usual[] = {16, 20, 24, 28, 29, 32, 32, 36, 40, 44, 48, 48, 56, 64, 128};
    const auto length = below(8) == 0 ? static_cast<uint8_t>(below(129)) : usual[below(15)];
    const uint32_t kept = below(length + 1u);
    const v6tool::ip_key key =
        v6tool::masked(near, kept) | (v6tool::ip_key{random_(), random_()} & ~v6tool::leading_ones(kept));
    return {v6tool::masked(key, length), length};
  }

  std::vector<change> changes(place at, uint32_t n, uint32_t deletes_of_4) {
    std::vector<change> list;
    for (uint32_t i = 0; i < n; ++i) {
      const bool is_delete = below(4) < deletes_of_4;
      const v6tool::ip_prefix near = any_prefix(at);
      list.push_back({!is_delete, is_delete ? near : fresh_prefix(near.key), 1 + below(3)});
    }
    return list;
  }

  checked_library library_;
  std::mt19937_64 random_;
};

size_t resident_kilobytes() {
  std::FILE *file = std::fopen("/proc/self/statm", "r");
  unsigned long total = 0;
  unsigned long resident = 0;
  if (file != nullptr) {
    if (std::fscanf(file, "%lu %lu", &total, &resident) != 2) {
      resident = 0;
    }
    std::fclose(file);
  }
  return resident * 4;
}

void print_progress(uint64_t updates, const walker &w) {
  std::printf("%lu updates, %lu requests accepted, refused", updates, w.accepted);
  for (const auto &[status, count] : w.refusals) {
    std::printf(" %lu with %u,", count, status);
  }
  std::printf(" %lu tables compressed anew; %lu elements, %zu heap blocks of %zu bytes, %zu kB resident\n",
              w.recompressed, allocated(), test_host::heap().blocks, test_host::heap().bytes, resident_kilobytes());
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char **argv) {
  const uint64_t updates = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 1000000;
  const uint64_t seed = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 1;
  const uint64_t elements = argc > 3 ? std::strtoull(argv[3], nullptr, 10) : roomy;
  walker w(seed, elements);
  const auto began = std::chrono::steady_clock::now();
  size_t early_kilobytes = 0;
  for (uint64_t i = 1; i <= updates; ++i) {
    std::string fault = w.step();
    if (fault.empty() && i % check_every == 0) {
      fault = w.check_all();
    }
    if (fault.empty() && i % check_every == 0) {
      fault = w.check_memory();
    }
    if (!fault.empty()) {
      std::printf("seed %lu update %lu: %s\n", seed, i, fault.c_str());
      return 1;
    }
    if (i == updates / 10) {
      early_kilobytes = resident_kilobytes();
    }
    if (i % report_every == 0 || i == updates) {
      print_progress(i, w);
    }
  }
  const std::string fault = w.finish();
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - began);
  std::printf(
      "%s; %ld s; after the last reset %lu elements, %zu heap block of %zu bytes; resident %zu kB at a tenth of "
      "the way, %zu kB now\n",
      fault.empty() ? "nothing wrong" : fault.c_str(), static_cast<long>(seconds.count()), allocated(),
      test_host::heap().blocks, test_host::heap().bytes, early_kilobytes, resident_kilobytes());
  return fault.empty() ? 0 : 1;
}
