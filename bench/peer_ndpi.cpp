// SPDX-License-Identifier: Apache-2.0
// nDPI's patricia tree.
#include <malloc.h>
#include <netinet/in.h>
#include <sys/types.h>

#include <cstring>

extern "C" {
#include <ndpi_api.h>
}

#include "peer.h"

namespace v6bench {
namespace {

constexpr u_int16_t key_bits = 128;

ndpi_prefix_t prefix_of(const uint8_t *key, int length) {
  ndpi_prefix_t prefix;
  in6_addr address;
  std::memcpy(&address, key, sizeof(address));
  ndpi_fill_prefix_v6(&prefix, &address, length, key_bits);
  return prefix;
}

class patricia final : public peer {
 public:
  patricia() : before_(mallinfo2().uordblks), tree_(ndpi_patricia_new(key_bits)) {}
  ~patricia() override { ndpi_patricia_destroy(tree_, nullptr); }

  size_t add(const std::vector<route> &routes) override {
    size_t refused = 0;
    for (const route &r : routes) {
      ndpi_prefix_t prefix = prefix_of(r.key.data(), r.length);
      ndpi_patricia_node_t *node = ndpi_patricia_lookup(tree_, &prefix);
      if (node == nullptr) {
        ++refused;
      } else {
        ndpi_patricia_set_node_u64(node, r.hop);
      }
    }
    return refused;
  }

  size_t remove(const std::vector<route> &routes) override {
    size_t refused = 0;
    for (const route &r : routes) {
      ndpi_prefix_t prefix = prefix_of(r.key.data(), r.length);
      ndpi_patricia_node_t *node = ndpi_patricia_search_exact(tree_, &prefix);
      if (node == nullptr) {
        ++refused;
      } else {
        ndpi_patricia_remove(tree_, node);
      }
    }
    return refused;
  }

  void look_up(const std::vector<key_bytes> &addresses, std::vector<uint32_t> &hops) override {
    for (size_t i = 0; i < addresses.size(); ++i) {
      ndpi_prefix_t prefix = prefix_of(addresses[i].data(), key_bits);
      ndpi_patricia_node_t *node = ndpi_patricia_search_best(tree_, &prefix);
      hops[i] = node == nullptr ? 0 : static_cast<uint32_t>(ndpi_patricia_get_node_u64(node));
    }
  }

  uint64_t bytes() const override { return mallinfo2().uordblks - before_; }

 private:
  uint64_t before_;
  ndpi_patricia_tree_t *tree_;
};

}  // namespace

std::vector<peer_kind> ndpi_peers() {
  return {{"ndpi_patricia",
           [](const std::vector<route> &) -> std::unique_ptr<peer> { return std::make_unique<patricia>(); }}};
}

}  // namespace v6bench
