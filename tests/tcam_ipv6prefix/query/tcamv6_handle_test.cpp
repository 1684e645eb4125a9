// SPDX-License-Identifier: Apache-2.0
// The host's value per prefix.
#include "tcamv6_handle.h"

#include <set>

#include "tcamv6_fixture.h"

namespace {

class tcamv6_handle_test : public tcamv6_test {
 protected:
  int32_t attach(const std::string &text, uint32_t handle) {
    const tcamv6_prefix prefix = record_of(text);
    return tcamv6_prefix_handle_attach(state, &prefix, handle);
  }
  uint32_t query(const std::string &text) {
    const tcamv6_prefix prefix = record_of(text);
    uint32_t handle = 0xDEAD;
    EXPECT_EQ(tcamv6_prefix_handle_query(state, &prefix, &handle), TM_OK) << text;
    return handle;
  }
};

// Room for real tables.
class tcamv6_handle_of_real_tables_test : public tcamv6_handle_test {
 protected:
  pools_of pools{uint64_t{1} << 19};
};

}  // namespace

TEST_F(tcamv6_handle_test, prefix_that_never_had_a_handle_yields_0) {
  ASSERT_EQ(compress({"2001:db8::/32", "2001:db8:1::/48"}).result, TM_OK);
  EXPECT_EQ(query("2001:db8::/32"), 0u);
  EXPECT_EQ(query("2001:db8:1::/48"), 0u);
  EXPECT_EQ(query("::/0"), 0u);
}

TEST_F(tcamv6_handle_test, second_attach_wins_and_all_32_bits_are_kept) {
  ASSERT_EQ(compress({"2001:db8::/32"}).result, TM_OK);
  ASSERT_EQ(attach("2001:db8::/32", 7), TM_OK);
  EXPECT_EQ(query("2001:db8::/32"), 7u);
  ASSERT_EQ(attach("2001:db8::/32", 0xFFFFFFFF), TM_OK);
  EXPECT_EQ(query("2001:db8::/32"), 0xFFFFFFFFu);
  EXPECT_EQ(query("::/0"), 0u);
}

TEST_F(tcamv6_handle_test, handle_leaves_the_place_among_siblings_alone) {
  ASSERT_EQ(compress(std::vector<tcamv6_prefix>{}).result, TM_OK);
  tcamv6_anc_data *data = data_of(tcamv6_anc_node(state->anc_root));
  data->handle = 0x55667788;
  data->sibling_order = 0x11223344;
  EXPECT_EQ(query("::/0"), 0x55667788u);
  ASSERT_EQ(attach("::/0", 9), TM_OK);
  EXPECT_EQ(data->handle, 9u);
  EXPECT_EQ(data->sibling_order, 0x11223344);
}

TEST_F(tcamv6_handle_test, attach_to_a_longer_prefix_fails_and_leaves_the_shorter_ones_handle_alone) {
  ASSERT_EQ(compress({"2001:db8::/32"}).result, TM_OK);
  ASSERT_EQ(attach("2001:db8::/32", 5), TM_OK);
  only_info();
  EXPECT_EQ(attach("2001:db8::/40", 6), TM_EINVAL);
  EXPECT_EQ(plain_log_lines(), std::vector<std::string>{"tcamv6_prefix_handle_attach: Prefix does not exist"});
  EXPECT_EQ(query("2001:db8::/32"), 5u);
}

TEST_F(tcamv6_handle_test, query_of_a_prefix_that_is_not_stored_writes_nothing) {
  ASSERT_EQ(compress({"2001:db8::/32"}).result, TM_OK);
  const tcamv6_prefix prefix = record_of("2001:db8::/40");
  uint32_t handle = 77;
  only_info();
  EXPECT_EQ(tcamv6_prefix_handle_query(state, &prefix, &handle), TM_EINVAL);
  EXPECT_EQ(handle, 77u);
  EXPECT_EQ(plain_log_lines(), std::vector<std::string>{"tcamv6_prefix_handle_query: Prefix does not exist"});
}

TEST_F(tcamv6_handle_of_real_tables_test, every_prefix_of_three_real_tables_keeps_its_own_handle) {
  for (const char *name : {"dc_wikimedia_144", "op_china_1641", "bgp_2401_5270"}) {
    const std::vector<std::string> texts = lines_of_file(std::string("examples/tables/") + name + ".txt");
    ASSERT_GT(texts.size(), 100u);
    const full_result r = compress(texts);
    ASSERT_EQ(r.result, TM_OK);
    std::vector<const tcamv6_prefix *> stored;  // anchors and the default too, each once
    std::set<std::pair<std::vector<uint8_t>, int>> seen;
    for (const tcamv6_prefix &entry : r.list) {
      tcamv6_prefix masked = entry;
      for (uint32_t bit = entry.length; bit < 128; ++bit) {
        masked.address[bit / 8] = static_cast<uint8_t>(masked.address[bit / 8] & ~(0x80u >> (bit % 8)));
      }
      if (seen.insert({{masked.address, masked.address + 16}, entry.length}).second) {
        stored.push_back(&entry);
      }
    }
    ASSERT_EQ(stored.size(), state->n_prefs);
    for (size_t i = 0; i < stored.size(); ++i) {
      ASSERT_EQ(tcamv6_prefix_handle_attach(state, stored[i], static_cast<uint32_t>(i * 2654435761u)), TM_OK);
    }
    for (size_t i = 0; i < stored.size(); ++i) {
      uint32_t handle = 0;
      ASSERT_EQ(tcamv6_prefix_handle_query(state, stored[i], &handle), TM_OK);
      ASSERT_EQ(handle, static_cast<uint32_t>(i * 2654435761u)) << text_of(*stored[i]);
    }
    ASSERT_EQ(tcamv6_reset(&state, 0), TM_OK);
    state = new_state();
  }
}

TEST_F(tcamv6_handle_test, null_pointers_are_refused) {
  ASSERT_EQ(compress({"2001:db8::/32"}).result, TM_OK);
  const tcamv6_prefix prefix = record_of("2001:db8::/32");
  uint32_t handle = 77;
  only_info();
  EXPECT_EQ(tcamv6_prefix_handle_attach(nullptr, &prefix, 1), TM_EINVAL);
  EXPECT_EQ(tcamv6_prefix_handle_attach(state, nullptr, 1), TM_EINVAL);
  EXPECT_EQ(tcamv6_prefix_handle_query(nullptr, &prefix, &handle), TM_EINVAL);
  EXPECT_EQ(tcamv6_prefix_handle_query(state, nullptr, &handle), TM_EINVAL);
  EXPECT_EQ(tcamv6_prefix_handle_query(state, &prefix, nullptr), TM_EINVAL);
  EXPECT_EQ(handle, 77u);
  EXPECT_EQ(plain_log_lines(),
            (std::vector<std::string>{
                "tcamv6_prefix_handle_attach: Bad arguments", "tcamv6_prefix_handle_attach: Bad arguments",
                "tcamv6_prefix_handle_query: Bad arguments", "tcamv6_prefix_handle_query: Bad arguments",
                "tcamv6_prefix_handle_query: Bad arguments"}));
}

TEST_F(tcamv6_handle_test, start_and_result_are_traced) {
  ASSERT_EQ(compress({"2001:db8::/32"}).result, TM_OK);
  const tcamv6_prefix prefix = record_of("2001:db8::/32");
  uint32_t handle = 0;
  only_trace();
  tcamv6_prefix_handle_attach(state, &prefix, 0xFFFFFFFF);
  tcamv6_prefix_handle_query(state, &prefix, &handle);
  tcamv6_prefix_handle_query(state, &prefix, nullptr);
  EXPECT_EQ(
      plain_log_lines(),
      (std::vector<std::string>{"tcamv6_prefix_handle_attach: Starting state_hndl <ptr>, prefix <ptr>, app_handle -1",
                                "tcamv6_prefix_handle_attach: Complete 0",
                                "tcamv6_prefix_handle_query: Starting state_hndl <ptr>, prefix <ptr>, handle_p <ptr>",
                                "tcamv6_prefix_handle_query: Complete 0",
                                "tcamv6_prefix_handle_query: Starting state_hndl <ptr>, prefix <ptr>, handle_p <ptr>",
                                "tcamv6_prefix_handle_query: Complete -22"}));
}

TEST_F(tcamv6_handle_test, broken_links_are_minus_14_or_fatal) {
  ASSERT_EQ(compress({"2001:db8::/32"}).result, TM_OK);
  const tcamv6_prefix prefix = record_of("2001:db8::/32");
  uint32_t handle = 77;
  tm_util_trie_node *node = find(tm_trie_node(state->orig_root), "2001:db8::/32");
  auto *orig = tm_ptr<tcamv6_orig_data>(node->data);
  tm_n_ary_node *anc = tcamv6_anc_node(orig->anc_node_idx);
  const tm_chunk_idx data = anc->data;
  anc->data = TM_CHUNK_IDX_NULL;
  EXPECT_EQ(tcamv6_prefix_handle_attach(state, &prefix, 1), TM_EFAULT);
  EXPECT_EQ(tcamv6_prefix_handle_query(state, &prefix, &handle), TM_EFAULT);
  EXPECT_EQ(handle, 77u);
  anc->data = data;
  orig->anc_node_idx = TM_CHUNK_IDX_NULL;
  EXPECT_FATAL(tcamv6_prefix_handle_attach(state, &prefix, 1),
               "\ntcamv6_prefix_handle_attach: trie_data->anc_node_idx is TM_CHUNK_IDX_NULL");
  orig->anc_node_idx = tm_idx(anc);
  const tm_chunk_idx orig_data = node->data;
  node->data = TM_CHUNK_IDX_NULL;
  EXPECT_FATAL(tcamv6_prefix_handle_query(state, &prefix, &handle), "\ntcamv6_prefix_handle_query: trie_data is NULL");
  node->data = orig_data;
}
