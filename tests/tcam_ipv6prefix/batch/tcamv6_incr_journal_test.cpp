// SPDX-License-Identifier: Apache-2.0
// Exact rollback of batches: every byte that an instance can reach is the same before and after a refusal, wherever and
// for whatever reason the batch was refused.
#include <algorithm>
#include <cstring>
#include <numeric>

#include "incr_fixture.h"
#include "tcamv6_leftovers.h"
#include "tcamv6_state_internal.h"
#include "tm_journal.h"

namespace {

class tcamv6_incr_journal_test : public incr_test {
 protected:
  void SetUp() override {
    incr_test::SetUp();
    zel_v6comp_set_safe_updates(1);
  }

  uint32_t below(uint32_t n) { return static_cast<uint32_t>(random() % n); }

  // A prefix of a few bits below 2001:db8::/start.
  tcamv6_prefix random_record(bool add) {
    tcamv6_prefix record = record_of("2001:db8::/32");
    const uint32_t width = 1 + below(9);
    record.length = static_cast<uint8_t>(start + width);
    for (uint32_t bit = start; bit < start + width; ++bit) {
      record.address[bit / 8] = static_cast<uint8_t>(record.address[bit / 8] | (below(2) << (7 - bit % 8)));
    }
    record.flags_tag = add ? TM_PREFIX_FLAG_ADD : 0;
    record.weight = below(4) == 0 ? 2 : 1;
    return record;
  }

  void compress_random() {
    start = 24 + 8 * below(4);
    std::vector<tcamv6_prefix> records;
    for (uint32_t n = 1 + below(60); n > 0; --n) {
      records.push_back(random_record(true));
    }
    zel_v6comp_reset_instance(0, 0);
    ASSERT_EQ(send(records), 0u);
    const tcamv6_prefix handled = records.front();
    ASSERT_EQ(tcamv6_prefix_handle_attach(state, &handled, 4711), 0);
  }

  std::vector<tcamv6_prefix> random_batch(uint32_t most) {
    std::vector<tcamv6_prefix> batch;
    const std::vector<table_row_text> rows = table_of(state);
    for (uint32_t n = 1 + below(most); n > 0; --n) {
      tcamv6_prefix record = random_record(below(2) == 0);
      if ((record.flags_tag & TM_PREFIX_FLAG_ADD) == 0 && below(8) != 0) {
        const table_row_text &row = rows[below(static_cast<uint32_t>(rows.size()))];
        record = record_of("-" + row.prefix);
        record.weight = std::max(1u, row.weight - row.anchor_ref);
      }
      batch.push_back(record);
    }
    return batch;
  }

  uint32_t send(const std::vector<tcamv6_prefix> &records) {
    std::vector<uint8_t> bytes(sizeof(v6comp_pref_info) + records.size() * sizeof(tcamv6_prefix));
    const v6comp_pref_info head = {0, 0, static_cast<uint32_t>(records.size())};
    std::memcpy(bytes.data(), &head, sizeof head);
    std::memcpy(bytes.data() + sizeof head, records.data(), records.size() * sizeof(tcamv6_prefix));
    return zel_v6comp_prefix_compress(reinterpret_cast<const v6comp_pref_info *>(bytes.data()));
  }

  struct picture {
    std::vector<uint8_t> image;
    std::vector<uint32_t> allocated;
    std::vector<uint32_t> taken_less_given;
    size_t heap_blocks;
    size_t heap_bytes;
    bool operator==(const picture &) const = default;
  };

  picture look() const {
    picture p = {image_of(state), {}, {}, test_host::heap().blocks, test_host::heap().bytes};
    for (const tm_chunk_info &type : gbl_state->chunk_info) {
      p.allocated.push_back(type.allocated);
      p.taken_less_given.push_back(type.mallocs - type.frees);
    }
    return p;
  }

  static uint32_t elements_refused() {
    uint32_t sum = 0;
    for (const tm_chunk_info &type : gbl_state->chunk_info) {
      sum += type.failed;
    }
    return sum;
  }

  std::vector<uint32_t> mallocs() const {
    std::vector<uint32_t> counts;
    for (const tm_chunk_info &type : gbl_state->chunk_info) {
      counts.push_back(type.mallocs);
    }
    return counts;
  }

  static size_t ends_without_owner(const tm_util_trie_node *node) {
    if (node == nullptr) {
      return 0;
    }
    return (tm_trie_is_leaf(node) && node->owners == 0 ? 1 : 0) + ends_without_owner(tm_trie_child(node, 0)) +
           ends_without_owner(tm_trie_child(node, 1));
  }

  std::mt19937_64 random{77};
  uint32_t start = 32;
};

const tcamv6_prefix too_much = record_of("-::/0*60000");

}  // namespace

TEST_F(tcamv6_incr_journal_test, batch_refused_at_any_index_leaves_every_byte_as_it_was) {
  size_t refusals = 0;
  for (int round = 0; round < 150; ++round) {
    compress_random();
    for (int turn = 0; turn < 3; ++turn) {
      const std::vector<tcamv6_prefix> batch = random_batch(10);
      const picture before = look();
      for (size_t k = 0; k <= batch.size(); ++k) {
        std::vector<tcamv6_prefix> part(batch.begin(), batch.begin() + static_cast<long>(k));
        part.push_back(too_much);
        part.insert(part.end(), batch.begin() + static_cast<long>(k), batch.end());
        ASSERT_NE(run(part).result, 0);
        ASSERT_TRUE(look() == before) << "round " << round << ", refused at " << k;
        ++refusals;
      }
      send(batch);
    }
  }
  EXPECT_GT(refusals, 2000u);
  EXPECT_EQ(test_host::pool_damage(), "");
}

TEST_F(tcamv6_incr_journal_test, requests_refused_by_themselves_leave_every_byte_as_it_was) {
  size_t refusals = 0;
  size_t batches = 0;
  for (int round = 0; round < 100; ++round) {
    compress_random();
    for (int turn = 0; turn < 30; ++turn) {
      const picture before = look();
      ++batches;
      if (send(random_batch(12)) != 0) {
        ++refusals;
        ASSERT_TRUE(look() == before) << "round " << round << ", batch " << turn;
      }
    }
  }
  EXPECT_EQ(batches, 3000u);
  EXPECT_GT(refusals, 100u);
}

TEST_F(tcamv6_incr_journal_test, every_refused_heap_allocation_leaves_every_byte_as_it_was) {
  size_t refusals = 0;
  for (int round = 0; round < 40; ++round) {
    compress_random();
    std::vector<tcamv6_prefix> batch = random_batch(8);
    batch.push_back(too_much);  // sorting does without memory: no refusal of it would show
    const picture before = look();
    for (uint64_t k = 1;; ++k) {
      const uint64_t refused = test_host::heap().refused;
      test_host::fail_heap_allocation(k);
      ASSERT_NE(send(batch), 0u);
      test_host::fail_heap_allocation(0);
      ASSERT_TRUE(look() == before) << k;
      if (test_host::heap().refused == refused) {
        break;
      }
      ++refusals;
    }
  }
  EXPECT_GT(refusals, 300u);
}

TEST_F(tcamv6_incr_journal_test, every_refused_element_leaves_every_byte_as_it_was) {
  size_t refusals = 0;
  for (int round = 0; round < 60; ++round) {
    compress_random();
    std::vector<tcamv6_prefix> batch = random_batch(4);
    batch.push_back(too_much);  // a path can be grown elsewhere: not every refused element shows
    const picture before = look();
    for (uint64_t k = 1;; ++k) {
      const uint32_t refused = elements_refused();
      test_host::fail_pool_element(k);
      ASSERT_NE(send(batch), 0u);
      test_host::fail_pool_element(0);
      ASSERT_TRUE(look() == before) << k;
      if (elements_refused() == refused) {
        break;
      }
      ++refusals;
    }
  }
  EXPECT_GT(refusals, 1000u);
}

TEST_F(tcamv6_incr_journal_test, refused_journal_memory_refuses_the_batch_with_12_before_anything_is_taken) {
  compress("2001:db8::/32 2001:db8:1::/48");
  const picture before = look();
  const std::vector<uint32_t> taken = mallocs();
  const std::string batch = "+2001:db9::/32 -2001:db8:1::/48 +2001:dba::/32";
  tcamv6_debug_flags.error = tcamv6_debug_flags.info = 1;
  for (uint64_t k = 1; k <= 3; ++k) {
    test_host::clear_log();
    test_host::fail_heap_allocation(k);
    const batch_answer answer = run(batch);
    EXPECT_EQ(answer.result, -12);
    EXPECT_EQ(answer.pending, 0u);
    EXPECT_EQ(answer.changed, 0u);
    EXPECT_TRUE(look() == before);
    EXPECT_EQ(mallocs(), taken);
    EXPECT_THAT(lines(), ::testing::ElementsAre(::testing::MatchesRegex(
                             "tcamv6_incr_compress: malloc\\([0-9]+ bytes\\) failed for the journal")));
    EXPECT_FALSE(tm_journal_is_open);
  }
  EXPECT_EQ(run(batch).result, 0);
}

TEST_F(tcamv6_incr_journal_test, failed_table_walk_is_rolled_back_too) {
  compress("2001:db8::/32 2001:db8:1::/48");
  state->n_prefs = 1;  // far too few: the walk fails
  const picture before = look();
  only({&tcamv6_debug_flags_t::error});
  EXPECT_EQ(run("+2001:db9::/32 +2001:dba::/32").result, -22);
  EXPECT_TRUE(look() == before);
  EXPECT_THAT(lines(), ::testing::ElementsAre("tcamv6_incr_compress: internal table dump failed -22",
                                              "tcamv6_incr_compress_fail_cleanup starts statep PTR index 2",
                                              "tcamv6_incr_compress_fail_cleanup : cleanup 2 prefixes total 3 prefixes",
                                              "tcamv6_incr_compress_fail_cleanup ends 0 total 1 prefixes"));
  state->n_prefs = 3;
}

TEST_F(tcamv6_incr_journal_test, rollback_needs_no_memory_and_replays_nothing) {
  compress("2001:db8::/32 2001:dbc::/32 2001:dbd::/32");
  const std::vector<tcamv6_prefix> batch = records_of("+2001:db9::/32 -2001:dbc::/32 -::/0*9");
  only({&tcamv6_debug_flags_t::result});
  const uint64_t before = test_host::heap().allocations;
  EXPECT_EQ(run(batch).result, -22);
  EXPECT_EQ(test_host::heap().allocations, before + 4) << "three of the journal, the extra operations";
  std::vector<std::string> applied;
  for (const std::string &line : lines()) {
    if (line.find("tcamv6_incr_compress ") == 0) {
      applied.push_back(line.substr(26, 4));
    }
  }
  EXPECT_THAT(applied, ::testing::ElementsAre("0db9", "0dbc", "0000"));
}

TEST_F(tcamv6_incr_journal_test, what_a_refused_batch_answers_is_what_it_was_at_the_failure) {
  compress("2001:db8::/32 2001:dbc::/32");
  const std::vector<tcamv6_prefix> batch = records_of("+2001:db8:1::/48 -2001:dbc::/32 -::/0*9 +2001:dbe::/32");
  std::vector<tcamv6_cmpr_pref> prefs(4);
  std::vector<tcamv6_cmpr_addr> addrs(4);
  uint32_t pending = 0;
  uint32_t changed = 0;
  uint32_t rows = 99;
  ASSERT_EQ(tcamv6_incr_compress(state, 4, batch.data(), prefs.data(), addrs.data(), &pending, &changed, &rows), -22);
  EXPECT_EQ(changed, 1u);
  EXPECT_EQ(pending, 1u);
  EXPECT_EQ(rows, 99u);
  EXPECT_EQ(prefs[0].own_node, 1u);
  EXPECT_NE(prefs[0].length, 48) << "its compressed length";
  EXPECT_EQ(prefs[3].length, 0) << "never reached";
  ASSERT_NE(state->extra_ops, nullptr);
  EXPECT_EQ(state->extra_op_count, 4u) << "the batch's own";
  EXPECT_EQ(state->extra_ops[4].flags_tag, 1u);
}

TEST_F(tcamv6_incr_journal_test, releases_give_no_room_before_the_batch_has_succeeded) {
  const uint64_t usual = raw_blk[TM_V6_TRIE_NODE].n_elems;
  raw_blk[TM_V6_TRIE_NODE].n_elems = 300;
  zel_free_named(gbl_state);
  ASSERT_EQ(zel_v6comp_init_global_state(2, 4), 0u);
  raw_blk[TM_V6_TRIE_NODE].n_elems = usual;
  state = zel_v6comp_instance(0, 0);
  // How many nodes must be free for a prefix to leave and come back in one batch?
  uint32_t needed[2] = {};
  for (const uint32_t safe : {0u, 1u}) {
    for (uint32_t spare = 0; needed[safe] == 0 && spare < 100; ++spare) {
      zel_v6comp_reset_instance(0, 0);
      compress("2001:db8::/32 2001:dbc::/32");
      std::vector<void *> rest;
      while (gbl_state->chunk_info[TM_V6_TRIE_NODE].allocated + spare < 300) {
        rest.push_back(tm_chunk_malloc(TM_V6_TRIE_NODE));
      }
      zel_v6comp_set_safe_updates(safe);
      needed[safe] = run("-2001:dbc::/32 +2001:dbc::/32").result == 0 ? spare : 0;
      for (void *node : rest) {
        tm_chunk_free(TM_V6_TRIE_NODE, node);
      }
      tcamv6_reclaim_leftovers();
    }
  }
  EXPECT_GT(needed[0], 0u);
  EXPECT_GT(needed[1], needed[0]);
}

// ---- the most that one record can need

TEST_F(tcamv6_incr_journal_test, batches_of_0_and_of_10000_records) {
  compress("2001:db8::/32 2001:dbc::/32");
  const picture before = look();
  EXPECT_EQ(run("").result, 0);
  EXPECT_TRUE(look() == before);
  std::vector<tcamv6_prefix> batch;
  for (int i = 0; i < 10000; ++i) {
    tcamv6_prefix record = record_of(i % 2 == 0 ? "+2001:db8:1::/48" : "-2001:db8:1::/48");
    if (i >= 200) {  // elements given back make no room within a batch: a pool has no 5,000 paths
      record = record_of(i % 2 == 0 ? "+2001:db8::/32" : "-2001:db8::/32");
    }
    batch.push_back(record);
  }
  batch.push_back(too_much);
  EXPECT_EQ(run(batch).result, -22);
  EXPECT_TRUE(look() == before);
  batch.pop_back();
  EXPECT_EQ(run(batch).result, 0);
  EXPECT_EQ(state->n_prefs, 3u);
}

TEST_F(tcamv6_incr_journal_test, one_record_may_add_and_delete_a_path_of_128_nodes_and_two_of_64) {
  // The host route hangs from the root of both tries: a path of 128 nodes, its dummy's and its own key of 64.
  compress("");
  const picture before = look();
  ASSERT_EQ(run("+8000::1/128").result, 0);
  ASSERT_EQ(run("-8000::1/128").result, 0);
  EXPECT_EQ(allocated(), std::accumulate(before.allocated.begin(), before.allocated.end(), 0u) + 2 + 64)
      << "but for the dummy of ::/0";
  // The same, as the full compression makes it: its compressed nodes carry data.
  compress("8000::1/128");
  ASSERT_EQ(run("-8000::1/128").result, 0);
  EXPECT_EQ(state->n_prefs, 1u);
}

TEST_F(tcamv6_incr_journal_test, one_record_may_delete_a_leaf_with_the_longest_paths_and_a_dummy) {
  compress("8000::/1 8000::/3");
  ASSERT_EQ(run("-8000::/3").result, 0);
  ASSERT_NE(dummy_code("8000::/1"), "none");
  ASSERT_EQ(run("-8000::/1").result, 0);
  compress("8000::/127 8000::/128");
  ASSERT_EQ(run("-8000::/128").result, 0);
  ASSERT_EQ(run("-8000::/127").result, 0);
  EXPECT_EQ(state->n_prefs, 1u);
}

TEST_F(tcamv6_incr_journal_test, one_record_may_relink_a_thousand_children) {
  // 1,000 prefixes below 2001:db8::/32, half of them below 2001:db8::/33, which comes and goes.
  std::string wide = "2001:db8::/32";
  for (int i = 0; i < 1000; ++i) {
    char text[40];
    std::snprintf(text, sizeof text, " 2001:db8:%x::/48", (i % 2 << 15) | i);
    wide += text;
  }
  compress(wide);
  ASSERT_EQ(children("2001:db8::/32").size(), 1001u);
  const picture before = look();
  ASSERT_EQ(run("+2001:db8::/33 -::/0*60000").result, -22);
  EXPECT_TRUE(look() == before);
  ASSERT_EQ(run("+2001:db8::/33").result, 0);
  EXPECT_EQ(children("2001:db8::/33").size(), 501u);
  EXPECT_EQ(children("2001:db8::/32").size(), 502u);
  const picture with_level = look();
  ASSERT_EQ(run("-2001:db8::/33 -::/0*60000").result, -22);
  EXPECT_TRUE(look() == with_level);
  ASSERT_EQ(run("-2001:db8::/33").result, 0);
  EXPECT_EQ(children("2001:db8::/32").size(), 1001u);
}

TEST_F(tcamv6_incr_journal_test, one_record_may_number_anew_all_that_it_hands_on) {
  // 600 prefixes below 2001:db8::/33. A child that 2001:db8::/32 got later has a higher number than they have, so each
  // of them gets another when the /33 goes: more notes than a record is allotted.
  std::string wide = "2001:db8::/32 2001:db8::/33";
  for (int i = 0; i < 600; ++i) {
    char text[40];
    std::snprintf(text, sizeof text, " 2001:db8:%x::/48", i);
    wide += text;
  }
  compress(wide);
  ASSERT_EQ(children("2001:db8::/33").size(), 601u);
  const size_t beside = children("2001:db8::/32").size();
  for (int i = 0; i < 700; ++i) {
    char text[40];
    std::snprintf(text, sizeof text, "+2001:db8:%x::/48", 0x8000 + i);
    ASSERT_EQ(run(text).result, 0);
  }
  ASSERT_EQ(children("2001:db8::/32").size(), beside + 700);
  const picture before = look();
  ASSERT_EQ(run("-2001:db8::/33 -::/0*60000").result, -22);
  EXPECT_TRUE(look() == before);
  ASSERT_EQ(run("-2001:db8::/33").result, 0);
  EXPECT_EQ(children("2001:db8::/32").size(), beside - 1 + 700 + 600);
  EXPECT_EQ(tm_journal_unreserved(), 0u);
}

TEST_F(tcamv6_incr_journal_test, every_end_in_the_compressed_trie_is_somebodys_key) {
  // So a deleted prefix gives up no more than its own path and its dummy's, and one record's journal holds them.
  for (const uint32_t safe : {1u, 0u}) {
    zel_v6comp_set_safe_updates(safe);
    for (int round = 0; round < 60; ++round) {
      compress_random();
      for (int turn = 0; turn < 20; ++turn) {
        send(random_batch(6));
        ASSERT_EQ(ends_without_owner(tm_trie_node(state->cmpr_root)), 0u) << "round " << round;
      }
    }
  }
}

TEST_F(tcamv6_incr_journal_test, one_record_may_release_more_than_its_own_paths) {
  // A pool that refuses an element in the middle of a path and serves the next call: the path is begun again elsewhere
  // and its first part stays. All of that goes with the prefix above it.
  compress("");
  ASSERT_EQ(run("+8000::/1 +8000:1::/128").result, 0);
  for (int i = 2; i <= 11; ++i) {
    test_host::fail_pool_element(50, "TM_V6_TRIE_NODE");
    ASSERT_EQ(run("+8000:" + std::to_string(i) + "::/128").result, 0);
    test_host::fail_pool_element(0);
  }
  ASSERT_GT(ends_without_owner(tm_trie_node(state->cmpr_root)), 5u);
  for (const std::string &longer : children("8000::/1")) {
    if (longer != "dummy") {
      ASSERT_EQ(run("-" + longer).result, 0);
    }
  }
  const picture before = look();
  test_host::fail_heap_allocation(5);  // after three of the journal and the extra operations: the log grows
  only({&tcamv6_debug_flags_t::info});
  const batch_answer refused = run("-8000::/1");
  EXPECT_EQ(refused.result, -12);
  EXPECT_THAT(lines(), ::testing::ElementsAre(::testing::StartsWith("tcamv6_release_cmpr_path: malloc(")));
  EXPECT_TRUE(look() == before);
  const uint32_t had = allocated();
  EXPECT_EQ(run("-8000::/1").result, 0);
  EXPECT_GT(had - allocated(), 400u);
  EXPECT_EQ(state->n_prefs, 1u);
}

// ---- the whole life of an instance

TEST_F(tcamv6_incr_journal_test, thousand_lives_lose_no_element_and_no_byte) {
  const size_t blocks = test_host::heap().blocks;
  const size_t bytes = test_host::heap().bytes;
  for (int life = 0; life < 1000; ++life) {
    zel_v6comp_set_safe_updates(life % 2 == 0 ? 0 : 1);
    compress_random();
    for (int turn = 0; turn < 4; ++turn) {
      std::vector<tcamv6_prefix> batch = random_batch(6);
      if (turn % 2 == 1) {
        batch.push_back(too_much);
      }
      if (turn == 2) {
        test_host::fail_pool_element(1 + below(40));
      }
      send(batch);
      test_host::fail_pool_element(0);
      if (turn == 3) {
        test_host::fail_heap_allocation(1 + below(12));
        send(random_batch(6));
        test_host::fail_heap_allocation(0);
      }
    }
    ASSERT_EQ(zel_v6comp_reset_instance(0, 0), 0u);
    ASSERT_EQ(test_host::pool_used(), 0u) << "life " << life;
    ASSERT_EQ(allocated(), 0u);
    ASSERT_EQ(test_host::heap().blocks, blocks);
    ASSERT_EQ(test_host::heap().bytes, bytes);
  }
}
