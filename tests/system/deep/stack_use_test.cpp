// SPDX-License-Identifier: Apache-2.0
// Stack of the deepest walks, measured: the library runs on a painted stack of a thread of its own.
#include <pthread.h>
#include <sys/mman.h>

#include <cstdio>
#include <cstring>
#include <functional>

#include "instance_host.h"
#include "instance_image.h"
#include "test_records.h"

namespace {

using namespace instance_model;

constexpr size_t stack_size = size_t{8} << 20;
constexpr unsigned char paint = 0xE7;

void *call(void *work) {
  (*static_cast<const std::function<void()> *>(work))();
  return nullptr;
}

// Bytes of stack that the work and everything below it used.
size_t stack_of(const std::function<void()> &work) {
  void *stack = mmap(nullptr, stack_size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  EXPECT_NE(stack, MAP_FAILED);
  std::memset(stack, paint, stack_size);
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  EXPECT_EQ(pthread_attr_setstack(&attributes, stack, stack_size), 0);
  pthread_t thread;
  EXPECT_EQ(pthread_create(&thread, &attributes, call, const_cast<std::function<void()> *>(&work)), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
  const auto *bytes = static_cast<const unsigned char *>(stack);
  size_t untouched = 0;
  while (untouched < stack_size && bytes[untouched] == paint) {
    ++untouched;
  }
  munmap(stack, stack_size);
  return stack_size - untouched;
}

// A request built outside of the measured stack.
std::vector<uint8_t> bytes_of(const std::vector<tcamv6_prefix> &records) {
  std::vector<uint8_t> bytes(sizeof(v6comp_pref_info) + records.size() * sizeof(tcamv6_prefix));
  const v6comp_pref_info head = {0, 0, static_cast<uint32_t>(records.size())};
  std::memcpy(bytes.data(), &head, sizeof head);
  std::memcpy(bytes.data() + sizeof head, records.data(), records.size() * sizeof(tcamv6_prefix));
  return bytes;
}

uint32_t run(const std::vector<uint8_t> &bytes) {
  return zel_v6comp_prefix_compress(reinterpret_cast<const v6comp_pref_info *>(bytes.data()));
}

// What a thread of the host should have for the library alone; sanitizers multiply the frames.
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define STACK_USE_SANITIZED
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(STACK_USE_SANITIZED)
constexpr size_t documented_bound = size_t{4} << 20;
#else
constexpr size_t documented_bound = size_t{256} << 10;
#endif

void expect_bounded(const char *what, size_t used) {
  std::printf("stack  %-48s %7zu bytes\n", what, used);
  EXPECT_LE(used, documented_bound) << what;
}

TEST(stack_use, the_deepest_walks_stay_below_the_documented_bound) {
  ASSERT_EQ(start(1u << 20), 0u);
  tcamv6_debug_flags = {};
  uint32_t status = 77;
  const std::vector<uint8_t> deepest = bytes_of(nested_records(128));
  const std::vector<uint8_t> chain = bytes_of(nested_records(64));
  const std::vector<uint8_t> wide = bytes_of(sibling_records(65534, 32));
  const std::vector<uint8_t> batch = bytes_of({record_of("ffff::/16"), record_of("::1/128")});
  expect_bounded("an empty thread", stack_of([] {}));
  expect_bounded("full, 129 nested prefixes (refused with 75)", stack_of([&] { status = run(deepest); }));
  EXPECT_EQ(status, 75u);
  expect_bounded("full, 65 nested prefixes", stack_of([&] { status = run(chain); }));
  EXPECT_EQ(status, 0u);
  expect_bounded("batch on it", stack_of([&] { status = run(batch); }));
  uint32_t count = 0;
  tm_incr_update_entry *list = nullptr;
  expect_bounded("dump of it", stack_of([&] { status = zel_v6comp_sort_and_dump_prefix(0, 0, &count, &list); }));
  expect_bounded("reset of it", stack_of([&] { status = zel_v6comp_reset_instance(0, 0); }));
  EXPECT_EQ(status, 0u);
  expect_bounded("full, 65,534 siblings", stack_of([&] { status = run(wide); }));
  EXPECT_EQ(status, 0u);
  EXPECT_EQ(zel_v6comp_reset_instance(0, 0), 0u);
  EXPECT_EQ(lost_memory(), "");
  restore_pool_sizes();
}

// A trie that branches at every depth: the release of one level for each of its 128 bits.
TEST(stack_use, the_deepest_release_stays_below_the_documented_bound) {
  ASSERT_EQ(start(), 0u);
  auto *root = static_cast<tm_util_trie_node *>(tm_chunk_malloc(TM_V6_TRIE_NODE));
  tm_util_trie_node_initialize(root, nullptr, 0);
  for (int32_t length = 1; length <= 128; ++length) {
    uint8_t key[16] = {};
    ASSERT_NE(tm_util_trie_insert(root, key, length), nullptr);
    key[(length - 1) / 8] = static_cast<uint8_t>(0x80u >> (length - 1) % 8);
    ASSERT_NE(tm_util_trie_insert(root, key, length), nullptr);
  }
  expect_bounded("release of a trie that branches at 128 depths",
                 stack_of([&] { tm_util_trie_free(root, 0, TM_V6_ORIG_DATA); }));
  EXPECT_EQ(allocated(), 0u);
}

// In compatible mode, a failed batch is undone by a batch of its own, one level deeper for each undo that fails too.
TEST(stack_use, an_undone_batch_stays_below_the_documented_bound) {
  ASSERT_EQ(start(), 0u);
  tcamv6_debug_flags = {};
  uint32_t status = 77;
  const std::vector<uint8_t> first = bytes_of(nested_records(40));
  ASSERT_EQ(run(first), 0u);
  const std::vector<uint8_t> deeper = bytes_of(nested_records(128));
  expect_bounded("batch of 129 nested prefixes, undone", stack_of([&] { status = run(deeper); }));
  EXPECT_NE(status, 0u);
  EXPECT_EQ(first_fault({}, false), "");
  EXPECT_EQ(zel_v6comp_reset_instance(0, 0), 0u);
  EXPECT_EQ(allocated(), 0u);
}

}  // namespace
