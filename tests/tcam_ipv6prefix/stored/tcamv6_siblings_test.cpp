// SPDX-License-Identifier: Apache-2.0
#include "tcamv6_siblings.h"

#include "incr_fixture.h"
#include "tm_journal.h"

using ::testing::ElementsAre;

namespace {

class tcamv6_siblings_test : public incr_test {
 protected:
  void SetUp() override {
    incr_test::SetUp();
    for (tm_n_ary_node *&node : nodes) {
      node = make();
    }
    parent = make();
    other = make();
  }

  void TearDown() override {
    for (tm_n_ary_node *node : made) {
      tm_n_ary_tree_freenode(node, 1, TM_V6_ANC_DATA);
    }
    incr_test::TearDown();
  }

  tm_n_ary_node *make() {
    tm_n_ary_node *node = nullptr;
    EXPECT_EQ(tcamv6_anc_tree_node_new(false, &node), 0);
    made.push_back(node);
    return node;
  }

  // The places in `nodes` of a parent's children, along the chain. Both ways must agree, and numbers grow.
  std::vector<int> chain(const tm_n_ary_node *of) const {
    std::vector<int> places;
    const tm_n_ary_node *last = nullptr;
    for (const tm_n_ary_node *child = tcamv6_anc_first_child(of); child != nullptr; child = tcamv6_anc_next(child)) {
      places.push_back(static_cast<int>(std::find(nodes, nodes + 6, child) - nodes));
      if (last != nullptr) {
        EXPECT_EQ(before(child), last);
        EXPECT_LE(order(last), order(child));
      }
      last = child;
    }
    if (last != nullptr) {
      EXPECT_EQ(before(tcamv6_anc_first_child(of)), last) << "the first child's one before is the last";
    }
    return places;
  }

  static const tm_n_ary_node *before(const tm_n_ary_node *node) {
    const tcamv6_anc_data *data = tcamv6_anc_data_of(node);
    return tcamv6_anc_node(uint64_t{data->previous_high} << 32 | data->previous_low);
  }
  static int32_t order(const tm_n_ary_node *node) { return tcamv6_anc_data_of(node)->sibling_order; }
  static void set_order(const tm_n_ary_node *node, int32_t order) { tcamv6_anc_data_of(node)->sibling_order = order; }

  std::vector<tm_n_ary_node *> made;
  tm_n_ary_node *nodes[6];
  tm_n_ary_node *parent;
  tm_n_ary_node *other;
};

}  // namespace

TEST_F(tcamv6_siblings_test, pushed_children_come_first_and_appended_ones_last) {
  tcamv6_push_child(parent, nodes[0]);
  EXPECT_THAT(chain(parent), ElementsAre(0));
  tcamv6_push_child(parent, nodes[1]);
  tcamv6_append_child(parent, nodes[2]);
  tcamv6_push_child(parent, nodes[3]);
  EXPECT_THAT(chain(parent), ElementsAre(3, 1, 0, 2));
  EXPECT_EQ(order(nodes[3]), -2);
  EXPECT_EQ(order(nodes[2]), 1);
}

TEST_F(tcamv6_siblings_test, child_appended_to_none_is_the_only_one) {
  tcamv6_append_child(parent, nodes[4]);
  EXPECT_THAT(chain(parent), ElementsAre(4));
  EXPECT_EQ(before(nodes[4]), nodes[4]);
}

TEST_F(tcamv6_siblings_test, first_middle_last_and_only_child_are_unlinked) {
  for (int i = 0; i < 4; ++i) {
    tcamv6_append_child(parent, nodes[i]);
  }
  EXPECT_EQ(tcamv6_unlink_child(parent, nodes[1]), 0);
  EXPECT_THAT(chain(parent), ElementsAre(0, 2, 3));
  EXPECT_EQ(tcamv6_unlink_child(parent, nodes[0]), 0);
  EXPECT_THAT(chain(parent), ElementsAre(2, 3));
  EXPECT_EQ(tcamv6_unlink_child(parent, nodes[3]), 0);
  EXPECT_THAT(chain(parent), ElementsAre(2));
  EXPECT_EQ(tcamv6_unlink_child(parent, nodes[2]), 0);
  EXPECT_THAT(chain(parent), ElementsAre());
}

TEST_F(tcamv6_siblings_test, what_is_no_child_is_refused) {
  EXPECT_EQ(tcamv6_unlink_child(parent, nodes[0]), -22) << "no children";
  tcamv6_push_child(parent, nodes[0]);
  tcamv6_push_child(other, nodes[1]);
  EXPECT_EQ(tcamv6_unlink_child(parent, nodes[2]), -2) << "in no chain";
  EXPECT_EQ(tcamv6_unlink_child(parent, nodes[1]), -2) << "the only child of another";
  EXPECT_THAT(chain(parent), ElementsAre(0));
  EXPECT_THAT(chain(other), ElementsAre(1));
}

TEST_F(tcamv6_siblings_test, numbering_keeps_the_hosts_handle) {
  tcamv6_anc_data *data = tcamv6_anc_data_of(nodes[0]);
  data->handle = 0xFFFFFFFFu;
  tcamv6_push_child(parent, nodes[1]);
  tcamv6_push_child(parent, nodes[0]);
  EXPECT_EQ(data->sibling_order, -1);
  EXPECT_EQ(data->handle, 0xFFFFFFFFu);
}

TEST_F(tcamv6_siblings_test, numbers_stop_at_the_limits_of_their_type) {
  tcamv6_push_child(parent, nodes[0]);
  set_order(nodes[0], INT32_MIN);
  tcamv6_push_child(parent, nodes[1]);
  EXPECT_EQ(order(nodes[1]), INT32_MIN);
  tcamv6_push_child(other, nodes[2]);
  set_order(nodes[2], INT32_MAX);
  tcamv6_append_child(other, nodes[3]);
  EXPECT_EQ(order(nodes[3]), INT32_MAX);
  EXPECT_THAT(chain(parent), ElementsAre(1, 0));
  EXPECT_THAT(chain(other), ElementsAre(2, 3));
}

TEST_F(tcamv6_siblings_test, moved_children_stand_behind_in_their_order) {
  for (int i = 0; i < 3; ++i) {
    tcamv6_append_child(parent, nodes[i]);
    tcamv6_append_child(other, nodes[3 + i]);
  }
  tcamv6_move_children(parent, other);
  EXPECT_THAT(chain(parent), ElementsAre(0, 1, 2, 3, 4, 5));
  EXPECT_THAT(chain(other), ElementsAre());
  EXPECT_EQ(order(nodes[5]), 5) << "numbered behind the last";
}

TEST_F(tcamv6_siblings_test, moved_children_whose_numbers_follow_keep_them) {
  tcamv6_append_child(parent, nodes[0]);
  tcamv6_append_child(other, nodes[1]);
  tcamv6_append_child(other, nodes[2]);
  set_order(nodes[1], 7);
  set_order(nodes[2], 9);
  tcamv6_move_children(parent, other);
  EXPECT_THAT(chain(parent), ElementsAre(0, 1, 2));
  EXPECT_EQ(order(nodes[1]), 7);
}

TEST_F(tcamv6_siblings_test, children_move_to_a_parent_without_any_and_none_move_from_one) {
  tcamv6_append_child(other, nodes[0]);
  tcamv6_append_child(other, nodes[1]);
  tcamv6_move_children(parent, other);
  tcamv6_move_children(parent, other);
  EXPECT_THAT(chain(parent), ElementsAre(0, 1));
}

TEST_F(tcamv6_siblings_test, journal_puts_every_link_and_number_back) {
  for (int i = 0; i < 3; ++i) {
    tcamv6_append_child(parent, nodes[i]);
    tcamv6_append_child(other, nodes[3 + i]);
  }
  ASSERT_EQ(tm_journal_open("test"), 0);
  ASSERT_EQ(tcamv6_unlink_child(parent, nodes[1]), 0);
  tcamv6_push_child(other, nodes[1]);
  tcamv6_move_children(parent, other);
  tm_journal_rollback(tm_chunk_free);
  EXPECT_THAT(chain(parent), ElementsAre(0, 1, 2));
  EXPECT_THAT(chain(other), ElementsAre(3, 4, 5));
  EXPECT_EQ(order(nodes[1]), 1);
  EXPECT_EQ(order(nodes[5]), 2);
}

TEST_F(tcamv6_siblings_test, move_of_many_children_asks_for_the_room_of_its_notes) {
  tcamv6_append_child(parent, nodes[0]);
  for (int i = 0; i < 300; ++i) {
    tcamv6_append_child(other, make());
  }
  EXPECT_EQ(tcamv6_reserve_moving(other), 0) << "no journal, nothing to reserve";
  ASSERT_EQ(tm_journal_open("test"), 0);
  test_host::fail_all_heap_allocations(true);
  EXPECT_EQ(tcamv6_reserve_moving(other), -12);
  test_host::fail_all_heap_allocations(false);
  ASSERT_EQ(tcamv6_reserve_moving(other), 0);
  tcamv6_move_children(parent, other);
  EXPECT_EQ(tm_journal_unreserved(), 0u);
  EXPECT_EQ(chain(parent).size(), 301u);
  tm_journal_rollback(tm_chunk_free);
  EXPECT_THAT(chain(parent), ElementsAre(0));
  EXPECT_EQ(chain(other).size(), 300u);
}

// Chains of a table under random updates: whole both ways, and in the order that the numbers tell.
TEST_F(tcamv6_siblings_test, chains_of_a_table_stay_whole_under_random_batches) {
  compress("2001:db8::/32 2001:db8:1::/48 2001:db8:2::/48 2001:db9::/32");
  std::mt19937 random(1);
  for (const bool safe : {false, true}) {
    zel_v6comp_set_safe_updates(safe ? 1 : 0);
    for (int i = 0; i < 400; ++i) {
      const int length = 33 + static_cast<int>(random() % 16);
      char text[64];
      snprintf(text, sizeof text, "%c2001:db8:%x::/%d", random() % 2 != 0 ? '+' : '-',
               static_cast<uint32_t>(random() & 0xFFFFu) >> (48 - length) << (48 - length), length);
      run(text);
      chain(anc_node("::/0"));
      chain(anc_node("2001:db8::/32"));
    }
  }
  zel_v6comp_set_safe_updates(0);
}

TEST_F(tcamv6_siblings_test, moved_children_whose_first_number_equals_the_last_are_numbered_anew) {
  tcamv6_append_child(parent, nodes[0]);
  tcamv6_append_child(other, nodes[1]);
  ASSERT_EQ(order(nodes[0]), order(nodes[1]));
  tcamv6_move_children(parent, other);
  EXPECT_LT(order(nodes[0]), order(nodes[1]));
}
