// SPDX-License-Identifier: Apache-2.0
// tcamv6_fixture.h - fresh pools and one instance for each test of the engine, and trees built by hand.
#ifndef TCAMV6_FIXTURE_H
#define TCAMV6_FIXTURE_H

#include "tcamv6_anc_tree.h"
#include "tcamv6_leftovers.h"
#include "tcamv6_optimized.h"
#include "tcamv6_prefix_list.h"
#include "tcamv6_state.h"
#include "test_records.h"
#include "tm_debug.h"

// One full compression: its working list and what came out. prefs[i] and addrs[i] answer list[i].
struct full_result {
  int32_t result = 0;
  uint32_t n_distinct = 99;
  std::vector<tcamv6_prefix> list;
  std::vector<tcamv6_cmpr_pref> prefs;
  std::vector<tcamv6_cmpr_addr> addrs;

  // Index of the first list entry with this prefix.
  size_t index_of(const std::string &text) const {
    for (size_t i = 0; i < list.size(); ++i) {
      if (text_of(list[i]) == text) {
        return i;
      }
    }
    ADD_FAILURE() << text << " is not in the list";
    return 0;
  }
  std::string code(const std::string &text) const {
    const tcamv6_cmpr_pref &pref = prefs[index_of(text)];
    return key_bits(pref.key, pref.length);
  }
  std::string address(const std::string &text) const { return key_bits(addrs[index_of(text)].bytes, 64); }
};

// Pools, and an instance of the test's own on the platform heap. Whatever a test does, the reset at its end must
// bring the heap back to where it was and leave the pools unharmed.
class tcamv6_test : public ::testing::Test {
 protected:
  void SetUp() override {
    test_host::reset();
    tcamv6_debug_flags = {};
    std::memset(info, 0, sizeof info);
    ASSERT_EQ(tm_init_raw_chunks(info, raw_blk, 0, TM_CHUNK_TYPES), 0u);
    tm_chunk_set_chunk_inf_base(info);
    tm_dump_chk_info_set_base(info);
    state = new_state();
    set_gates(false);
  }

  void TearDown() override {
    test_host::fail_heap_allocation(0);
    test_host::fail_pool_element(0);
    tcamv6_debug_flags = {};
    if (state != nullptr) {
      EXPECT_EQ(tcamv6_reset(&state, 0), TM_OK);
    }
    EXPECT_EQ(test_host::heap().blocks, 0u);
    EXPECT_EQ(test_host::pool_damage(), "");
    tcamv6_forget_leftovers();
    test_host::reset();
  }

  static tcamv6_state *new_state() {
    auto *made = static_cast<tcamv6_state *>(zel_calloc_named(TM_MEM_TAG_RESULT, 1, sizeof(tcamv6_state)));
    const tcamv6_conf conf = {TCAMV6_MAX_PREF_LEN, TCAMV6_MAX_CMPR_LEN, made};
    int32_t was_reset = 0;
    EXPECT_EQ(tcamv6_init(made, &conf, &was_reset), TM_OK);
    return made;
  }

  // The three words of messages; `error` alone is the default.
  static void set_gates(bool all) { tcamv6_debug_flags = {all, all, 1, 0, 0, 0}; }
  static void only_info() { tcamv6_debug_flags = {0, 1, 0, 0, 0, 0}; }
  static void only_error() { tcamv6_debug_flags = {0, 0, 1, 0, 0, 0}; }
  static void only_trace() { tcamv6_debug_flags = {1, 0, 0, 0, 0, 0}; }
  static void silence() { tcamv6_debug_flags = {}; }

  full_result compress(const std::vector<tcamv6_prefix> &records) { return compress_on(state, records); }
  full_result compress(const std::vector<std::string> &texts) { return compress(records_of(texts)); }
  full_result compress(std::initializer_list<const char *> texts) {
    return compress(std::vector<std::string>(texts.begin(), texts.end()));
  }

  static full_result compress_on(tcamv6_state *on, const std::vector<tcamv6_prefix> &records, bool full = true) {
    full_result r;
    tcamv6_prefix *list = nullptr;
    uint32_t count = 0;
    EXPECT_EQ(tcamv6_build_prefix_list(records.data(), &list, static_cast<uint32_t>(records.size()), &count, full), 0);
    r.list.assign(list, list + count);
    zel_free_named(list);
    compress_list_on(on, &r);
    return r;
  }

  // The compression of r.list as it stands.
  static void compress_list_on(tcamv6_state *on, full_result *r) {
    r->prefs.assign(r->list.size(), {});
    r->addrs.assign(r->list.size(), {});
    r->result = tcamv6_optimized_compress(on, static_cast<uint32_t>(r->list.size()), r->list.data(), r->prefs.data(),
                                          r->addrs.data(), &r->n_distinct);
  }

  uint32_t allocated(uint32_t type) const { return info[type].allocated; }
  std::vector<uint32_t> allocated() const {
    std::vector<uint32_t> counts;
    for (const tm_chunk_info &row : info) {
      counts.push_back(row.allocated);
    }
    return counts;
  }

  static tm_util_trie_node *new_trie_node(uint32_t tag = 0) {
    auto *node = static_cast<tm_util_trie_node *>(tm_chunk_malloc(TM_V6_TRIE_NODE));
    tm_util_trie_node_initialize(node, nullptr, 0);
    node->tag = tag;
    return node;
  }

  // A trie of prefixes tagged by their places, from 1.
  static tm_util_trie_node *new_trie(const std::vector<std::string> &texts) {
    tm_util_trie_node *root = new_trie_node();
    uint32_t tag = 0;
    for (const tcamv6_prefix &record : records_of(texts)) {
      tm_util_trie_insert(root, record.address, record.length)->tag = ++tag;
    }
    return root;
  }

  static tm_util_trie_node *find(tm_util_trie_node *root, const std::string &text) {
    const tcamv6_prefix record = record_of(text);
    return tm_util_trie_lookup(root, record.address, record.length, 0);
  }

  static tm_n_ary_node *new_anc(uint32_t tag, bool is_dummy = false, uint8_t cost = 0) {
    tm_n_ary_node *node = nullptr;
    EXPECT_EQ(tcamv6_anc_tree_node_new(is_dummy, &node), TM_OK);
    data_of(node)->tag_word = tag << TM_PREFIX_TAG_SHIFT;
    data_of(node)->cost = cost;
    return node;
  }

  static tcamv6_anc_data *data_of(const tm_n_ary_node *node) { return tcamv6_anc_data_of(node); }

  // Give a node its children, in this order.
  static void adopt(tm_n_ary_node *parent, const std::vector<tm_n_ary_node *> &children) {
    tm_chunk_idx *link = &parent->child;
    for (tm_n_ary_node *child : children) {
      *link = tm_idx(child);
      link = &child->sibling;
      if (tcamv6_anc_is_dummy(data_of(child))) {
        data_of(parent)->dummy = tm_idx(child);
      }
    }
    *link = TM_CHUNK_IDX_NULL;
  }

  static std::vector<tm_n_ary_node *> children_of(const tm_n_ary_node *node) {
    std::vector<tm_n_ary_node *> children;
    for (tm_n_ary_node *c = tcamv6_anc_first_child(node); c != nullptr; c = tcamv6_anc_next(c)) {
      children.push_back(c);
    }
    return children;
  }

  tm_chunk_info info[TM_CHUNK_TYPES];
  tcamv6_state *state = nullptr;
};

#endif
