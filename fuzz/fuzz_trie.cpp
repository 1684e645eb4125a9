// SPDX-License-Identifier: Apache-2.0
// Operations of the binary prefix trie, side by side with the set of paths that is its slow twin.
#include "fuzz_target.h"
#include "trie_twin.h"

using fuzz_target::byte_source;
using fuzz_target::expect;

extern "C" int LLVMFuzzerInitialize(int * /*argc*/, char *** /*argv*/) {
  fuzz_target::turn_failures_into_findings();
  return 0;
}

namespace {

std::string path_of(const tm_util_trie_node *node) { return bits_of(node->key, node->len); }

trie_twin::found found_path(const tm_util_trie_node *node) {
  return node == nullptr ? trie_twin::found() : trie_twin::found(path_of(node));
}

struct pair_of_tries {
  byte_source &bytes;
  tm_util_trie_node *root;
  trie_twin twin;

  // A path near those that are there: the beginning of one, and some bits more.
  std::string any_path(uint32_t longest) {
    std::string path = existing();
    path.resize(std::min<size_t>(path.size(), bytes.below(longest + 1)));
    const uint32_t news = bytes.below(20);
    const uint32_t pattern = bytes.next() * 257u;
    for (uint32_t i = 0; i < news && path.size() < longest; ++i) {
      path += static_cast<char>('0' + ((pattern >> (i % 16)) & 1));
    }
    return path;
  }

  std::string existing() {
    auto node = twin.nodes.begin();
    std::advance(node, (bytes.next() * 256u + bytes.next()) % twin.nodes.size());
    return node->first;
  }

  tm_util_trie_node *at(const std::string &path) const {
    return tm_util_trie_lookup(root, key_from_bits(path).data(), static_cast<int32_t>(path.size()), 0);
  }

  void step() {
    switch (bytes.below(6)) {
      case 0:
        insert(any_path(128));
        break;
      case 1:
        look_up(any_path(128));
        break;
      case 2:
        trace();
        break;
      case 3:
        extend();
        break;
      case 4:
        cut();
        break;
      default:
        tag(existing());
    }
  }

  void insert(const std::string &path) {
    const guarded_key key(key_from_bits(path));
    const tm_util_trie_node *made = tm_util_trie_insert(root, key.bytes(), static_cast<int32_t>(path.size()));
    expect(made != nullptr && path_of(made) == path, "insert leads elsewhere");
    twin.insert(path);
  }

  void tag(const std::string &path) { at(path)->tag = twin.nodes[path] = bytes.below(3); }

  void look_up(const std::string &path) {
    const guarded_key key(key_from_bits(path));
    for (int32_t mode = 0; mode < 3; ++mode) {
      const auto *node = tm_util_trie_lookup(root, key.bytes(), static_cast<int32_t>(path.size()), mode);
      expect(found_path(node) == twin.lookup(path, mode), "lookup of " + path + " differs");
    }
  }

  void trace() {
    const std::string from = existing();
    std::string way = any_path(128).substr(0, 128 - from.size());
    if (bytes.below(2) == 0) {
      const std::string below = existing();
      way = below.compare(0, from.size(), from) == 0 ? below.substr(from.size()) : way;
    }
    const auto branch_mode = static_cast<int32_t>(bytes.below(3));
    const auto tag_mode = static_cast<int32_t>(bytes.below(3));
    const guarded_key key(key_from_bits(from + way));
    const auto *node = tm_util_trie_tracepath(at(from), key.bytes(), static_cast<int32_t>(from.size()),
                                              static_cast<int32_t>(from.size() + way.size()), branch_mode, tag_mode);
    expect(found_path(node) == twin.trace(from, way, branch_mode, tag_mode), "trace from " + from + " differs");
  }

  void extend() {
    const std::string from = existing();
    const auto n = static_cast<int32_t>(bytes.below(static_cast<uint32_t>(129 - from.size())) % 24);
    const bool chain = bytes.below(2) != 0;
    const auto *made = tm_util_trie_gen_extending_path(at(from), n, chain ? 1 : 0);
    expect(found_path(made) == twin.extend(from, n, chain), "an extending path from " + from + " differs");
  }

  // Remove the tail that leads to a leaf.
  void cut() {
    const std::string path = existing();
    if (path.empty() || twin.has(path + '0') || twin.has(path + '1')) {
      return;
    }
    const trie_twin::found place = twin.trace("", path, 1, 1);
    expect(tm_util_trie_free_trailing_path(root, at(path), 0, 0) == 0, "a trailing path was refused");
    twin.cut(path.substr(0, place->size() + 1));
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const uint32_t started = instance_model::start();
  expect(started == 0, "no pools");
  byte_source bytes(data, std::min<size_t>(size, 512));
  auto *root = static_cast<tm_util_trie_node *>(tm_chunk_malloc(TM_V6_TRIE_NODE));
  tm_util_trie_node_initialize(root, nullptr, 0);
  pair_of_tries pair = {bytes, root, {}};
  while (!bytes.empty() && pair.twin.nodes.size() < 2000) {
    pair.step();
  }
  expect(nodes_of(root) == pair.twin.nodes, "the tries differ");
  expect(test_host::pool_used() == pair.twin.nodes.size(), "nodes were lost");
  tm_util_trie_free(root, 0, 0);
  expect(test_host::pool_used() == 0, "nodes were left");
  return 0;
}
