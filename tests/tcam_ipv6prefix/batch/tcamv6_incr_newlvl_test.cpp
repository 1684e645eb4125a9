// SPDX-License-Identifier: Apache-2.0
#include "tcamv6_incr_newlvl.h"

#include "incr_fixture.h"
#include "tcamv6_cmpr_path.h"
#include "tcamv6_leftovers.h"
#include "tcamv6_siblings.h"

using ::testing::ElementsAre;

namespace {

class tcamv6_incr_newlvl_test : public incr_test {
 protected:
  int32_t add_level(const std::string &text) {
    const tcamv6_prefix record = record_of(text);
    const tcamv6_update_rules rules = tcamv6_rules_now();
    return tcav6_incr_add_pref_newlvl(state, &rules, &record, static_cast<int32_t>(state->max_cmpr_len));
  }

  // Where the new key must be: halfway, rounded up, from the deepest branching or tagged node between the enclosing
  // key (included) and the adopted ones' common key, to that.
  std::string halfway(const std::string &enclosing, const std::string &common) const {
    size_t from = enclosing.size();
    for (size_t depth = enclosing.size(); depth < common.size(); ++depth) {
      const tm_util_trie_node *node = cmpr_at(common.substr(0, depth));
      const bool branches = node->left != TM_CHUNK_IDX_NULL && node->right != TM_CHUNK_IDX_NULL;
      from = branches || node->tag != 0 ? depth : from;
    }
    return common.substr(0, (common.size() + from + 1) / 2);
  }

  static void move_key(tcamv6_anc_data *data, tm_util_trie_node *node) {
    tcamv6_disown_cmpr_node(data);
    tcamv6_own_cmpr_node(data, node);
  }

  static std::string common_part(const std::string &a, const std::string &b) {
    size_t n = 0;
    while (n < a.size() && n < b.size() && a[n] == b[n]) {
      ++n;
    }
    return a.substr(0, n);
  }
};

constexpr auto info = &tcamv6_debug_flags_t::info;
constexpr auto error = &tcamv6_debug_flags_t::error;
constexpr auto trace = &tcamv6_debug_flags_t::trace;

}  // namespace

TEST_F(tcamv6_incr_newlvl_test, level_above_one_prefix_lies_halfway_between_the_enclosing_key_and_its) {
  compress("2001:db8::/32 2001:db8:1:1::/64 2001:db8:8000::/36");
  const std::string expected = halfway(code("2001:db8::/32"), code("2001:db8:1:1::/64"));
  ASSERT_EQ(run("+2001:db8:1::/48").result, 0);
  EXPECT_EQ(code("2001:db8:1::/48"), expected);
  EXPECT_EQ(cmpr_at(expected)->tag, 1u);
  EXPECT_EQ(dummy_code("2001:db8:1::/48").size(), 64u);
  EXPECT_EQ(dummy_code("2001:db8:1::/48").substr(0, expected.size()), expected);
  EXPECT_EQ(cmpr_at(dummy_code("2001:db8:1::/48"))->tag, 2u);
}

TEST_F(tcamv6_incr_newlvl_test, level_above_several_prefixes_lies_halfway_to_their_common_key) {
  compress("2001:db8::/32 2001:db8:1:1::/64 2001:db8:1:2::/64 2001:db8:1:3::/64 2001:db8:8000::/36");
  std::string common = code("2001:db8:1:1::/64");
  common = common_part(common, code("2001:db8:1:2::/64"));
  common = common_part(common, code("2001:db8:1:3::/64"));
  const std::vector<std::string> codes = {code("2001:db8:1:1::/64"), code("2001:db8:1:2::/64"),
                                          code("2001:db8:1:3::/64"), code("2001:db8:8000::/36")};
  const std::string expected = halfway(code("2001:db8::/32"), common);
  ASSERT_EQ(run("+2001:db8:1::/48").result, 0);
  EXPECT_EQ(code("2001:db8:1::/48"), expected);
  EXPECT_EQ(codes, (std::vector<std::string>{code("2001:db8:1:1::/64"), code("2001:db8:1:2::/64"),
                                             code("2001:db8:1:3::/64"), code("2001:db8:8000::/36")}))
      << "no stored key changes";
}

TEST_F(tcamv6_incr_newlvl_test, new_prefix_has_its_dummy_first_then_the_adopted_and_stands_last_at_its_parent) {
  compress("2001:db8::/32");
  ASSERT_EQ(
      run("+2001:db8:1:1::/64 +2001:db8:8000::/36 +2001:db8:1:2::/64 +2001:db8:9000::/36 +2001:db8:1:3::/64").result,
      0);
  ASSERT_THAT(children("2001:db8::/32"), ElementsAre("2001:db8:1:3::/64", "2001:db8:9000::/36", "2001:db8:1:2::/64",
                                                     "2001:db8:8000::/36", "2001:db8:1:1::/64", "dummy"));
  only({trace});
  ASSERT_EQ(run("+2001:db8:1::/48").result, 0);
  EXPECT_THAT(lines(), ::testing::IsSupersetOf(
                           {"tcamv6_incr_add_prefix: case d, add prefix PTR as a non-leaf, to a non-leaf node",
                            "tcav6_incr_add_pref_newlvl: Starting orig_trie PTR, prefix PTR (len 64)",
                            "tcav6_incr_add_pref_newlvl: Complete 0"}));
  EXPECT_THAT(children("2001:db8:1::/48"),
              ElementsAre("dummy", "2001:db8:1:3::/64", "2001:db8:1:2::/64", "2001:db8:1:1::/64"));
  EXPECT_THAT(children("2001:db8::/32"),
              ElementsAre("2001:db8:9000::/36", "2001:db8:8000::/36", "dummy", "2001:db8:1::/48"));
}

TEST_F(tcamv6_incr_newlvl_test, new_prefix_takes_tag_counters_and_coding_from_record_and_parent) {
  compress("2001:db8::/32 2001:db8:1:1::/64 2001:db8:8000::/36");
  data("2001:db8::/32")->bits |= TCAMV6_ANC_USE_PCMPR;
  tcamv6_prefix record = record_of("2001:db8:1::/48*65540@65537");
  record.flags_tag = tm_prefix_with_tag(1, 0x777);
  ASSERT_EQ(run(std::vector<tcamv6_prefix>{record}).result, 0);
  const tcamv6_anc_data *its = data("2001:db8:1::/48");
  EXPECT_EQ(stored("2001:db8:1::/48")->tag, 0x777u);
  EXPECT_EQ(tcamv6_anc_tag(its), 0x777u);
  EXPECT_EQ(stored("2001:db8:1::/48")->aux1, 4);
  EXPECT_EQ(stored("2001:db8:1::/48")->aux2, 1);
  EXPECT_TRUE(tcamv6_anc_uses_pcmpr(its));
  EXPECT_TRUE(tcamv6_anc_is_created(its));
  ASSERT_EQ(run("+2001:db8:8000::/35").result, 0);
  EXPECT_EQ(stored("2001:db8:8000::/35")->tag, tags_so_far);
  EXPECT_EQ(tcamv6_anc_tag(data("2001:db8:8000::/35")), tags_so_far);
}

TEST_F(tcamv6_incr_newlvl_test, level_may_share_the_key_of_the_prefix_that_it_adopts) {
  compress("2001:db8::/32");
  ASSERT_EQ(run("+2001:db8:8800::/44").result, 0);
  ASSERT_EQ(run("+2001:db8:8000::/36").result, 0);
  EXPECT_EQ(code("2001:db8:8800::/44"), std::string(32, '0') + "1");
  EXPECT_EQ(code("2001:db8:8000::/36"), std::string(32, '0') + "1");
  EXPECT_EQ(cmpr_node("2001:db8:8000::/36")->owners, 2u);
}

TEST_F(tcamv6_incr_newlvl_test, staying_prefix_whose_key_begins_the_adopted_ones_common_key_is_refused) {
  compress("2001:db8::/32 2001:db8:1:1::/64 2001:db8:8000::/36");
  // No sound table has such keys; give the staying prefix one.
  tcamv6_anc_data *staying = data("2001:db8:8000::/36");
  tm_util_trie_node *its_node = tcamv6_cmpr_node(staying);
  const std::string adopted = code("2001:db8:1:1::/64");
  move_key(staying, cmpr_at(adopted.substr(0, adopted.size() - 1)));
  only({info});
  EXPECT_EQ(run("+2001:db8:1::/48").result, -2);
  EXPECT_THAT(lines(), ElementsAre("tcav6_incr_add_pref_newlvl: WARNING: Specified prefix cannot be inserted "
                                   "incrementally. Reoptimize."));
  move_key(staying, its_node);
  EXPECT_EQ(stored("2001:db8:1::/48"), nullptr);
  only({error});
  move_key(staying, cmpr_at(adopted.substr(0, adopted.size() - 1)));
  run("+2001:db8:1::/48");
  EXPECT_THAT(lines(), ElementsAre("tcamv6_incr_compress: Incremental Compression failed on the 0-th new prefix "
                                   "(code -2): 2001:0db8:0001:0000:0000:0000:0000:0000 / 48. Recompression and "
                                   "brief disruption may occur."));
  move_key(staying, its_node);
}

TEST_F(tcamv6_incr_newlvl_test, adopted_prefix_without_a_compressed_node_is_refused_without_a_message) {
  compress("2001:db8::/32 2001:db8:1:1::/64 2001:db8:8000::/36");
  tcamv6_anc_data *adopted = data("2001:db8:1:1::/64");
  const tm_chunk_idx its_node = adopted->cmpr_node;
  adopted->cmpr_node = TM_CHUNK_IDX_NULL;
  only({info, error});
  EXPECT_EQ(add_level("2001:db8:1::/48"), -2);
  EXPECT_THAT(lines(), ElementsAre());
  adopted->cmpr_node = its_node;
}

TEST_F(tcamv6_incr_newlvl_test, arguments_and_missing_links_are_refused) {
  compress("2001:db8::/32 2001:db8:1:1::/64 2001:db8:8000::/36");
  const tcamv6_prefix record = record_of("2001:db8:1::/48");
  tm_util_trie_node *root = tm_trie_node(state->orig_root);
  only({info, error});
  const tcamv6_update_rules compatible = {};
  EXPECT_EQ(tcav6_incr_add_pref_newlvl(nullptr, &compatible, &record, 64), -22);
  EXPECT_EQ(tcav6_incr_add_pref_newlvl(state, &compatible, nullptr, 64), -22);
  EXPECT_EQ(add_level("2001:dbb::/36"), -14) << "no node on the trie";
  EXPECT_EQ(add_level("2001:db8:1:1::/64"), -22) << "nothing lies below it";
  EXPECT_THAT(lines(),
              ElementsAre("tcav6_incr_add_pref_newlvl: Bad arguments", "tcav6_incr_add_pref_newlvl: Bad arguments",
                          "tcav6_incr_add_pref_newlvl: original trie lookup failed",
                          "tcav6_incr_add_pref_newlvl: No descendents of prefix in anc_tree -22"));
  tm_util_trie_node *enclosing = stored("2001:db8::/32");
  const tm_chunk_idx orig = enclosing->data;
  enclosing->data = TM_CHUNK_IDX_NULL;
  EXPECT_EQ(add_level("2001:db8:1::/48"), -14);
  EXPECT_THAT(lines(), ElementsAre("tcav6_incr_add_pref_newlvl: Trie node (tag 3) does not point to anc_node"));
  enclosing->data = orig;
  tm_n_ary_node *parent = anc_node("2001:db8::/32");
  tm_n_ary_node *child = anc_node("2001:db8:1:1::/64");
  for (tm_n_ary_node *node : {parent, child}) {
    const tm_chunk_idx its_data = node->data;
    node->data = TM_CHUNK_IDX_NULL;
    EXPECT_EQ(add_level("2001:db8:1::/48"), -14);
    node->data = its_data;
  }
  EXPECT_THAT(lines(), ElementsAre("tcav6_incr_add_pref_newlvl: anc_node for trie node (tag 3) has empty data",
                                   "tcav6_incr_add_pref_newlvl: anc_node has NULL data"));
  const uint32_t tags[] = {root->tag, enclosing->tag};
  root->tag = enclosing->tag = 0;
  EXPECT_EQ(add_level("2001:db8:1::/48"), -14);
  EXPECT_THAT(lines(), ElementsAre("tcav6_incr_add_pref_newlvl: BMP lookup on original trie failed"));
  root->tag = tags[0];
  enclosing->tag = tags[1];
  tcamv6_anc_data *child_data = data("2001:db8:1:1::/64");
  const tm_chunk_idx child_orig = child_data->orig;
  child_data->orig = TM_CHUNK_IDX_NULL;
  EXPECT_EQ(add_level("2001:db8:1::/48"), -22);
  EXPECT_THAT(lines(), ElementsAre("tcav6_incr_add_pref_newlvl: trie_is_ancestor() failed -22"));
  child_data->orig = child_orig;
  EXPECT_FATAL(
      {
        tm_ptr<tcamv6_orig_data>(orig)->anc_node_idx = 0;
        add_level("2001:db8:1::/48");
      },
      "\ntcav6_incr_add_pref_newlvl: anc_parent is NULL");
}

TEST_F(tcamv6_incr_newlvl_test, refused_list_memory_is_reported_and_nothing_is_changed) {
  compress("2001:db8::/32 2001:db8:1:1::/64 2001:db8:8000::/36");
  const std::vector<uint8_t> before = image_of(state);
  only({info});
  test_host::fail_heap_allocation(1);
  EXPECT_EQ(add_level("2001:db8:1::/48"), -12);
  EXPECT_EQ(lines().back(), "tcav6_incr_add_pref_newlvl: list_insert failed -12");
  EXPECT_EQ(image_of(state), before);
}

TEST_F(tcamv6_incr_newlvl_test, refused_elements_are_reported_step_by_step) {
  compress("2001:db8::/32 2001:db8:1:1::/64 2001:db8:8000::/36");
  const std::vector<uint8_t> before = image_of(state);
  const std::string address = "2001:0db8:0001:0000:0000:0000:0000:0000 / 48";
  const struct {
    const char *pool;
    uint64_t k;
    int32_t result;
    std::vector<std::string> messages;
  } steps[] = {
      {"TM_V6_ANC_TREE",
       1,
       -12,
       {"tcamv6_anc_tree_node_new: malloc(24 bytes) failed", ": Failed to create dummy for new node " + address}},
      {"TM_V6_ANC_DATA",
       1,
       -12,
       {"tcamv6_anc_tree_node_new: malloc(48 bytes) failed", ": Failed to create dummy for new node " + address}},
      {"TM_V6_TRIE_NODE", 1, -28, {"%s: No extending path for dummy prefix " + address}},
      {"TM_V6_TRIE_NODE", 9, -28, {"%s: No extending path for dummy prefix " + address}},
      {"TM_V6_ANC_TREE",
       2,
       -12,
       {"tcamv6_anc_tree_node_new: malloc(24 bytes) failed",
        "tcav6_incr_add_pref_newlvl: Failed to create new anc node -12"}},
      {"TM_V6_ORIG_DATA", 1, -12, {"tcav6_incr_add_pref_newlvl: malloc(8 bytes) failed"}},
  };
  for (const auto &step : steps) {
    only({info, error});
    test_host::fail_pool_element(step.k, step.pool);
    EXPECT_EQ(add_level("2001:db8:1::/48"), step.result) << step.pool;
    EXPECT_EQ(lines(), step.messages) << step.pool << ' ' << step.k;
    test_host::fail_pool_element(0);
    tcamv6_reclaim_leftovers();
    EXPECT_EQ(image_of(state), before) << step.pool;
  }
}

TEST_F(tcamv6_incr_newlvl_test, no_room_for_the_dummy_is_refused_with_28) {
  compress("2001:db8::/32 2001:db8:1:1::/64 2001:db8:8000::/36");
  const std::string place = halfway(code("2001:db8::/32"), code("2001:db8:1:1::/64"));
  only({error});
  const tcamv6_prefix record = record_of("2001:db8:1::/48");
  const tcamv6_update_rules compatible = {};
  EXPECT_EQ(tcav6_incr_add_pref_newlvl(state, &compatible, &record, static_cast<int32_t>(place.size())), -28);
  EXPECT_THAT(lines(),
              ElementsAre("%s: No extending path for dummy prefix 2001:0db8:0001:0000:0000:0000:0000:0000 / 48"));
}

TEST_F(tcamv6_incr_newlvl_test, adopted_children_with_equal_numbers_keep_the_order_of_the_chain) {
  // Numbers repeat once they have met a limit of their type. Found in the trie, the children come as :2, :1, :0.
  compress("2001:db8::/32 2001:db8:1::/48 2001:db8:2::/48");
  ASSERT_EQ(run("+2001:db8::/48").result, 0);
  ASSERT_EQ(children("2001:db8::/32"),
            (std::vector<std::string>{"2001:db8::/48", "2001:db8:2::/48", "2001:db8:1::/48", "dummy"}));
  for (const char *child : {"2001:db8::/48", "2001:db8:1::/48", "2001:db8:2::/48"}) {
    data(child)->sibling_order = INT32_MIN;
  }
  ASSERT_EQ(run("+2001:db8::/46").result, 0);
  EXPECT_EQ(children("2001:db8::/46"),
            (std::vector<std::string>{"dummy", "2001:db8::/48", "2001:db8:2::/48", "2001:db8:1::/48"}));
}

TEST_F(tcamv6_incr_newlvl_test, levels_added_in_compatible_mode_are_remembered_until_the_next_full_compression) {
  compress("2001:db8::/32 2001:db8:1::/48 2001:db8:2::/48");
  EXPECT_EQ(state->marks & TCAMV6_MARK_LOOSE_LEVELS, 0u);
  zel_v6comp_set_safe_updates(1);
  ASSERT_EQ(run("+2001:db8::/40").result, 0);
  EXPECT_EQ(state->marks & TCAMV6_MARK_LOOSE_LEVELS, 0u) << "a safe level is in its right place";
  zel_v6comp_set_safe_updates(0);
  ASSERT_EQ(run("+2001:db8::/36").result, 0);
  EXPECT_NE(state->marks & TCAMV6_MARK_LOOSE_LEVELS, 0u);
}
