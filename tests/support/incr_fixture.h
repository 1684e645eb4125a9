// SPDX-License-Identifier: Apache-2.0
// incr_fixture.h - an instance, batches written as text, and a look at the structures behind it.
//
// Batches: "+2001:db8::/32 -2001:db8:1::/48*3 +::/8*2@2" - add, delete three, add two that are anchors' (anchor_ref 2).
#ifndef INCR_FIXTURE_H
#define INCR_FIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <random>
#include <string>
#include <vector>

#include "tcamv6_anc_tree.h"
#include "test_host.h"
#include "zel_v6comp.h"

std::vector<tcamv6_prefix> records_of(const std::string &batch);
tcamv6_prefix record_of(const std::string &text);         // without a sign: an addition
std::string text_of(const uint8_t *address, int length);  // "2001:db8::/32"
std::string bits_of_key(const uint8_t *key, int length);  // "0100"

// What an engine call answered.
struct batch_answer {
  int32_t result = 0;
  uint32_t pending = 0;
  uint32_t changed = 0;
  uint32_t walk_result = 0;
  std::vector<tcamv6_cmpr_pref> prefs;
  std::vector<tcamv6_cmpr_addr> addrs;
};

// Every byte that can be reached from an instance, with the addresses of its elements, in a fixed order; then the
// state's own fields and tags_so_far.
std::vector<uint8_t> image_of(const tcamv6_state *state);

// One stored prefix as the queries tell it.
struct table_row_text {
  std::string prefix;
  std::string code;
  std::string address;
  uint32_t weight;
  uint32_t anchor_ref;
  uint32_t handle;
  bool operator==(const table_row_text &) const = default;
};
std::ostream &operator<<(std::ostream &out, const table_row_text &row);

// All stored prefixes, anchors included, sorted.
std::vector<table_row_text> table_of(tcamv6_state *state);

// Every test leaves the pools empty and unharmed once its instances are released.
class incr_test : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Compress in full exactly these prefixes and /0: no anchors are made.
  void compress(const std::string &prefixes, uint32_t max_cmpr_len = 64);

  // A batch as the engine gets it: in this order, without anchors. Extra operations are released afterwards.
  batch_answer run(const std::string &batch) { return run(records_of(batch)); }
  batch_answer run(const std::vector<tcamv6_prefix> &batch);

  // A request as hosts make it.
  uint32_t request(const std::string &batch);

  static void only(std::initializer_list<uint32_t tcamv6_debug_flags_t::*> words);
  static std::vector<std::string> lines();      // of the log so far, addresses of memory as "PTR"; then clears it
  static std::string golden(const char *name);  // tests/golden/<name>

  tm_util_trie_node *stored(const std::string &prefix) const;  // null: not stored
  tcamv6_anc_data *data(const std::string &prefix) const;
  tm_n_ary_node *anc_node(const std::string &prefix) const;
  tm_util_trie_node *cmpr_node(const std::string &prefix) const { return tcamv6_cmpr_node(data(prefix)); }
  std::string code(const std::string &prefix) const;                   // bits of its compressed prefix
  std::string dummy_code(const std::string &prefix) const;             // of its dummy; "none"
  std::vector<std::string> children(const std::string &prefix) const;  // in chain order; a dummy is "dummy"
  tm_util_trie_node *cmpr_at(const std::string &bits) const;           // null: no such compressed node
  uint32_t allocated() const;                                          // elements of all types

  tcamv6_state *state = nullptr;
};

#endif
