// SPDX-License-Identifier: Apache-2.0
// The engine called directly, as no careful host would: requests and steps of a compression in any order, after
// failures, with lengths that are none, and with up to 65,534 records of which a few bytes are grown into. Whatever is
// asked, every call answers with a documented status, and nothing outside the pools' elements is touched.
#include <algorithm>
#include <cstring>
#include <iterator>
#include <vector>

#include "fuzz_target.h"
#include "instance_host.h"
#include "tcamv6_incr.h"
#include "tcamv6_optimized.h"
#include "tcamv6_prefix_list.h"
#include "test_host.h"

using namespace instance_model;
using fuzz_target::expect;
using fuzz_target::expect_none;

namespace {

constexpr uint32_t most_records = 65534;
constexpr unsigned most_length = 255;  // of 128 that mean anything

struct records {
  std::vector<tcamv6_prefix> rows;
  std::vector<tcamv6_cmpr_pref> prefs;
  std::vector<tcamv6_cmpr_addr> addrs;
};

// A few bytes for the shape; the rest of a large request counts through the address.
records read_records(byte_source &bytes, unsigned &large_left) {
  uint32_t n = bytes.below(24);
  if (bytes.next() >= 250 && large_left != 0) {
    --large_left;
    n = std::min<uint32_t>(most_records, (bytes.next_word() & 0xffff) + 1);
  }
  const uint8_t base = bytes.next();
  const uint8_t spread = bytes.next();
  const uint8_t flags = bytes.next();
  records r;
  r.rows.resize(n);
  for (uint32_t i = 0; i < n; ++i) {
    tcamv6_prefix &row = r.rows[i];
    row = {};
    const uint8_t mixed = i < 24 ? bytes.next() : static_cast<uint8_t>(i * spread);
    row.length = static_cast<uint8_t>((base + mixed) % (most_length + 1));
    row.flags_tag = ((flags >> (i % 7)) & 1) != 0 ? TM_PREFIX_FLAG_ADD : 0;
    row.weight = mixed;
    row.address[0] = 0x20;
    row.address[1 + spread % 8] = static_cast<uint8_t>(i >> 8);
    row.address[2 + spread % 13] = static_cast<uint8_t>(i);
    row.address[15] = static_cast<uint8_t>(mixed << 4);
  }
  return r;
}

bool is_documented(int32_t status) {
  constexpr int32_t statuses[] = {0, -1, -2, -12, -14, -22, -28, -75};
  return std::find(std::begin(statuses), std::end(statuses), status) != std::end(statuses);
}

bool any_length_is_wrong(const std::vector<tcamv6_prefix> &rows) {
  return std::any_of(rows.begin(), rows.end(), [](const tcamv6_prefix &row) { return row.length > 128; });
}

// What a full compression is made of, one step after the other.
void full_steps(byte_source &bytes, tcamv6_state *state, unsigned &large_left) {
  const records r = read_records(bytes, large_left);
  tcamv6_prefix *list = nullptr;
  uint32_t count = 0;
  const int32_t built = tcamv6_build_prefix_list(r.rows.data(), &list, static_cast<uint32_t>(r.rows.size()), &count, 1);
  expect(is_documented(built), "building the list: status " + std::to_string(built));
  expect(built != 0 || !any_length_is_wrong(r.rows), "a list with a length above 128 was built");
  if (built != 0 || list == nullptr) {
    expect(list == nullptr, "a list after a failure");
    return;
  }
  expect(count <= 5 * r.rows.size() + 1, "more anchors than a record has");
  std::vector<tcamv6_cmpr_pref> prefs(count);
  std::vector<tcamv6_cmpr_addr> addrs(count);
  uint32_t n_distinct = 0;
  const int32_t status = tcamv6_optimized_compress(state, count, list, prefs.data(), addrs.data(), &n_distinct);
  expect(is_documented(status), "compressing: status " + std::to_string(status));
  expect(n_distinct <= count, "more distinct prefixes than records");
  zel_free_named(list);
}

void batch_step(byte_source &bytes, tcamv6_state *state, unsigned &large_left) {
  records r = read_records(bytes, large_left);
  r.prefs.resize(r.rows.size() + 1);
  r.addrs.resize(r.rows.size() + 1);
  uint32_t pending = 0;
  uint32_t changed = 0;
  uint32_t walked = 0;
  const int32_t status = tcamv6_incr_compress(state, static_cast<uint32_t>(r.rows.size()), r.rows.data(),
                                              r.prefs.data(), r.addrs.data(), &pending, &changed, &walked);
  expect(is_documented(status), "a batch: status " + std::to_string(status));
  expect(status != 0 || !any_length_is_wrong(r.rows), "a batch with a length above 128 was accepted");
}

void whole_request(byte_source &bytes, unsigned &large_left) {
  const records r = read_records(bytes, large_left);
  std::vector<uint8_t> request(sizeof(v6comp_pref_info) + r.rows.size() * sizeof(tcamv6_prefix));
  const v6comp_pref_info head = {0, 0, static_cast<uint32_t>(r.rows.size())};
  std::memcpy(request.data(), &head, sizeof head);
  if (!r.rows.empty()) {
    std::memcpy(request.data() + sizeof head, r.rows.data(), r.rows.size() * sizeof(tcamv6_prefix));
  }
  tcamv6_cmpr_pref *prefs = nullptr;
  tcamv6_cmpr_addr *addrs = nullptr;
  uint32_t changed = 0;
  const uint32_t status = zel_v6comp_prefix_compress_prefixes(
      reinterpret_cast<const v6comp_pref_info *>(request.data()), &prefs, &addrs, &changed);
  expect(status != 0 || !any_length_is_wrong(r.rows), "a request with a length above 128 was accepted");
  zel_v6comp_free_compr_result(prefs, addrs);
}

void step(byte_source &bytes, unsigned &large_left) {
  switch (bytes.below(8)) {
    case 0:
      test_host::fail_heap_allocation(bytes.below(24));
      break;
    case 1:
      test_host::fail_pool_element(bytes.next() * 2u);
      break;
    case 2:
      zel_v6comp_reset_instance(0, 0);
      break;
    case 3:
      set_safe_updates(bytes.below(2) != 0);
      break;
    case 4:
      full_steps(bytes, state_of(), large_left);
      break;
    case 5:
      batch_step(bytes, state_of(), large_left);
      break;
    default:
      whole_request(bytes, large_left);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0 || size > 4096) {
    return 0;
  }
  byte_source bytes(data, size);
  expect(start() == 0, "the library does not start");
  unsigned large_left = 1;  // large requests take most of the time: one a run
  while (!bytes.empty()) {
    step(bytes, large_left);
  }
  test_host::fail_heap_allocation(0);
  test_host::fail_pool_element(0);
  zel_v6comp_reset_instance(0, 0);
  expect_none(test_host::pool_damage());
  return 0;
}
