// SPDX-License-Identifier: Apache-2.0
// Update lists with counts, lengths and ranges that no plan has; a page that nobody may touch stands behind each.
#include <sys/mman.h>
#include <unistd.h>

#include "hostile_fixture.h"

namespace {

// A list whose last byte is the last one that may be read or written.
class fenced_list {
 public:
  fenced_list() : page_(static_cast<size_t>(sysconf(_SC_PAGESIZE))) {
    size_ = (sizeof(tm_incr_update_list) + page_ - 1) / page_ * page_;
    void *area = mmap(nullptr, size_ + page_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (area == MAP_FAILED || mprotect(static_cast<char *>(area) + size_, page_, PROT_NONE) != 0) {
      std::abort();
    }
    area_ = static_cast<char *>(area);
  }
  fenced_list(const fenced_list &) = delete;
  fenced_list &operator=(const fenced_list &) = delete;
  ~fenced_list() { munmap(area_, size_ + page_); }

  tm_incr_update_list *get() {
    return reinterpret_cast<tm_incr_update_list *>(area_ + size_ - sizeof(tm_incr_update_list));
  }

 private:
  size_t page_;
  size_t size_ = 0;
  char *area_ = nullptr;
};

const uint32_t hostile_counts[] = {0, 1, 31999, 32000, 32001, 65534, 65535, 0x80000000, 0xFFFFFFFF};

TEST(hostile_plan, no_count_leads_out_of_the_list) {
  test_host::reset();
  tcamv6_debug_flags = {};
  fenced_list fenced;
  tm_incr_update_list *list = fenced.get();
  for (const uint32_t used : hostile_counts) {
    for (const uint32_t other : hostile_counts) {
      SCOPED_TRACE(std::to_string(used) + ' ' + std::to_string(other));
      list->count = used;
      list->entries[31999].state = TM_INCR_INSERT;
      uint32_t first = 0;
      uint32_t last = 0;
      uint32_t found = 0;
      ASSERT_EQ(tm_build_incremental_update_hw_requests_find_entries(list, other, &first, &last, &found, 3, other), 0);
      EXPECT_EQ(found, used >= 32000 && other <= 31999 ? 1u : 0u);
      const uint64_t slots = used < 32000 ? used : 32000;
      EXPECT_EQ(tm_clear_pending_state(list, other, other, 9), 2 * uint64_t{other} > slots ? -22 : 0);
      EXPECT_EQ(tm_show_incremental_update_prefixes(list), 0);
    }
  }
}

TEST(hostile_plan, no_reorder_leads_out_of_the_list) {
  test_host::reset();
  fenced_list fenced;
  tm_incr_update_list *list = fenced.get();
  for (const uint32_t used : hostile_counts) {
    for (const uint32_t other : {0u, 1u, 32001u, 0xFFFFFFFFu}) {
      for (const int32_t keep : {0, 1}) {
        list->count = used;
        tm_prepare_incremental_update_prefixes_list_for_insert_and_update(list, other, 1, keep);
        EXPECT_EQ(list->count, keep == 0 ? used + 1 : used - other);
      }
    }
  }
}

TEST(hostile_plan, a_list_of_rubbish_is_planned_inside_its_bytes) {
  test_host::reset();
  tcamv6_debug_flags = {};
  fenced_list fenced;
  tm_incr_update_list *list = fenced.get();
  for (const int fill : {0x00, 0x01, 0x02, 0x80, 0xFF}) {
    SCOPED_TRACE(fill);
    std::memset(list, fill, sizeof *list);
    std::vector<tcamv6_prefix> records = sibling_records(40000, 32);
    for (size_t i = 0; i < 4; ++i) {
      records[i].length = i < 2 ? uint8_t{129} : uint8_t{255};
    }
    const std::vector<tcamv6_cmpr_addr> addrs(records.size());
    uint32_t corrupted = 7;
    ASSERT_EQ(tm_build_incremental_update_prefixes_list(list, records.data(), nullptr, addrs.data(), 40000, 0xFFFFFFFF,
                                                        &corrupted, 1),
              0);
    EXPECT_EQ(corrupted, 1u);
    EXPECT_EQ(list->count, 1u);
    EXPECT_EQ(list->n_insert, 31999u);
  }
}

TEST(hostile_plan, null_lists_are_answered_whatever_the_counts) {
  test_host::reset();
  tcamv6_debug_flags = {};
  uint32_t word = 7;
  for (const uint32_t n : hostile_counts) {
    EXPECT_EQ(tm_build_incremental_update_prefixes_list(nullptr, nullptr, nullptr, nullptr, n, n, &word, n), -22);
    EXPECT_EQ(tm_build_incremental_update_hw_requests_find_entries(nullptr, n, &word, &word, &word, n, n), -22);
    EXPECT_EQ(tm_clear_pending_state(nullptr, n, n, n), -22);
    EXPECT_EQ(tm_prepare_incremental_update_prefixes_list_for_insert_and_update(nullptr, n, n, 0), 0u);
    tm_prepare_incremental_update_prefixes_list_initial(nullptr, n, &word);
  }
  EXPECT_EQ(tm_show_incremental_update_prefixes(nullptr), -22);
  EXPECT_EQ(word, 7u);
  fenced_list fenced;
  for (const uint32_t n : {1u, 32000u, 65535u, 0x80000000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(tm_build_incremental_update_prefixes_list(fenced.get(), nullptr, nullptr, nullptr, n, 0, &word, 0), -22);
  }
}

}  // namespace
