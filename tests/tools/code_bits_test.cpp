#include "code_bits.h"

#include <gtest/gtest.h>

#include <queue>

#include "model_tables.h"

namespace {

using namespace v6tool;

uint32_t bits_of(const std::vector<ip_prefix> &prefixes) { return required_code_bits(prefix_forest(prefixes)); }

ip_prefix short_prefix(uint64_t bits, uint8_t length) { return {{length == 0 ? 0 : bits << (64 - length), 0}, length}; }

// The slow twin: the two parts of least need are joined until one is left.
uint32_t joined_two_by_two(const std::vector<uint32_t> &needs) {
  std::priority_queue<uint32_t, std::vector<uint32_t>, std::greater<>> heap(needs.begin(), needs.end());
  while (heap.size() > 1) {
    heap.pop();
    const uint32_t larger = heap.top();
    heap.pop();
    heap.push(larger + 1);
  }
  return heap.top();
}

uint32_t naive_bits(const std::vector<ip_prefix> &prefixes, const prefix_forest &forest, uint32_t of) {
  std::vector<uint32_t> needs;
  for (uint32_t i = 0; i < prefixes.size(); ++i) {
    if (forest.parent(i) == of) {
      needs.push_back(naive_bits(prefixes, forest, i));
    }
  }
  if (needs.empty()) {
    return 0;
  }
  needs.push_back(0);
  return joined_two_by_two(needs);
}

TEST(CodeBits, ADefaultRouteAloneNeedsNone) { EXPECT_EQ(bits_of({{}}), 0U); }

TEST(CodeBits, OnePrefixBesideTheRestOfTheDefaultNeedsOne) { EXPECT_EQ(bits_of({{}, short_prefix(1, 20)}), 1U); }

TEST(CodeBits, ThreePrefixesAndTheRestNeedTwoAndFourNeedThree) {
  std::vector<ip_prefix> prefixes = {{}, short_prefix(0, 3), short_prefix(1, 3), short_prefix(2, 3)};
  EXPECT_EQ(bits_of(prefixes), 2U);
  prefixes.push_back(short_prefix(3, 3));
  EXPECT_EQ(bits_of(prefixes), 3U);
}

TEST(CodeBits, EachLevelOfNestingNeedsOneMore) {
  std::vector<ip_prefix> prefixes;
  for (uint8_t length = 0; length <= 60; ++length) {
    prefixes.push_back(short_prefix(0, length));
    EXPECT_EQ(bits_of(prefixes), length);
  }
}

TEST(CodeBits, AgreesWithJoiningTwoByTwo) {
  model_tables::random_source random(5);
  for (int round = 0; round < 500; ++round) {
    std::vector<ip_prefix> prefixes =
        model_tables::random_prefixes(random, 1 + random() % 80, 1 + static_cast<unsigned>(random() % 40), 9);
    prefixes.emplace_back();
    std::sort(prefixes.begin(), prefixes.end());
    prefixes.erase(std::unique(prefixes.begin(), prefixes.end()), prefixes.end());
    const prefix_forest forest(prefixes);
    ASSERT_EQ(required_code_bits(forest), naive_bits(prefixes, forest, 0));
  }
}

TEST(CodeBits, InnerPrefixesAreThoseWithOthersInside) {
  const std::vector<ip_prefix> prefixes = {{}, short_prefix(0, 3), short_prefix(1, 3), short_prefix(2, 4)};
  EXPECT_EQ(count_inner(prefix_forest(prefixes)), 2U);
}

}  // namespace
