// SPDX-License-Identifier: Apache-2.0
// read_index_fixture.h - one instance asked through its tries and through its read index, answers compared byte by
// byte.
#ifndef READ_INDEX_FIXTURE_H
#define READ_INDEX_FIXTURE_H

#include <random>

#include "tcamv6_extra_ops.h"
#include "tcamv6_fixture.h"
#include "tcamv6_incr.h"
#include "tcamv6_lookup.h"
#include "tcamv6_lookup_index.h"
#include "tcamv6_read_index.h"

// Everything that a lookup gives, with what it left alone.
struct lookup_answer {
  int32_t result;
  tcamv6_prefix prefix;
  tcamv6_cmpr_pref cmpr_pref;
  tcamv6_cmpr_addr cmpr_addr;
  std::vector<std::string> lines;

  bool operator==(const lookup_answer &other) const {
    return result == other.result && lines == other.lines && std::memcmp(&prefix, &other.prefix, sizeof prefix) == 0 &&
           std::memcmp(&cmpr_pref, &other.cmpr_pref, sizeof cmpr_pref) == 0 &&
           std::memcmp(&cmpr_addr, &other.cmpr_addr, sizeof cmpr_addr) == 0;
  }
};

class read_index_test : public tcamv6_test {
 protected:
  static tcamv6_read_index *index_of(const tcamv6_state *of) { return tcamv6_read_index_at(of->read_index); }
  static bool is_live(const tcamv6_state *of) { return index_of(of) != nullptr && index_of(of)->live != 0; }
  bool is_live() const { return is_live(state); }

  static lookup_answer ask_address(tcamv6_state *of, const uint8_t *address) {
    lookup_answer answer;
    std::memset(static_cast<void *>(&answer), 0x33, offsetof(lookup_answer, lines));
    test_host::clear_log();
    answer.result = tcamv6_lookup_address(of, address, &answer.prefix, &answer.cmpr_pref, &answer.cmpr_addr);
    answer.lines = plain_log_lines();
    return answer;
  }

  static lookup_answer ask_prefix(tcamv6_state *of, const tcamv6_prefix &prefix) {
    lookup_answer answer;
    std::memset(static_cast<void *>(&answer), 0x33, offsetof(lookup_answer, lines));
    test_host::clear_log();
    answer.result = tcamv6_lookup_prefix(of, &prefix, &answer.cmpr_pref, &answer.cmpr_addr);
    answer.lines = plain_log_lines();
    return answer;
  }

  // Run a lookup with the index as it stands, and with none.
  template <class Ask>
  static lookup_answer without_index(tcamv6_state *of, Ask ask) {
    const uint64_t kept = of->read_index;
    of->read_index = 0;
    const lookup_answer answer = ask(of);
    of->read_index = kept;
    return answer;
  }

  static bool agrees_on_address(tcamv6_state *of, const uint8_t *address) {
    const lookup_answer wanted = without_index(of, [&](tcamv6_state *s) { return ask_address(s, address); });
    return ask_address(of, address) == wanted;
  }
  static bool agrees_on_prefix(tcamv6_state *of, const tcamv6_prefix &prefix) {
    const lookup_answer wanted = without_index(of, [&](tcamv6_state *s) { return ask_prefix(s, prefix); });
    return ask_prefix(of, prefix) == wanted;
  }

  static void build_index(tcamv6_state *of) {
    ASSERT_EQ(tcamv6_build_lookup_index(of), TM_OK);
    ASSERT_TRUE(is_live(of));
  }
  void build_index() { build_index(state); }

  static void stored_prefixes(const tm_util_trie_node *node, std::vector<tcamv6_prefix> *found) {
    if (node == nullptr) {
      return;
    }
    if (node->tag != 0) {
      tcamv6_prefix record = {};
      std::memcpy(record.address, node->key, sizeof record.address);
      record.length = static_cast<uint8_t>(node->len);
      found->push_back(record);
    }
    stored_prefixes(tm_trie_child(node, 0), found);
    stored_prefixes(tm_trie_child(node, 1), found);
  }

  static std::vector<tcamv6_prefix> stored_prefixes(const tcamv6_state *of) {
    std::vector<tcamv6_prefix> found;
    stored_prefixes(tm_trie_node(of->orig_root), &found);
    return found;
  }

  // The prefix, one bit more and one less, and addresses at, before and behind its ends.
  static void expect_agreement_around(tcamv6_state *of, const tcamv6_prefix &stored, std::mt19937 &random) {
    tcamv6_prefix prefix = stored;
    for (int more = -1; more <= 1; ++more) {
      prefix.length = static_cast<uint8_t>(std::clamp(stored.length + more, 0, 128));
      ASSERT_TRUE(agrees_on_prefix(of, prefix)) << text_of(prefix);
    }
    const tm_key_number bits = tm_key_number_leading(stored.length);
    const tm_key_number first = tm_key_load(stored.address) & bits;
    const tm_key_number inside = (tm_key_number{random()} << 96 | tm_key_number{random()} << 64 |
                                  tm_key_number{random()} << 32 | tm_key_number{random()}) &
                                 ~bits;
    for (const tm_key_number at : {first, first - 1, first | ~bits, (first | ~bits) + 1, first | inside}) {
      uint8_t address[16];
      tm_key_store(address, at);
      ASSERT_TRUE(agrees_on_address(of, address)) << address_text(address);
    }
    tm_key_store(prefix.address, first | inside);
    prefix.length = stored.length;
    ASSERT_TRUE(agrees_on_prefix(of, prefix)) << text_of(prefix);
  }

  // All stored prefixes of an instance whose index is live.
  static void expect_agreement(tcamv6_state *of) {
    ASSERT_TRUE(is_live(of));
    std::mt19937 random(7);
    for (const tcamv6_prefix &stored : stored_prefixes(of)) {
      ASSERT_NO_FATAL_FAILURE(expect_agreement_around(of, stored, random));
    }
    ASSERT_TRUE(is_live(of));
  }
  void expect_agreement() { expect_agreement(state); }

  // A batch of the engine's, without anchors.
  static int32_t run_batch(tcamv6_state *of, const std::vector<tcamv6_prefix> &records) {
    std::vector<tcamv6_cmpr_pref> prefs(records.size());
    std::vector<tcamv6_cmpr_addr> addrs(records.size());
    uint32_t words[3] = {};
    const int32_t result = tcamv6_incr_compress(of, static_cast<uint32_t>(records.size()), records.data(), prefs.data(),
                                                addrs.data(), &words[0], &words[1], &words[2]);
    EXPECT_EQ(tcamv6_extra_ops_free(of), TM_OK);
    return result;
  }
  int32_t add(const std::string &text, uint32_t weight = 1) { return run_batch(state, {record_of(text, weight)}); }
  int32_t remove(const std::string &text, uint32_t weight = 1) {
    return run_batch(state, {record_of(text, weight, 0)});
  }

 private:
  pools_of large_pools_{400000};
};

#endif
