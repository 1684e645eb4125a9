// SPDX-License-Identifier: Apache-2.0
// The path-compressed view of any set of prefixes, against a twin that folds strings.
#include "fuzz_target.h"
#include "pcmpr_twin.h"

using namespace instance_model;
using fuzz_target::expect;

extern "C" int LLVMFuzzerInitialize(int * /*argc*/, char *** /*argv*/) {
  fuzz_target::turn_failures_into_findings();
  return 0;
}

namespace {

struct folded {
  tm_util_trie_node *trie;
  tm_util_trie_node *root = nullptr;
  std::vector<std::string> prefixes;

  void store(const std::string &path) {
    tm_util_trie_node *node = tm_util_trie_insert(trie, key_from_bits(path).data(), static_cast<int32_t>(path.size()));
    prefixes.push_back(path);
    node->tag = static_cast<uint32_t>(prefixes.size());
  }
};

void compare_way(const folded &f, const pcmpr_twin &twin, const std::string &a, const std::string &b) {
  const pcmpr_twin *above = twin.follow(a, 0).node;
  if (above == nullptr || b.compare(0, a.size(), a) != 0) {
    return;
  }
  const std::string expected = above->follow(b, a.size()).directions;
  const guarded_key ka(key_from_bits(a));
  const guarded_key kb(key_from_bits(b));
  const auto la = static_cast<int32_t>(a.size());
  const auto lb = static_cast<int32_t>(b.size());
  int8_t longest = 0;
  expect(
      tm_util_trie_pcmpr_len(f.root, ka.bytes(), la, kb.bytes(), lb, &longest) == static_cast<int32_t>(expected.size()),
      "edges from " + a + " to " + b + " are counted otherwise");
  const guarded_key bits(test_key{});
  int32_t count = -1;
  if (tm_util_trie_pcmpr_getpath(f.root, ka.bytes(), la, kb.bytes(), lb, bits.bytes(), &count) == 0 && count <= 128) {
    expect(bits_of(bits.bytes(), count) == expected, "the way from " + a + " to " + b + " is another");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const uint32_t started = start();
  expect(started == 0, "no pools");
  byte_source bytes(data, std::min<size_t>(size, 400));
  const bool with_root = bytes.below(2) != 0;
  const uint32_t longest = bytes.below(2) != 0 ? 128 : 10;
  change_reader reader(bytes);
  folded f = {static_cast<tm_util_trie_node *>(tm_chunk_malloc(TM_V6_TRIE_NODE)), nullptr, {}};
  tm_util_trie_node_initialize(f.trie, nullptr, 0);
  if (with_root) {
    f.store("");
  }
  while (!bytes.empty() && f.prefixes.size() < 40) {
    const v6tool::ip_prefix prefix = reader.next_prefix(false);
    uint8_t key[16];
    v6tool::key_to_bytes(prefix.key, key);
    f.store(bits_of(key, static_cast<int32_t>(prefix.length % (longest + 1))));
  }
  const size_t nodes = test_host::pool_used();
  expect(tm_util_trie_pcmpr_gen(f.trie, &f.root) == 0, "folding was refused");
  const std::unique_ptr<pcmpr_twin> twin = pcmpr_twin::of(f.trie);
  expect_same(f.root, *twin, "root");
  for (size_t i = 0; with_root && i < f.prefixes.size(); ++i) {
    compare_way(f, *twin, "", f.prefixes[i]);
    compare_way(f, *twin, f.prefixes[i / 2], f.prefixes[i]);
  }
  tm_util_trie_free(f.root, 1, TM_V6_PCMPR_DATA);
  expect(test_host::pool_used() == nodes, "elements were left");
  tm_util_trie_free(f.trie, 0, 0);
  expect(test_host::pool_used() == 0, "nodes were left");
  return 0;
}
