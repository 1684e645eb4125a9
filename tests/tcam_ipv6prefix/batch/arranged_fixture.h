// SPDX-License-Identifier: Apache-2.0
// arranged_fixture.h - tables whose codes are put where a test wants them.
#ifndef ARRANGED_FIXTURE_H
#define ARRANGED_FIXTURE_H

#include <map>

#include "incr_fixture.h"
#include "tcamv6_code.h"
#include "tcamv6_moves_internal.h"
#include "tcamv6_place.h"
#include "tcamv6_recode.h"

// "0010" as a code.
inline tcamv6_code code_from(const std::string &bits) {
  tcamv6_code code = {0, 0};
  for (const char bit : bits) {
    code = tcamv6_code_child(code, bit == '1');
  }
  return code;
}

inline std::string text_of(tcamv6_code code) {
  std::string bits;
  for (int32_t i = 0; i < code.len; ++i) {
    bits += tcamv6_code_bit(code, i) != 0 ? '1' : '0';
  }
  return bits;
}

// A code, and an address that begins with `address` and goes on with zeros.
struct arranged_form {
  std::string code;
  std::string address;  // empty: the code
};

class arranged_test : public incr_test {
 protected:
  void TearDown() override {
    tcamv6_moves_begin();
    incr_test::TearDown();
  }

  // A table of these prefixes and /0 with these codes; prefixes that are not named stay where compression put them.
  void arrange(const std::map<std::string, arranged_form> &forms) {
    std::string prefixes;
    for (const auto &[prefix, form] : forms) {
      prefixes += prefix == "::/0" ? "" : prefix + ' ';
    }
    compress(prefixes);
    tcamv6_recoding all = whole_table();
    for (uint32_t i = 0; i < all.count; ++i) {
      const auto found = forms.find(name_of(all.list[i].node));
      if (found != forms.end()) {
        const arranged_form &form = found->second;
        all.list[i].new_code = code_from(form.code);
        all.list[i].new_address = tcamv6_code_cut(code_from(form.address.empty() ? form.code : form.address), 64);
      }
    }
    ASSERT_EQ(tcamv6_recoding_lift(&all), 0);
    ASSERT_EQ(tcamv6_recoding_put(&all), 0);
    tcamv6_recoding_free(&all);
    tcamv6_moves_begin();
  }

  tcamv6_recoding whole_table() const { return subtree_of("::/0"); }

  tcamv6_recoding subtree_of(const std::string &prefix) const {
    tcamv6_recoding recoding = tcamv6_recoding_of(state);
    EXPECT_EQ(tcamv6_recoding_add_subtree(&recoding, anc_node(prefix)), 0);
    return recoding;
  }

  static std::string name_of(const tm_n_ary_node *node) {
    const tm_util_trie_node *stored = tm_trie_node(tcamv6_anc_data_of(node)->orig);
    return ::text_of(stored->key, stored->len);
  }

  tcamv6_spot spot(const std::string &parent, const tcamv6_prefix &prefix) const {
    const tm_util_trie_node *around = stored(parent);
    return {64, around, prefix.address, prefix.length,
            tcamv6_departure_of(around, prefix.address, static_cast<int32_t>(prefix.length))};
  }

  // The bits of a prefix's compressed address.
  std::string address(const std::string &prefix) const {
    const std::string own = dummy_code(prefix);
    return own != "none" ? own : ::text_of(tcamv6_code_cut(code_from(code(prefix)), 64));
  }

  // Codes and addresses below others' codes exactly where prefixes are; of anchors too.
  void expect_nested_as_prefixes() {
    const std::vector<table_row_text> rows = table_of(state);
    for (const table_row_text &p : rows) {
      for (const table_row_text &q : rows) {
        const tcamv6_prefix a = record_of(p.prefix);
        const tcamv6_prefix b = record_of(q.prefix);
        const bool contains = a.length <= b.length && ::text_of(b.address, a.length) == ::text_of(a.address, a.length);
        EXPECT_EQ(address(q.prefix).compare(0, p.code.size(), p.code) == 0, contains) << p.prefix << ' ' << q.prefix;
        EXPECT_EQ(q.code.compare(0, p.code.size(), p.code) == 0, contains) << p.prefix << ' ' << q.prefix;
      }
    }
  }
};

#endif
