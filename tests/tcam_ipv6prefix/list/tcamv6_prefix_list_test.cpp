// SPDX-License-Identifier: Apache-2.0
// The working list of a request: anchors, the default prefix, tags, order.
#include <random>

#include "tcamv6_fixture.h"
#include "tcamv6_prefix_list_internal.h"

namespace {

class tcamv6_prefix_list_test : public tcamv6_test {
 protected:
  std::vector<tcamv6_prefix> build(const std::vector<tcamv6_prefix> &records, bool full) {
    tcamv6_prefix *list = nullptr;
    uint32_t count = 99;
    EXPECT_EQ(tcamv6_build_prefix_list(records.data(), &list, static_cast<uint32_t>(records.size()), &count, full),
              TM_OK);
    std::vector<tcamv6_prefix> result(list, list + count);
    zel_free_named(list);
    return result;
  }

  // By tag, the order in which the entries were made.
  static std::vector<tcamv6_prefix> by_tag(std::vector<tcamv6_prefix> list) {
    std::sort(list.begin(), list.end(), [](const tcamv6_prefix &a, const tcamv6_prefix &b) {
      return tm_prefix_tag(a.flags_tag) < tm_prefix_tag(b.flags_tag);
    });
    for (size_t i = 0; i < list.size(); ++i) {
      EXPECT_EQ(tm_prefix_tag(list[i].flags_tag), i + 1) << "tags are 1, 2, ...";
    }
    return list;
  }

  static std::vector<int> lengths(const std::vector<tcamv6_prefix> &list) {
    std::vector<int> result;
    for (const tcamv6_prefix &entry : list) {
      result.push_back(entry.length);
    }
    return result;
  }

  static std::vector<uint32_t> tags(const std::vector<tcamv6_prefix> &list) {
    std::vector<uint32_t> result;
    for (const tcamv6_prefix &entry : list) {
      result.push_back(tm_prefix_tag(entry.flags_tag));
    }
    return result;
  }
};

}  // namespace

TEST_F(tcamv6_prefix_list_test, zero_records_give_the_default_alone_in_full_mode_and_nothing_otherwise) {
  const std::vector<tcamv6_prefix> list = build({}, true);
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(list[0].flags_tag, (1u << TM_PREFIX_TAG_SHIFT) | TM_PREFIX_FLAG_ADD);
  EXPECT_EQ(list[0].weight, 1u);
  EXPECT_EQ(list[0].anchor_ref, 0u);
  EXPECT_EQ(text_of(list[0]), "::/0");
  EXPECT_TRUE(build({}, false).empty());
}

TEST_F(tcamv6_prefix_list_test, number_of_anchors_follows_the_length) {
  const struct {
    uint8_t length;
    std::vector<int> expected;
  } cases[] = {
      {0, {0}},
      {31, {31}},
      {32, {32}},
      {33, {33, 32}},
      {40, {40, 32}},
      {48, {48, 32}},
      {49, {49, 32, 48}},
      {64, {64, 32, 48}},
      {65, {65, 32, 48, 64}},
      {96, {96, 32, 48, 64}},
      {97, {97, 32, 48, 64, 96}},
      {128, {128, 32, 48, 64, 96}},
  };
  for (const auto &one : cases) {
    const auto list = by_tag(build({record_of("2001:db8::/" + std::to_string(one.length))}, false));
    EXPECT_EQ(lengths(list), one.expected) << int{one.length};
  }
}

TEST_F(tcamv6_prefix_list_test, records_come_first_then_the_anchors_of_each_then_the_default) {
  const auto list = by_tag(build(records_of({"2001:db8:1::/48", "fe80::/10", "2001:db8:2:3::/64"}), true));
  std::vector<std::string> texts;
  for (const tcamv6_prefix &entry : list) {
    texts.push_back(text_of(entry));
  }
  EXPECT_EQ(texts, (std::vector<std::string>{"2001:db8:1::/48", "fe80::/10", "2001:db8:2:3::/64", "2001:db8:1::/32",
                                             "2001:db8:2:3::/32", "2001:db8:2:3::/48", "::/0"}))
      << "anchors keep the address bits beyond their length";
}

TEST_F(tcamv6_prefix_list_test, anchor_is_a_copy_with_its_own_tag_whose_anchor_ref_is_the_weight) {
  tcamv6_prefix record = record_of("2001:db8:1::/48", 7, 0xABC);
  record.flags_tag |= 0x55555u << TM_PREFIX_TAG_SHIFT;
  record.anchor_ref = 3;
  record.reference = 0x1234;
  record.reserved[1] = 9;
  record.operation = 0x77;
  const auto list = by_tag(build({record}, false));
  ASSERT_EQ(list.size(), 2u);
  tcamv6_prefix expected = record;
  expected.flags_tag = 0xABC | (1u << TM_PREFIX_TAG_SHIFT);
  expected.anchor_ref = 0;
  EXPECT_EQ(std::memcmp(&list[0], &expected, sizeof expected), 0);
  expected.flags_tag = 0xABC | (2u << TM_PREFIX_TAG_SHIFT);
  expected.anchor_ref = 7;
  expected.length = 32;
  EXPECT_EQ(std::memcmp(&list[1], &expected, sizeof expected), 0);
}

TEST_F(tcamv6_prefix_list_test, default_has_the_last_tag_the_add_flag_and_weight_1) {
  const auto list = by_tag(build(records_of({"2001:db8:1::/48"}), true));
  ASSERT_EQ(list.size(), 3u);
  tcamv6_prefix expected = {};
  expected.flags_tag = TM_PREFIX_FLAG_ADD | (3u << TM_PREFIX_TAG_SHIFT);
  expected.weight = 1;
  EXPECT_EQ(std::memcmp(&list[2], &expected, sizeof expected), 0);
}

TEST_F(tcamv6_prefix_list_test, list_is_sorted_longest_first_then_by_address) {
  const auto list = build(records_of({"fe80::/16", "2001:db8::/32", "::/8", "2001:db7::/32", "fe80::/128"}), true);
  EXPECT_EQ(lengths(list), (std::vector<int>{128, 96, 64, 48, 32, 32, 32, 16, 8, 0}));
  EXPECT_EQ(text_of(list[4]), "2001:db7::/32");
  EXPECT_EQ(text_of(list[5]), "2001:db8::/32");
  EXPECT_EQ(text_of(list[6]), "fe80::/32");
}

TEST_F(tcamv6_prefix_list_test, equal_prefixes_all_stay_anchors_first_then_in_tag_order) {
  const auto list = build(records_of({"2001:db8::/32", "2001:db8::/32", "2001:db8::/40", "2001:db8::/48"}), false);
  EXPECT_EQ(lengths(list), (std::vector<int>{48, 40, 32, 32, 32, 32}));
  EXPECT_EQ(tags(list), (std::vector<uint32_t>{4, 3, 5, 6, 1, 2}));
}

TEST_F(tcamv6_prefix_list_test, comparator_puts_anchors_before_originals_among_equals_only) {
  tcamv6_prefix original = record_of("2001:db8::/32", 5);
  tcamv6_prefix anchor = original;
  anchor.anchor_ref = 5;
  EXPECT_LT(tcamv6_cmp_prefix_list(&anchor, &original), 0);
  EXPECT_GT(tcamv6_cmp_prefix_list(&original, &anchor), 0);
  EXPECT_EQ(tcamv6_cmp_prefix_list(&original, &original), 0);
  EXPECT_EQ(tcamv6_cmp_prefix_list(&anchor, &anchor), 0);
  tcamv6_prefix longer = record_of("2001:db8::/33", 5);
  EXPECT_LT(tcamv6_cmp_prefix_list(&longer, &anchor), 0) << "length decides before kind";
}

TEST_F(tcamv6_prefix_list_test, record_of_weight_0_counts_as_an_anchor) {
  const auto list = build({record_of("2001:db8::/32", 1), record_of("2001:db8::/32", 0)}, false);
  EXPECT_EQ(tags(list), (std::vector<uint32_t>{2, 1}));
}

TEST_F(tcamv6_prefix_list_test, records_may_be_unaligned) {
  std::vector<unsigned char> bytes(1 + 2 * sizeof(tcamv6_prefix));
  const std::vector<tcamv6_prefix> records = records_of({"2001:db8::/32", "2001:db9::/40"});
  std::memcpy(bytes.data() + 1, records.data(), 2 * sizeof(tcamv6_prefix));
  tcamv6_prefix *list = nullptr;
  uint32_t count = 0;
  const auto *unaligned = static_cast<const tcamv6_prefix *>(static_cast<const void *>(bytes.data() + 1));
  ASSERT_EQ(tcamv6_build_prefix_list(unaligned, &list, 2, &count, 0), TM_OK);
  ASSERT_EQ(count, 3u);
  EXPECT_EQ(text_of(list[0]), "2001:db9::/40");
  EXPECT_EQ(text_of(list[1]), "2001:db8::/32");
  EXPECT_EQ(text_of(list[2]), "2001:db9::/32");
  zel_free_named(list);
}

TEST_F(tcamv6_prefix_list_test, refused_list_is_null_minus_12_and_reported_with_its_bytes) {
  const std::vector<tcamv6_prefix> records = records_of({"2001:db8::/128"});
  auto *list = reinterpret_cast<tcamv6_prefix *>(state);
  uint32_t count = 0;
  only_info();
  test_host::fail_heap_allocation(1);
  EXPECT_EQ(tcamv6_build_prefix_list(records.data(), &list, 1, &count, 1), TM_ENOMEM);
  EXPECT_EQ(list, nullptr);
  EXPECT_EQ(test_host::last_heap_tag(), 0x17002Bu);
  EXPECT_EQ(plain_log_lines(), std::vector<std::string>{"tcamv6_build_prefix_list: malloc(240 bytes) failed"});
}

// A long list is sorted by keys, or by comparing when there is no memory for these.
TEST_F(tcamv6_prefix_list_test, long_lists_come_out_the_same_by_keys_and_by_comparing) {
  std::mt19937 random(7);
  for (int round = 0; round < 40; ++round) {
    std::vector<tcamv6_prefix> records(200 + random() % 200);
    for (tcamv6_prefix &record : records) {
      record = record_of("2001:db8::/32", static_cast<uint32_t>(random() % 4));  // weight 0 counts as an anchor
      record.length = static_cast<uint8_t>(random() % 129);
      for (uint8_t &byte : record.address) {
        byte = static_cast<uint8_t>(random() % 3 == 0 ? random() : byte);
      }
    }
    if (round % 4 < 2) {
      std::stable_sort(records.begin(), records.end(), [](const tcamv6_prefix &a, const tcamv6_prefix &b) {
        return std::memcmp(a.address, b.address, sizeof a.address) < 0;
      });
    }
    const auto n = static_cast<uint32_t>(records.size());
    tcamv6_prefix *lists[2] = {};
    uint32_t counts[2] = {};
    ASSERT_EQ(tcamv6_build_prefix_list(records.data(), &lists[0], n, &counts[0], round % 3 == 0), TM_OK);
    test_host::fail_heap_allocation(2);
    ASSERT_EQ(tcamv6_build_prefix_list(records.data(), &lists[1], n, &counts[1], round % 3 == 0), TM_OK);
    ASSERT_EQ(counts[0], counts[1]);
    EXPECT_EQ(std::memcmp(lists[0], lists[1], counts[0] * sizeof(tcamv6_prefix)), 0);
    EXPECT_TRUE(std::is_sorted(lists[0], lists[0] + counts[0], [](const tcamv6_prefix &a, const tcamv6_prefix &b) {
      return tcamv6_cmp_prefix_list(&a, &b) < 0;
    }));
    zel_free_named(lists[0]);
    zel_free_named(lists[1]);
  }
}

TEST_F(tcamv6_prefix_list_test, records_longer_than_128_bits_are_refused_wherever_they_stand) {
  for (const uint32_t n : {1u, 3u, 300u}) {
    for (const uint32_t at : {0u, n / 2, n - 1}) {
      for (const uint32_t length : {129u, 136u, 255u}) {
        std::vector<tcamv6_prefix> records = sibling_records(n, 64);
        records[at].length = static_cast<uint8_t>(length);
        tcamv6_prefix *list = records.data();
        uint32_t count = 7;
        only_info();
        test_host::clear_log();
        EXPECT_EQ(tcamv6_build_prefix_list(records.data(), &list, n, &count, 1), TM_EINVAL);
        EXPECT_EQ(list, nullptr);
        EXPECT_EQ(count, 0u);
        EXPECT_EQ(plain_log_lines(), std::vector<std::string>{"tcamv6_build_prefix_list: Bad arguments"});
      }
    }
  }
}

TEST_F(tcamv6_prefix_list_test, sorting_needs_no_memory) {
  const std::vector<tcamv6_prefix> records = sibling_records(300, 64);
  tcamv6_prefix *lists[2] = {};
  uint32_t counts[2] = {};
  ASSERT_EQ(tcamv6_build_prefix_list(records.data(), &lists[0], 300, &counts[0], 1), TM_OK);
  test_host::fail_heap_allocation(2);
  ASSERT_EQ(tcamv6_build_prefix_list(records.data(), &lists[1], 300, &counts[1], 1), TM_OK);
  ASSERT_EQ(counts[0], counts[1]);
  EXPECT_EQ(std::memcmp(lists[0], lists[1], counts[0] * sizeof(tcamv6_prefix)), 0);
  zel_free_named(lists[0]);
  zel_free_named(lists[1]);
}

TEST_F(tcamv6_prefix_list_test, results_are_sorted_by_tag_and_nothing_happens_to_none) {
  std::vector<tcamv6_cmpr_pref> prefs(4);
  const uint32_t order[] = {3, 0xFFFFF, 1, 2};
  for (size_t i = 0; i < 4; ++i) {
    prefs[i].flags_tag = order[i] << TM_PREFIX_TAG_SHIFT;
    prefs[i].own_node = order[i];
  }
  tcamv6_prepare_return_cmpr_prefs(nullptr, 4);
  tcamv6_prepare_return_cmpr_prefs(prefs.data(), 0);
  EXPECT_EQ(prefs[0].own_node, 3u);
  tcamv6_prepare_return_cmpr_prefs(prefs.data(), 4);
  EXPECT_EQ(prefs[0].own_node, 1u);
  EXPECT_EQ(prefs[1].own_node, 2u);
  EXPECT_EQ(prefs[2].own_node, 3u);
  EXPECT_EQ(prefs[3].own_node, 0xFFFFFu);
}

TEST_F(tcamv6_prefix_list_test, many_results_are_sorted_by_tag_with_and_without_memory) {
  std::mt19937 random(9);
  std::vector<tcamv6_cmpr_pref> shuffled(400);
  for (size_t i = 0; i < shuffled.size(); ++i) {
    shuffled[i].flags_tag = static_cast<uint32_t>(i + 1) << TM_PREFIX_TAG_SHIFT;
    shuffled[i].own_node = static_cast<uint32_t>(i);
  }
  std::shuffle(shuffled.begin(), shuffled.end(), random);
  for (const bool refused : {false, true}) {
    std::vector<tcamv6_cmpr_pref> prefs = shuffled;
    if (refused) {
      test_host::fail_heap_allocation(1);
    }
    tcamv6_prepare_return_cmpr_prefs(prefs.data(), static_cast<uint32_t>(prefs.size()));
    for (size_t i = 0; i < prefs.size(); ++i) {
      ASSERT_EQ(prefs[i].own_node, i) << refused;
    }
  }
}

TEST_F(tcamv6_prefix_list_test, distinct_prefixes_ignore_anchors_and_count_duplicates_once) {
  const auto distinct = [this](const std::vector<tcamv6_prefix> &records, bool full) {
    const auto list = build(records, full);
    return tcamv6_check_no_of_prefixes_in_array(static_cast<uint32_t>(list.size()), list.data());
  };
  EXPECT_EQ(distinct({}, true), 1u);
  EXPECT_EQ(distinct(records_of({"2001:db8::/32"}), true), 2u);
  EXPECT_EQ(distinct(records_of({"2001:db8::/128"}), true), 2u) << "four anchors";
  EXPECT_EQ(distinct(records_of({"2001:db8::/32", "2001:db8::/32", "2001:db8::/32"}), true), 2u);
  EXPECT_EQ(distinct(records_of({"2001:db8::/32", "2001:db8::/40"}), true), 3u) << "also stored as an anchor";
  EXPECT_EQ(distinct({record_of("2001:db8::/32", 0)}, false), 0u) << "the last entry is an anchor";
}

TEST_F(tcamv6_prefix_list_test, distinct_count_is_traced) {
  const tcamv6_prefix record = record_of("2001:db8::/32");
  tcamv6_check_no_of_prefixes_in_array(1, &record);
  EXPECT_TRUE(test_host::log_calls().empty());
  only_trace();
  tcamv6_check_no_of_prefixes_in_array(1, &record);
  EXPECT_EQ(plain_log_lines(), std::vector<std::string>{"tcamv6_check_no_of_prefixes_in_array ends retval=1"});
}
