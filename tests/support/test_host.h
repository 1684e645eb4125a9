// SPDX-License-Identifier: Apache-2.0
// test_host.h - a host for tests: every platform call, observed and refusable.
//
// Linking this file in replaces the stand-alone host. Messages are kept instead of printed; heap blocks and
// pool elements are counted, filled with a pattern when they are handed out and with another when they come
// back; any allocation can be refused; a fatal report ends the process in a way that EXPECT_FATAL recognises.
//
// All of it is process-wide, as the library's own state is. Begin a test with test_host::reset().
#ifndef TEST_HOST_H
#define TEST_HOST_H

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "zel_platform.h"

namespace test_host {

// What memory holds when it is handed out, when it was given back, and behind each pool element.
inline constexpr unsigned char fresh_byte = 0xA5;
inline constexpr unsigned char released_byte = 0x5A;
inline constexpr unsigned char guard_byte = 0xC3;

// Back to the start: nothing captured, no refusal pending, an empty environment, no pool. Heap blocks
// that are still out stay valid but are no longer counted. Pools are unmapped, so whatever the library
// remembers about their elements must be forgotten first.
void reset();

// -- messages
const std::vector<std::string> &log_calls();      // one string per call of zel_buginf
const std::vector<std::string> &console_calls();  // one string per call of zel_printf
std::string log_text();                           // all log calls joined
std::vector<std::string> log_lines();             // log_text() cut at line ends, empty lines dropped
void clear_log();
void keep_log(bool on);  // off: messages are formatted and dropped (long runs with trace on)

// -- heap
struct heap_counts {
  size_t blocks;         // out now
  size_t bytes;          // out now
  uint64_t allocations;  // granted since reset()
  uint64_t refused;
};
heap_counts heap();
size_t heap_block_bytes(const void *block);  // of a block that is out; 0 for null and any other
uint32_t last_heap_tag();
void fail_heap_allocation(uint64_t k);  // refuse the k-th from now only (1 = the next); 0 = refuse none
void fail_all_heap_allocations(bool on);
void call_before_heap_allocation(uint64_t k, std::function<void()> callback);  // the k-th from now

// -- pools
struct pool_view {
  std::string name;
  size_t elem_size;
  size_t n_elems;
  int fixed[3];  // the last three arguments of zel_chunk_create
  void *handle;
  size_t used;  // elements out now
};
std::vector<pool_view> pools();                                    // in order of creation
size_t pool_used(const std::string &name);                         // out now, summed over the pools of this name
size_t pool_used();                                                // out now, in all pools
void fail_pool_element(uint64_t k, const std::string &name = "");  // k-th from now; of that pool if named
void make_low_pools(bool on);         // from now on below 4 GiB, where 32 bits tell an address; reset() ends it
void fail_pool_creation(uint64_t k);  // k-th from now
uint64_t pool_elements_granted();     // since reset()

// The first misuse of a pool seen so far: an element given back twice or to the wrong pool, written after it
// was given back, or written past its end. Looks at every element; empty when all is well.
std::string pool_damage();

// -- environment and debug switch
void set_environment(const std::string &name, const std::string &value);
const std::vector<std::string> &environment_lookups();  // names, in order
using debug_all_callback = void (*)(int32_t on);
const std::vector<debug_all_callback> &registered_callbacks();

// -- fatal reports
inline constexpr int fatal_exit_code = 86;
std::string fatal_regex(const std::string &text);  // matches the report of exactly this text

}  // namespace test_host

// The statement must end the process through zel_fatal with exactly this text.
#define EXPECT_FATAL(statement, text) \
  EXPECT_EXIT(statement, ::testing::ExitedWithCode(test_host::fatal_exit_code), test_host::fatal_regex(text))

#endif
