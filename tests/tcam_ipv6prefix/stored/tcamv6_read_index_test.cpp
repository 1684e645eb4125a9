// SPDX-License-Identifier: Apache-2.0
// When the answers of lookups come from the read index, and that nobody can tell.
#include "tcamv6_read_index.h"

#include "read_index_fixture.h"
#include "tcamv6_rules.h"

namespace {

const std::vector<std::string> small_table = {"2001:db8::/32",   "2001:db8:1::/48",  "2001:db8:1:2::/64",
                                              "2001:db8:2::/48", "2001:db8:2::/127", "fe80::1/128"};

class tcamv6_read_index_test : public read_index_test {
 protected:
  void TearDown() override {
    tcamv6_switch_safe_updates(false);
    read_index_test::TearDown();
  }

  // Lookups that find /0.
  void ask(uint32_t times) {
    for (uint32_t i = 0; i < times; ++i) {
      ASSERT_EQ(ask_address(state, record_of("::/0").address).result, TM_OK);
    }
  }
};

}  // namespace

TEST_F(tcamv6_read_index_test, real_tables_answer_the_same_byte_for_byte_and_line_for_line) {
  for (const char *name : {"dc_wikimedia_144", "op_china_1641", "bgp_2401_5270"}) {
    SCOPED_TRACE(name);
    only_info();
    ASSERT_EQ(compress(lines_of_file(std::string("examples/tables/") + name + ".txt")).result, TM_OK);
    build_index();
    expect_agreement();
  }
}

TEST_F(tcamv6_read_index_test, lookups_never_build_it_and_take_no_memory) {
  ASSERT_EQ(compress(small_table).result, TM_OK);
  const test_host::heap_counts before = test_host::heap();
  std::vector<uint8_t> bytes(sizeof *state);
  std::memcpy(bytes.data(), state, bytes.size());
  ask(5000);
  ask_prefix(state, record_of("2001:db8::/32"));
  ask_prefix(state, record_of("2001:db8::/33"));
  EXPECT_EQ(test_host::heap().allocations, before.allocations);
  EXPECT_EQ(std::memcmp(bytes.data(), state, bytes.size()), 0);
}

TEST_F(tcamv6_read_index_test, it_is_built_once_when_it_is_asked_for) {
  ASSERT_EQ(compress(small_table).result, TM_OK);
  const test_host::heap_counts before = test_host::heap();
  build_index();
  EXPECT_EQ(test_host::heap().blocks, before.blocks + 4);
  const uint64_t allocations = test_host::heap().allocations;
  build_index();
  expect_agreement();
  EXPECT_EQ(test_host::heap().allocations, allocations);
}

TEST_F(tcamv6_read_index_test, every_kind_of_change_drops_it_and_shows_at_once) {
  const struct {
    const char *name;
    const char *prefix;
    bool is_add;
  } changes[] = {{"counter", "2001:db8:1::/48", true},       {"below a leaf", "2001:db8:1:2:3::/80", true},
                 {"leaf", "2001:db8:7::/48", true},          {"new level", "2001:db8::/36", true},
                 {"counter down", "2001:db8:1::/48", false}, {"leaf", "2001:db8:7::/48", false},
                 {"inner", "2001:db8::/36", false}};
  for (const bool is_safe : {false, true}) {
    tcamv6_switch_safe_updates(is_safe);
    ASSERT_EQ(compress(small_table).result, TM_OK);
    for (const auto &change : changes) {
      SCOPED_TRACE(change.name);
      build_index();
      expect_agreement();
      const lookup_answer before = ask_address(state, record_of(change.prefix).address);
      ASSERT_EQ(change.is_add ? add(change.prefix) : remove(change.prefix), TM_OK);
      EXPECT_FALSE(is_live());
      const tcamv6_prefix changed = record_of(change.prefix);
      EXPECT_FALSE(ask_prefix(state, changed) == before);
      build_index();
      expect_agreement();
    }
  }
}

TEST_F(tcamv6_read_index_test, random_batches_compatible_and_safe) {
  for (const bool is_safe : {false, true}) {
    tcamv6_switch_safe_updates(is_safe);
    silence();
    std::vector<std::string> texts = lines_of_file("examples/tables/dc_wikimedia_144.txt");
    ASSERT_EQ(compress(texts).result, TM_OK);
    std::mt19937 random(is_safe ? 3 : 4);
    uint32_t refused = 0;
    for (int round = 0; round < 40; ++round) {
      std::vector<tcamv6_prefix> batch;
      const std::vector<tcamv6_prefix> stored = stored_prefixes(state);
      for (uint32_t i = 0; i < 1 + random() % 8; ++i) {
        tcamv6_prefix record = stored[random() % stored.size()];
        record.weight = 1;
        record.flags_tag = random() % 3 != 0 ? TM_PREFIX_FLAG_ADD : 0;
        if (record.flags_tag != 0 && random() % 4 != 0) {
          record.length =
              static_cast<uint8_t>(std::clamp<int>(record.length + static_cast<int>(random() % 25) - 8, 1, 128));
          record.address[record.length / 8 % 16] = static_cast<uint8_t>(random());
        }
        batch.push_back(record);
      }
      refused += run_batch(state, batch) != TM_OK;
      ASSERT_FALSE(is_live());
      build_index();
      ASSERT_NO_FATAL_FAILURE(expect_agreement());
    }
    EXPECT_GT(refused, 0u);
    EXPECT_LT(refused, 40u);
  }
}

TEST_F(tcamv6_read_index_test, refused_batch_and_its_undo_leave_the_answers_of_the_tries) {
  for (const bool is_safe : {false, true}) {
    tcamv6_switch_safe_updates(is_safe);
    silence();
    ASSERT_EQ(compress(small_table).result, TM_OK);
    build_index();
    ASSERT_NE(run_batch(state, {record_of("2001:db8:9::/48"), record_of("2001:db8:2::/48", 77, 0)}), TM_OK);
    EXPECT_FALSE(is_live());
    build_index();
    expect_agreement();
    EXPECT_EQ(ask_prefix(state, record_of("2001:db8:9::/48")).result, TM_EINVAL);
  }
}

TEST_F(tcamv6_read_index_test, dropped_one_is_built_again_in_the_same_memory) {
  ASSERT_EQ(compress(small_table).result, TM_OK);
  build_index();
  const test_host::heap_counts before = test_host::heap();
  ASSERT_EQ(add("2001:db8:1::/48"), TM_OK);
  EXPECT_EQ(test_host::heap().bytes, before.bytes);
  const uint64_t allocations = test_host::heap().allocations;
  build_index();
  expect_agreement();
  EXPECT_EQ(test_host::heap().allocations, allocations);
  EXPECT_EQ(test_host::heap().bytes, before.bytes);
}

TEST_F(tcamv6_read_index_test, table_that_outgrew_its_room_gets_more) {
  silence();
  ASSERT_EQ(compress(small_table).result, TM_OK);
  build_index();
  const uint32_t room = index_of(state)->item_room;
  for (uint32_t i = 0; i <= room; ++i) {
    char text[64];
    std::snprintf(text, sizeof text, "2001:db8:2:%x::/64", i + 1);
    ASSERT_EQ(add(text), TM_OK);
  }
  build_index();
  EXPECT_GT(index_of(state)->item_room, room);
  expect_agreement();
}

TEST_F(tcamv6_read_index_test, count_of_prefixes_that_is_too_small_costs_a_second_walk_only) {
  ASSERT_EQ(compress(sibling_records(300, 64)).result, TM_OK);
  const uint32_t n_prefs = state->n_prefs;
  state->n_prefs = 1;
  build_index();
  state->n_prefs = n_prefs;
  EXPECT_EQ(index_of(state)->n_items, n_prefs);
  expect_agreement();
}

TEST_F(tcamv6_read_index_test, memory_that_is_refused_leaves_the_tries_to_answer) {
  for (uint64_t k = 1; k <= 4; ++k) {
    SCOPED_TRACE(k);
    ASSERT_EQ(compress(sibling_records(300, 64)).result, TM_OK);
    const test_host::heap_counts before = test_host::heap();
    test_host::fail_heap_allocation(k);
    EXPECT_EQ(tcamv6_build_lookup_index(state), TM_ENOMEM);
    EXPECT_EQ(test_host::heap().refused, before.refused + 1);
    EXPECT_EQ(test_host::heap().bytes, before.bytes) << "nothing is kept of it";
    ask(10);
    build_index();
    expect_agreement();
  }
}

TEST_F(tcamv6_read_index_test, memory_that_is_refused_to_a_larger_table_gives_back_what_the_smaller_one_had) {
  silence();
  ASSERT_EQ(compress(small_table).result, TM_OK);
  const size_t bytes = test_host::heap().bytes;
  for (uint64_t k = 1; k <= 2; ++k) {
    build_index();
    for (uint32_t i = 0; i <= index_of(state)->item_room; ++i) {
      char text[64];
      std::snprintf(text, sizeof text, "2001:db8:2:%x::/64", i + 1 + static_cast<uint32_t>(k) * 0x100);
      ASSERT_EQ(add(text), TM_OK);
    }
    test_host::fail_heap_allocation(k);
    EXPECT_EQ(tcamv6_build_lookup_index(state), TM_ENOMEM);
    EXPECT_EQ(index_of(state), nullptr);
    EXPECT_EQ(test_host::heap().bytes, bytes);
    ASSERT_EQ(add("2001:db8:2:1::/64"), TM_OK);
  }
}

TEST_F(tcamv6_read_index_test, resets_give_its_memory_back) {
  for (const int32_t keep : {0, 1}) {
    for (const bool is_dropped : {false, true}) {
      state = state != nullptr ? state : new_state();
      ASSERT_EQ(compress(small_table).result, TM_OK);
      build_index();
      if (is_dropped) {
        ASSERT_EQ(add("2001:db8:1::/48"), TM_OK);
      }
      tcamv6_state *handle = state;
      ASSERT_EQ(tcamv6_reset(&handle, keep), TM_OK);
      EXPECT_EQ(test_host::heap().blocks, keep == 1 ? 1u : 0u) << "the record alone";
      if (keep == 1) {
        EXPECT_EQ(ask_prefix(state, record_of("2001:db8::/32")).result, TM_EINVAL);
        zel_free_named(state);
      }
      state = nullptr;
    }
  }
}

TEST_F(tcamv6_read_index_test, full_compression_of_a_table_in_use_gives_its_memory_back) {
  ASSERT_EQ(compress(small_table).result, TM_OK);
  const size_t blocks = test_host::heap().blocks;
  build_index();
  ASSERT_EQ(compress({"2001:db8::/32", "2400::/12"}).result, TM_OK);
  EXPECT_EQ(test_host::heap().blocks, blocks);
  EXPECT_EQ(state->read_index, 0u);
  build_index();
  expect_agreement();
  ASSERT_EQ(compress(nested_records(65)).result, TM_EOVERFLOW);
  EXPECT_EQ(test_host::heap().blocks, blocks);
  EXPECT_EQ(ask_prefix(state, record_of("2001:db8::/32")).result, TM_EINVAL);
}

TEST_F(tcamv6_read_index_test, instance_without_a_table_gets_none) {
  EXPECT_EQ(tcamv6_build_lookup_index(state), TM_EINVAL);
  EXPECT_EQ(tcamv6_build_lookup_index(nullptr), TM_EINVAL);
  EXPECT_EQ(test_host::heap().blocks, 1u);
  ASSERT_EQ(compress(small_table).result, TM_OK);
  EXPECT_EQ(state->read_index, 0u);
  build_index();
  expect_agreement();
}

TEST_F(tcamv6_read_index_test, instances_have_their_own) {
  tcamv6_state *other = new_state();
  ASSERT_EQ(compress(small_table).result, TM_OK);
  ASSERT_EQ(compress_on(other, records_of({"2001:db8::/33", "2001:db8:1::/48", "::1/128"})).result, TM_OK);
  build_index(state);
  build_index(other);
  ASSERT_EQ(run_batch(other, {record_of("2001:db8:1::/48", 5)}), TM_OK);
  EXPECT_FALSE(is_live(other));
  expect_agreement(state);
  build_index(other);
  ASSERT_EQ(tcamv6_reset(&state, 0), TM_OK);
  expect_agreement(other);
  ASSERT_EQ(tcamv6_reset(&other, 0), TM_OK);
}

TEST_F(tcamv6_read_index_test, traced_calls_are_answered_by_the_tries_with_their_lines) {
  ASSERT_EQ(compress(small_table).result, TM_OK);
  build_index();
  const uint64_t allocations = test_host::heap().allocations;
  tcamv6_debug_flags = {1, 1, 1, 1, 1, 1};
  const std::vector<std::string> expected = {
      "tcamv6_lookup_prefix: Starting state_hndl <ptr>, prefix <ptr>, cmpr_pref_p <ptr> cmpr_addr_p <ptr>",
      "tcamv6_lookup_prefix: Complete 0"};
  EXPECT_EQ(ask_prefix(state, record_of("2001:db8::/32")).lines, expected);
  expect_agreement();
  EXPECT_EQ(test_host::heap().allocations, allocations);
}

TEST_F(tcamv6_read_index_test, all_words_but_trace_print_the_lines_of_the_tries) {
  ASSERT_EQ(compress(small_table).result, TM_OK);
  build_index();
  tcamv6_debug_flags = {0, 1, 1, 1, 1, 1};
  const std::vector<std::string> expected = {"tcamv6_lookup_prefix: Prefix does not exist"};
  EXPECT_EQ(ask_prefix(state, record_of("2001:db8::/31")).lines, expected);
  expect_agreement();
}

TEST_F(tcamv6_read_index_test, length_above_128_is_the_tries_business) {
  ASSERT_EQ(compress(small_table).result, TM_OK);
  build_index();
  only_info();
  tcamv6_prefix prefix = record_of("fe80::1/128");
  for (const unsigned length : {129u, 136u, 255u}) {
    prefix.length = static_cast<uint8_t>(length);
    EXPECT_TRUE(agrees_on_prefix(state, prefix)) << length;
    EXPECT_EQ(ask_prefix(state, prefix).result, TM_EINVAL);
  }
}

TEST_F(tcamv6_read_index_test, broken_link_is_no_base_for_one) {
  ASSERT_EQ(compress(small_table).result, TM_OK);
  const test_host::heap_counts before = test_host::heap();
  const tm_util_trie_node *node = find(tm_trie_node(state->orig_root), "2001:db8:2::/48");
  tm_n_ary_node *anc = tcamv6_anc_node(tm_ptr<tcamv6_orig_data>(node->data)->anc_node_idx);
  const tm_chunk_idx data = anc->data;
  only_info();
  anc->data = TM_CHUNK_IDX_NULL;
  EXPECT_EQ(tcamv6_build_lookup_index(state), TM_EFAULT);
  EXPECT_EQ(test_host::heap().bytes, before.bytes);
  EXPECT_EQ(ask_prefix(state, record_of("2001:db8:2::/48")).result, TM_EFAULT);
  EXPECT_EQ(plain_log_lines(),
            std::vector<std::string>{"tcamv6_lookup_prefix: Error - Original prefix points to NULL anc_data"});
  anc->data = data;
  build_index();
  expect_agreement();
}

TEST_F(tcamv6_read_index_test, address_may_lie_in_the_record_that_is_written) {
  ASSERT_EQ(compress(small_table).result, TM_OK);
  build_index();
  tcamv6_prefix prefix = record_of("2001:db8:1:2::9/128");
  tcamv6_cmpr_pref cmpr_pref;
  tcamv6_cmpr_addr cmpr_addr;
  for (int time = 0; time < 2; ++time) {
    ASSERT_EQ(tcamv6_lookup_address(state, prefix.address, &prefix, &cmpr_pref, &cmpr_addr), TM_OK);
    EXPECT_EQ(masked_text(prefix.address, prefix.length), "2001:db8:1:2::/64");
  }
}

TEST_F(tcamv6_read_index_test, pools_are_not_touched) {
  ASSERT_EQ(compress(small_table).result, TM_OK);
  tm_chunk_info before[TM_CHUNK_TYPES];
  std::memcpy(before, info, sizeof before);
  build_index();
  expect_agreement();
  EXPECT_EQ(std::memcmp(before, info, sizeof before), 0);
}
