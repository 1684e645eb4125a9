// SPDX-License-Identifier: Apache-2.0
// bit_trie.h - the floors: what no compression of a table can do without.
//
// touch floor   take as many 56-byte elements as an operation takes, and write each once
// trie floor    put the same working list into a bare bit trie: a 56-byte node per bit, nothing else
//
// Both take their elements from a bump pool whose memory is in place before the clock starts.
#ifndef BIT_TRIE_H
#define BIT_TRIE_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

namespace v6bench {

// The size of the library's trie nodes; only links and tag have a meaning here.
struct bit_node {
  bit_node *child[2];
  uint32_t tag;
  uint8_t rest[36];
};
static_assert(sizeof(bit_node) == 56);

class bump_pool {
 public:
  explicit bump_pool(size_t n) : first_(std::make_unique<bit_node[]>(n)), next_(first_.get()), end_(next_ + n) {}

  // Null when all are out.
  bit_node *take() { return next_ == end_ ? nullptr : next_++; }
  void take_all_back() { next_ = first_.get(); }
  size_t taken() const { return static_cast<size_t>(next_ - first_.get()); }

 private:
  std::unique_ptr<bit_node[]> first_;
  bit_node *next_;
  bit_node *end_;
};

inline unsigned key_bit(const uint8_t *key, unsigned bit) { return key[bit / 8] >> (7 - bit % 8) & 1u; }

class bit_trie {
 public:
  explicit bit_trie(bump_pool *pool) : pool_(pool), root_(make()) {}

  bit_node *insert(const uint8_t *key, unsigned length, uint32_t tag) {
    bit_node *node = root_;
    for (unsigned bit = 0; bit < length; ++bit) {
      bit_node *&next = node->child[key_bit(key, bit)];
      if (next == nullptr) {
        next = make();
      }
      node = next;
    }
    node->tag = tag;
    return node;
  }

  // The node of a prefix; null when there is none.
  bit_node *find(const uint8_t *key, unsigned length) const {
    bit_node *node = root_;
    for (unsigned bit = 0; bit < length && node != nullptr; ++bit) {
      node = node->child[key_bit(key, bit)];
    }
    return node;
  }

  // Untag a prefix, and set the nodes that lead to it alone aside for the next insertions.
  void remove(const uint8_t *key, unsigned length) {
    bit_node *node = root_;
    bit_node **cut = &root_;
    for (unsigned bit = 0; bit < length; ++bit) {
      bit_node *&next = node->child[key_bit(key, bit)];
      if (bit == 0 || node->tag != 0 || (node->child[0] != nullptr && node->child[1] != nullptr)) {
        cut = &next;
      }
      node = next;
    }
    node->tag = 0;
    if (length == 0 || node->child[0] != nullptr || node->child[1] != nullptr) {
      return;
    }
    bit_node *gone = *cut;
    *cut = nullptr;
    while (gone != nullptr) {
      bit_node *next = gone->child[0] != nullptr ? gone->child[0] : gone->child[1];
      gone->child[0] = free_;
      free_ = gone;
      gone = next;
    }
  }

  // The tag of the longest prefix that covers an address; 0 when none does.
  uint32_t longest_match(const uint8_t *address) const {
    uint32_t best = 0;
    const bit_node *node = root_;
    for (unsigned bit = 0; node != nullptr; ++bit) {
      best = node->tag != 0 ? node->tag : best;
      node = bit < 128 ? node->child[key_bit(address, bit)] : nullptr;
    }
    return best;
  }

 private:
  bit_node *make() {
    bit_node *node = free_;
    if (node != nullptr) {
      free_ = node->child[0];
    } else if ((node = pool_->take()) == nullptr) {
      __builtin_trap();
    }
    std::memset(static_cast<void *>(node), 0, sizeof(*node));
    return node;
  }

  bump_pool *pool_;
  bit_node *free_ = nullptr;
  bit_node *root_;
};

}  // namespace v6bench

#endif
