// SPDX-License-Identifier: Apache-2.0
#include "incr_fixture.h"

#include "source_dir.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <sstream>

#include "tcamv6_leftovers.h"
#include "tcamv6_prefix_list_internal.h"
#include "tcamv6_state_internal.h"
#include "tm_journal.h"

tcamv6_prefix record_of(const std::string &text) {
  tcamv6_prefix record = {};
  const size_t start = text[0] == '+' || text[0] == '-' ? 1 : 0;
  record.flags_tag = text[0] == '-' ? 0 : TM_PREFIX_FLAG_ADD;
  const size_t slash = text.find('/');
  if (slash == std::string::npos ||
      inet_pton(AF_INET6, text.substr(start, slash - start).c_str(), record.address) != 1) {
    ADD_FAILURE() << "no prefix: " << text;
    return record;
  }
  record.length = static_cast<uint8_t>(std::stoul(text.substr(slash + 1)));
  const size_t star = text.find('*');
  record.weight = star == std::string::npos ? 1 : static_cast<uint32_t>(std::stoul(text.substr(star + 1)));
  const size_t at = text.find('@');
  record.anchor_ref = at == std::string::npos ? 0 : static_cast<uint32_t>(std::stoul(text.substr(at + 1)));
  return record;
}

std::vector<tcamv6_prefix> records_of(const std::string &batch) {
  std::vector<tcamv6_prefix> records;
  std::istringstream words(batch);
  for (std::string word; words >> word;) {
    records.push_back(record_of(word));
  }
  return records;
}

std::string text_of(const uint8_t *address, int length) {
  uint8_t bytes[16] = {};
  for (int bit = 0; bit < length; ++bit) {
    bytes[bit / 8] = static_cast<uint8_t>(bytes[bit / 8] | (address[bit / 8] & (0x80 >> (bit % 8))));
  }
  char text[INET6_ADDRSTRLEN];
  inet_ntop(AF_INET6, bytes, text, sizeof text);
  return std::string(text) + "/" + std::to_string(length);
}

std::string bits_of_key(const uint8_t *key, int length) {
  std::string bits;
  for (int bit = 0; bit < length; ++bit) {
    bits += (key[bit / 8] & (0x80 >> (bit % 8))) != 0 ? '1' : '0';
  }
  return bits;
}

namespace {

template <class Element>
void append(std::vector<uint8_t> *image, const Element *element, size_t size = sizeof(Element)) {
  const auto address = reinterpret_cast<uintptr_t>(element);
  const auto *at = reinterpret_cast<const uint8_t *>(&address);
  image->insert(image->end(), at, at + sizeof address);
  const auto *bytes = reinterpret_cast<const uint8_t *>(element);
  image->insert(image->end(), bytes, bytes + size);
}

void append_trie(std::vector<uint8_t> *image, const tm_util_trie_node *node) {
  if (node == nullptr) {
    return;
  }
  append(image, node);
  if (node->data != TM_CHUNK_IDX_NULL) {
    append(image, tm_ptr<tcamv6_orig_data>(node->data));
  }
  append_trie(image, tm_trie_child(node, 0));
  append_trie(image, tm_trie_child(node, 1));
}

void append_tree(std::vector<uint8_t> *image, const tm_n_ary_node *node) {
  append(image, node);
  append(image, tcamv6_anc_data_of(node));
  for (const tm_n_ary_node *child = tcamv6_anc_first_child(node); child != nullptr; child = tcamv6_anc_next(child)) {
    append_tree(image, child);
  }
}

std::string hex_of(const uint8_t *bytes) {
  std::string text;
  for (int i = 0; i < 16; ++i) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02x", bytes[i]);
    text += digits;
  }
  return text;
}

// "(node 0x7f12, len 40)" -> "(node PTR, len 40)"; a null pointer, "(nil)", too.
std::string without_addresses(const std::string &line) {
  std::string text;
  for (size_t i = 0; i < line.size();) {
    if (line.compare(i, 5, "(nil)") == 0) {
      text += "PTR";
      i += 5;
    } else if (line.compare(i, 2, "0x") == 0) {
      text += "PTR";
      i = std::min(line.find_first_not_of("0123456789abcdef", i + 2), line.size());
    } else {
      text += line[i++];
    }
  }
  return text;
}

void collect_rows(tcamv6_state *state, const tm_util_trie_node *node, std::vector<table_row_text> *rows) {
  if (node == nullptr) {
    return;
  }
  if (node->tag != 0) {
    tcamv6_prefix prefix = {};
    prefix.length = static_cast<uint8_t>(node->len);
    std::memcpy(prefix.address, node->key, sizeof prefix.address);
    tcamv6_cmpr_pref code = {};
    tcamv6_cmpr_addr address = {};
    uint32_t handle = 0;
    EXPECT_EQ(tcamv6_lookup_prefix(state, &prefix, &code, &address), 0);
    EXPECT_EQ(tcamv6_prefix_handle_query(state, &prefix, &handle), 0);
    rows->push_back({text_of(node->key, node->len), bits_of_key(code.key, code.length), hex_of(address.bytes),
                     node->aux1, node->aux2, handle});
  }
  collect_rows(state, tm_trie_child(node, 0), rows);
  collect_rows(state, tm_trie_child(node, 1), rows);
}

}  // namespace

std::vector<uint8_t> image_of(const tcamv6_state *state) {
  std::vector<uint8_t> image;
  append_trie(&image, tm_trie_node(state->orig_root));
  append_trie(&image, tm_trie_node(state->cmpr_root));
  append_tree(&image, tcamv6_anc_node(state->anc_root));
  append(&image, state, offsetof(tcamv6_state, extra_op_count));
  append(&image, &state->marks);
  append(&image, &state->n_rows);
  append(&image, &tags_so_far);
  return image;
}

std::ostream &operator<<(std::ostream &out, const table_row_text &row) {
  return out << row.prefix << ' ' << row.code << ' ' << row.address << ' ' << row.weight << '@' << row.anchor_ref
             << " handle " << row.handle;
}

std::vector<table_row_text> table_of(tcamv6_state *state) {
  std::vector<table_row_text> rows;
  collect_rows(state, tm_trie_node(state->orig_root), &rows);
  return rows;
}

void incr_test::SetUp() {
  test_host::reset();
  ASSERT_EQ(zel_v6comp_init_global_state(2, 4), 0u);
  zel_v6comp_set_safe_updates(0);
  zel_v6comp_set_room(0);
  zel_v6comp_set_move_limit(UINT32_MAX);
  tcamv6_debug_flags = {};
  tags_so_far = 0;
  state = zel_v6comp_instance(0, 0);
}

void incr_test::TearDown() {
  EXPECT_FALSE(tm_journal_is_open);
  EXPECT_EQ(tm_journal_unreserved(), 0u) << "a step made notes that it had not reserved";
  zel_v6comp_set_safe_updates(0);
  zel_v6comp_set_room(0);
  zel_v6comp_set_move_limit(UINT32_MAX);
  test_host::fail_pool_element(0);
  for (int32_t processor = 0; processor < 4; ++processor) {
    for (int32_t instance = 0; instance < 2; ++instance) {
      EXPECT_EQ(zel_v6comp_reset_instance(processor, instance), 0u);
    }
  }
  tcamv6_reclaim_leftovers();
  EXPECT_EQ(test_host::pool_used(), 0u);
  EXPECT_EQ(allocated(), 0u);
  EXPECT_EQ(test_host::pool_damage(), "");
  zel_free_named(gbl_state);
  gbl_state = nullptr;
  EXPECT_EQ(test_host::heap().blocks, 0u);
  tm_dump_chk_info_set_base(nullptr);
  tcamv6_debug_flags = {};
  test_host::reset();
}

void incr_test::compress(const std::string &prefixes, uint32_t max_cmpr_len) {
  std::vector<tcamv6_prefix> list = records_of(prefixes);
  list.push_back(record_of("::/0"));
  for (size_t i = 0; i < list.size(); ++i) {
    list[i].flags_tag = tm_prefix_with_tag(list[i].flags_tag, static_cast<uint32_t>(i + 1));
  }
  std::stable_sort(list.begin(), list.end(),
                   [](const tcamv6_prefix &a, const tcamv6_prefix &b) { return tcamv6_cmp_prefix_list(&a, &b) < 0; });
  std::vector<tcamv6_cmpr_pref> prefs(list.size());
  std::vector<tcamv6_cmpr_addr> addrs(list.size());
  state->max_cmpr_len = max_cmpr_len;
  uint32_t n_distinct = 0;
  ASSERT_EQ(tcamv6_optimized_compress(state, static_cast<uint32_t>(list.size()), list.data(), prefs.data(),
                                      addrs.data(), &n_distinct),
            0)
      << prefixes;
}

batch_answer incr_test::run(const std::vector<tcamv6_prefix> &batch) {
  batch_answer answer;
  answer.prefs.resize(batch.size());
  answer.addrs.resize(batch.size());
  answer.result = tcamv6_incr_compress(state, static_cast<uint32_t>(batch.size()), batch.data(), answer.prefs.data(),
                                       answer.addrs.data(), &answer.pending, &answer.changed, &answer.walk_result);
  if (state->extra_ops != nullptr) {  // a state that a reset kept answers with a log line of its own
    tcamv6_extra_ops_free(state);
  }
  return answer;
}

uint32_t incr_test::request(const std::string &batch) {
  const std::vector<tcamv6_prefix> records = records_of(batch);
  std::vector<uint8_t> bytes(sizeof(v6comp_pref_info) + records.size() * sizeof(tcamv6_prefix));
  const v6comp_pref_info head = {0, 0, static_cast<uint32_t>(records.size())};
  std::memcpy(bytes.data(), &head, sizeof head);
  if (!records.empty()) {
    std::memcpy(bytes.data() + sizeof head, records.data(), records.size() * sizeof(tcamv6_prefix));
  }
  return zel_v6comp_prefix_compress(reinterpret_cast<const v6comp_pref_info *>(bytes.data()));
}

void incr_test::only(std::initializer_list<uint32_t tcamv6_debug_flags_t::*> words) {
  tcamv6_debug_flags = {};
  for (const auto word : words) {
    tcamv6_debug_flags.*word = 1;
  }
  test_host::clear_log();
}

std::vector<std::string> incr_test::lines() {
  std::vector<std::string> result;
  for (const std::string &line : test_host::log_lines()) {
    result.push_back(without_addresses(line));
  }
  test_host::clear_log();
  return result;
}

std::string incr_test::golden(const char *name) {
  std::ifstream file(source_path("tests/golden/") + name);
  EXPECT_TRUE(file.is_open()) << name;
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

tm_util_trie_node *incr_test::stored(const std::string &prefix) const {
  const tcamv6_prefix record = record_of(prefix);
  tm_util_trie_node *node = tm_util_trie_lookup(tm_trie_node(state->orig_root), record.address, record.length, 0);
  return node != nullptr && node->tag != 0 ? node : nullptr;
}

tm_n_ary_node *incr_test::anc_node(const std::string &prefix) const {
  return tcamv6_anc_node(tm_ptr<tcamv6_orig_data>(stored(prefix)->data)->anc_node_idx);
}

tcamv6_anc_data *incr_test::data(const std::string &prefix) const { return tcamv6_anc_data_of(anc_node(prefix)); }

std::string incr_test::code(const std::string &prefix) const {
  const tm_util_trie_node *node = cmpr_node(prefix);
  return bits_of_key(node->key, node->len);
}

std::string incr_test::dummy_code(const std::string &prefix) const {
  const tcamv6_anc_data *dummy = tcamv6_anc_data_of(tcamv6_anc_node(data(prefix)->dummy));
  if (dummy == nullptr) {
    return "none";
  }
  const tm_util_trie_node *node = tcamv6_cmpr_node(dummy);
  return bits_of_key(node->key, node->len);
}

std::vector<std::string> incr_test::children(const std::string &prefix) const {
  std::vector<std::string> names;
  for (const tm_n_ary_node *child = tcamv6_anc_first_child(anc_node(prefix)); child != nullptr;
       child = tcamv6_anc_next(child)) {
    const tcamv6_anc_data *its = tcamv6_anc_data_of(child);
    const tm_util_trie_node *orig = tm_trie_node(its->orig);
    names.push_back(tcamv6_anc_is_dummy(its) ? "dummy" : text_of(orig->key, orig->len));
  }
  return names;
}

tm_util_trie_node *incr_test::cmpr_at(const std::string &bits) const {
  tm_util_trie_node *node = tm_trie_node(state->cmpr_root);
  for (size_t i = 0; node != nullptr && i < bits.size(); ++i) {
    node = tm_trie_child(node, bits[i] == '1');
  }
  return node;
}

uint32_t incr_test::allocated() const {
  uint32_t sum = 0;
  for (const tm_chunk_info &info : gbl_state->chunk_info) {
    sum += info.allocated;
  }
  return sum;
}
