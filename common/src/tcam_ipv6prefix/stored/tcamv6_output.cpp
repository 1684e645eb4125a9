// SPDX-License-Identifier: Apache-2.0
#include "tcamv6_output.h"

#include <string.h>

#include "tm_debug.h"
#include "tm_key.h"

namespace {

template <class Record>
void check_pref(const tm_util_trie_node *node, const Record *record) {
  constexpr const char *function = "tcamv6_gen_trie_pref";
  if (node == nullptr) {
    zel_fatal("\n%s: node is NULL", function);
  }
  if (record == nullptr) {
    zel_fatal("\n%s: v6pref is NULL", function);
  }
  if (node->len > TM_KEY_BITS) {
    zel_fatal("\n%s:  node->length is too big", function);
  }
}

}  // namespace

void tcamv6_gen_trie_pref(const tm_util_trie_node *node, tcamv6_prefix *record) {
  check_pref(node, record);
  memcpy(record->address, node->key, sizeof record->address);
  record->length = static_cast<uint8_t>(node->len);
  record->weight = node->aux1;
  record->anchor_ref = node->aux2;
}

void tcamv6_gen_trie_pref(const tm_util_trie_node *node, tcamv6_cmpr_pref *record) {
  check_pref(node, record);
  memcpy(record->key, node->key, sizeof record->key);
  record->length = static_cast<uint8_t>(node->len);
  record->own_node = node->aux1;
  record->node_aux = node->aux2;
}

void tcamv6_gen_trie_addr(const tm_util_trie_node *node, tcamv6_cmpr_addr *address) {
  constexpr const char *function = "tcamv6_gen_trie_addr";
  TM_REQUIRE(function, node != nullptr, "node is NULL");
  TM_REQUIRE(function, address != nullptr, "v6addr is NULL");
  TM_REQUIRE(function, node->len <= TM_KEY_BITS, " node->length is too big");
  tm_key_copy_bits(address->bytes, node->key, node->len);
}

int32_t tcamv6_gen_trie_ptrs(const tm_n_ary_node *node, uint32_t count, tm_util_trie_node **cmpr_nodes,
                             tm_util_trie_node **replace_nodes) {
  if (node == nullptr) {
    return TM_OK;
  }
  const tcamv6_anc_data *data = tcamv6_anc_data_of(node);
  if (data == nullptr) {
    return TM_EINVAL;
  }
  const uint32_t tag = tcamv6_anc_tag(data);
  if (tag > 0 && tag <= count) {
    const uint32_t i = tag - 1;
    replace_nodes[i] = tcamv6_cmpr_node(data);  // of a prefix with a dummy: until that is met, below it
    if (!tcamv6_anc_is_dummy(data)) {
      cmpr_nodes[i] = tcamv6_cmpr_node(data);
    }
  }
  for (const tm_n_ary_node *child = tcamv6_anc_first_child(node); child != nullptr; child = tcamv6_anc_next(child)) {
    const int32_t result = tcamv6_gen_trie_ptrs(child, count, cmpr_nodes, replace_nodes);
    if (result != TM_OK) {
      return result;
    }
  }
  return TM_OK;
}

int32_t tcamv6_gen_output_trie_ptrs(tm_util_trie_node *const *orig_nodes, const tcamv6_prefix *list, uint32_t count,
                                    tm_util_trie_node **cmpr_nodes, tm_util_trie_node **replace_nodes) {
  constexpr const char *function = "tcamv6_gen_output_trie_ptrs";
  TM_LOG(trace, "%s: Starting inp_trie %p, inp_pref %p, n_prefs %d, out_pref %p, dummy %p", function,
         static_cast<const void *>(orig_nodes), static_cast<const void *>(list), static_cast<int>(count),
         static_cast<void *>(cmpr_nodes), static_cast<void *>(replace_nodes));
  int32_t result = TM_OK;
  if (count != 0 && (orig_nodes == nullptr || list == nullptr || cmpr_nodes == nullptr || replace_nodes == nullptr)) {
    TM_LOG(info, "%s: Bad arguments", function);
    result = TM_EINVAL;
  }
  for (uint32_t i = 0; result == TM_OK && i < count; ++i) {
    if (cmpr_nodes[i] != nullptr) {
      continue;
    }
    const tm_util_trie_node *node = orig_nodes[i];
    if (!tcamv6_holds_prefix(node, list[i].length)) {
      TM_LOG(info, "%s: Error - inserted prefix not found in original trie len %d, node %p", function, list[i].length,
             static_cast<const void *>(node));
      result = TM_EFAULT;
      break;
    }
    tcamv6_anc_data *data;
    result = tcamv6_anc_data_of_prefix(node, function, &data);
    if (result == TM_OK) {
      cmpr_nodes[i] = tcamv6_cmpr_node(data);
      replace_nodes[i] = tcamv6_cmpr_node(tcamv6_address_data(data, function));
    }
  }
  TM_LOG(trace, "%s: Complete %d", function, result);
  return result;
}
