// SPDX-License-Identifier: Apache-2.0
#include "instance_image.h"

#include <cstdio>
#include <functional>
#include <set>
#include <vector>

#include "containment_check.h"
#include "prefix_text.h"
#include "tcamv6_anc_tree.h"
#include "tcamv6_read_index.h"
#include "tcamv6_sparse.h"
#include "test_host.h"
#include "tm_journal.h"

namespace instance_model {

namespace {

using v6tool::ip_prefix;

ip_prefix prefix_of(const uint8_t *bytes, uint32_t length) {
  return {v6tool::masked(v6tool::key_from_bytes(bytes), length), static_cast<uint8_t>(length)};
}

ip_prefix prefix_of(const tm_util_trie_node *node) { return prefix_of(node->key, node->len); }

std::string name_of(const tm_util_trie_node *node) {
  return node == nullptr ? "none" : v6tool::format_prefix(prefix_of(node));
}

template <class... Values>
std::string formatted(const char *format, Values... values) {
  char line[512];
  std::snprintf(line, sizeof line, format, values...);
  return line;
}

void each_node(const tm_util_trie_node *node, const std::function<void(const tm_util_trie_node *)> &visit) {
  if (node != nullptr) {
    visit(node);
    each_node(tm_trie_child(node, 0), visit);
    each_node(tm_trie_child(node, 1), visit);
  }
}

void each_anc(const tm_n_ary_node *node, const tm_n_ary_node *parent,
              const std::function<void(const tm_n_ary_node *, const tm_n_ary_node *)> &visit) {
  if (node == nullptr) {
    return;
  }
  visit(node, parent);
  for (const tm_n_ary_node *child = tcamv6_anc_first_child(node); child != nullptr; child = tcamv6_anc_next(child)) {
    each_anc(child, node, visit);
  }
}

std::string trie_image(const tm_util_trie_node *root, bool compressed, bool elements) {
  std::string text;
  each_node(root, [&](const tm_util_trie_node *node) {
    text += formatted("%s tag %u counters %u %u owners %u", name_of(node).c_str(), node->tag, node->aux1, node->aux2,
                      compressed ? node->owners : 0u);
    if (compressed && node->data != 0) {
      const auto *data = tm_ptr<tcamv6_cmpr_data>(node->data);
      text += formatted(" depth %d ends %u", data->max_depth, data->ends);
    }
    if (elements) {
      text += formatted(" at %p data %lx", static_cast<const void *>(node), static_cast<unsigned long>(node->data));
    }
    text += node->data != 0 ? " held\n" : "\n";
  });
  return text;
}

std::string anc_image(const tm_n_ary_node *root, bool elements) {
  std::string text;
  each_anc(root, nullptr, [&](const tm_n_ary_node *node, const tm_n_ary_node *) {
    const tcamv6_anc_data *data = tcamv6_anc_data_of(node);
    text +=
        formatted("%s -> %s tag %x bits %x cost %u height %u handle %u place %d dummy %d",
                  name_of(tm_trie_node(data->orig)).c_str(), name_of(tcamv6_cmpr_node(data)).c_str(), data->tag_word,
                  data->bits, data->cost, data->ht, data->handle, data->sibling_order, data->dummy != 0);
    if (elements) {
      text += formatted(" at %p data %p", static_cast<const void *>(node), static_cast<const void *>(data));
    }
    text += formatted(" first child %d\n", node->child != 0);
  });
  return text;
}

template <class... Values>
void append(std::string &bytes, Values... values) {
  (bytes.append(reinterpret_cast<const char *>(&values), sizeof values), ...);
}

bool leads_to_an_owned_code(const tm_util_trie_node *node) {
  return node != nullptr && (node->owners != 0 || leads_to_an_owned_code(tm_trie_child(node, 0)) ||
                             leads_to_an_owned_code(tm_trie_child(node, 1)));
}

void append_trie(std::string &bytes, const tm_util_trie_node *root, bool compressed, codes which) {
  each_node(root, [&](const tm_util_trie_node *node) {
    if (which == codes::owned && !leads_to_an_owned_code(node)) {
      return;
    }
    bytes.append(reinterpret_cast<const char *>(node->key), sizeof node->key);
    append(bytes, node, node->len, node->tag, node->aux1, node->aux2, node->data);
    if (compressed) {
      append(bytes, node->owners);
    }
    if (compressed && node->data != 0) {
      const auto *data = tm_ptr<tcamv6_cmpr_data>(node->data);
      append(bytes, data->max_depth, data->ends);
    }
  });
  append(bytes, root);
}

void append_anc(std::string &bytes, const tm_n_ary_node *root) {
  each_anc(root, nullptr, [&](const tm_n_ary_node *node, const tm_n_ary_node *) {
    const tcamv6_anc_data *data = tcamv6_anc_data_of(node);
    append(bytes, node, data, node->child, data->orig, data->cmpr_node, data->tag_word, data->bits, data->cost,
           data->ht, data->handle, data->sibling_order, data->dummy);
  });
}

// One check per function; each returns the first fault in words.

std::string trie_fault(const tm_util_trie_node *root, const char *which) {
  std::string fault;
  each_node(root, [&](const tm_util_trie_node *node) {
    for (uint32_t bit = 0; bit < 2; ++bit) {
      const tm_util_trie_node *child = tm_trie_child(node, bit);
      if (child == nullptr || !fault.empty()) {
        continue;
      }
      const ip_prefix p = prefix_of(child);
      if (child->len != node->len + 1 || v6tool::masked(p.key, node->len) != prefix_of(node).key ||
          v6tool::bit_at(p.key, node->len) != (bit != 0)) {
        fault = formatted("%s: %s hangs under %s", which, name_of(child).c_str(), name_of(node).c_str());
      }
    }
  });
  return fault;
}

std::string chain_fault(const tm_util_trie_node *node) {
  const auto *orig = tm_ptr<tcamv6_orig_data>(node->data);
  if (node->tag == 0) {
    return orig == nullptr ? "" : name_of(node) + " is no prefix but has data";
  }
  const tcamv6_anc_data *data = orig == nullptr ? nullptr : tcamv6_anc_data_of(tcamv6_anc_node(orig->anc_node_idx));
  if (data == nullptr || data->orig != tm_idx(node) || data->cmpr_node == 0) {
    return name_of(node) + " has a broken chain";
  }
  if (tcamv6_anc_tag(data) != (node->tag & 0xFFFFFu)) {
    return name_of(node) + " has two different tags";
  }
  return "";
}

// The tree of containment, rebuilt from the stored prefixes, must be the stored one.
std::string tree_fault(const tcamv6_state *state) {
  const tm_util_trie_node *root = tm_trie_node(state->orig_root);
  std::string fault;
  std::map<const tm_util_trie_node *, const tm_util_trie_node *> parents;
  std::function<void(const tm_util_trie_node *, const tm_util_trie_node *)> descend =
      [&](const tm_util_trie_node *node, const tm_util_trie_node *above) {
        if (node == nullptr || !fault.empty()) {
          return;
        }
        fault = chain_fault(node);
        if (node->tag == 0 && tm_trie_is_leaf(node) && node->len != 0) {
          fault = name_of(node) + " leads to no prefix";
        }
        if (node->tag != 0) {
          parents[node] = above;
          above = node;
        }
        descend(tm_trie_child(node, 0), above);
        descend(tm_trie_child(node, 1), above);
      };
  descend(root, nullptr);
  size_t nodes = 0;
  each_anc(tcamv6_anc_node(state->anc_root), nullptr, [&](const tm_n_ary_node *node, const tm_n_ary_node *parent) {
    const tcamv6_anc_data *data = tcamv6_anc_data_of(node);
    const tcamv6_anc_data *above = tcamv6_anc_data_of(parent);
    if (data == nullptr || !fault.empty()) {
      fault = fault.empty() ? "a node of the ancestor tree has no data" : fault;
      return;
    }
    if (tcamv6_anc_is_dummy(data)) {
      const bool linked = above != nullptr && above->dummy == tm_idx(node);
      fault = linked && node->child == 0 ? "" : "a dummy that is not its parent's";
      return;
    }
    ++nodes;
    const tm_util_trie_node *own = tm_trie_node(data->orig);
    const tm_util_trie_node *expected = parents.count(own) != 0 ? parents[own] : nullptr;
    const tm_util_trie_node *found = above == nullptr ? nullptr : tm_trie_node(above->orig);
    if (parents.count(own) == 0 || expected != found) {
      fault = name_of(own) + " hangs under " + name_of(found) + " instead of " + name_of(expected);
    }
  });
  if (fault.empty() && nodes != parents.size()) {
    fault = formatted("%zu prefixes but %zu nodes of the ancestor tree", parents.size(), nodes);
  }
  return fault;
}

std::string owner_fault(const tcamv6_state *state) {
  std::map<const tm_util_trie_node *, uint32_t> owners;
  each_anc(tcamv6_anc_node(state->anc_root), nullptr, [&](const tm_n_ary_node *node, const tm_n_ary_node *) {
    ++owners[tcamv6_cmpr_node(tcamv6_anc_data_of(node))];
  });
  std::string fault;
  size_t reached = 0;
  each_node(tm_trie_node(state->cmpr_root), [&](const tm_util_trie_node *node) {
    const auto owner = owners.find(node);
    const uint32_t expected = owner == owners.end() ? 0 : owner->second;
    reached += expected != 0 ? 1 : 0;
    if (fault.empty() && node->owners != expected) {
      fault = formatted("code %s counts %u owners, has %u", name_of(node).c_str(), node->owners, expected);
    }
    if (fault.empty() && node->len > TCAMV6_MAX_CMPR_LEN) {
      fault = "code " + name_of(node) + " is too long";
    }
  });
  if (fault.empty() && reached != owners.size()) {
    fault = formatted("%zu codes are owned, %zu of them stand in the compressed trie", owners.size(), reached);
  }
  return fault;
}

std::string count_fault(const tcamv6_state *state) {
  uint32_t prefixes = 0;
  uint32_t rows = 0;
  each_node(tm_trie_node(state->orig_root), [&](const tm_util_trie_node *node) {
    prefixes += node->tag != 0 ? 1 : 0;
    rows += node->tag != 0 && !tcamv6_is_anchor_only(node) ? 1 : 0;
  });
  if (prefixes != state->n_prefs || rows != state->n_rows) {
    return formatted("counts %u prefixes and %u rows, has %u and %u", state->n_prefs, state->n_rows, prefixes, rows);
  }
  return "";
}

using element_counts = std::array<size_t, TM_CHUNK_TYPES>;

void count_elements(const tcamv6_state *state, element_counts &counts) {
  for (const tm_chunk_idx root : {state->orig_root, state->cmpr_root}) {
    each_node(tm_trie_node(root), [&](const tm_util_trie_node *node) {
      ++counts[TM_V6_TRIE_NODE];
      counts[TM_V6_ORIG_DATA] += node->data != 0 ? 1 : 0;
    });
  }
  each_anc(tcamv6_anc_node(state->anc_root), nullptr, [&](const tm_n_ary_node *node, const tm_n_ary_node *) {
    ++counts[TM_V6_ANC_TREE];
    counts[TM_V6_ANC_DATA] += node->data != 0 ? 1 : 0;
  });
}

// Heap blocks of an instance: those of its read index, and what its last request moved.
size_t heap_blocks(place at) {
  const tcamv6_state *state = state_of(at);
  const zel_v6comp_move *list = nullptr;
  uint32_t n = 0;
  zel_v6comp_moves(at.processor, at.instance, &list, &n);
  const size_t moves = list != nullptr ? 1 : 0;
  const tcamv6_read_index *index = tcamv6_read_index_at(state->read_index);
  if (index == nullptr) {
    return moves;
  }
  return moves + 1u + (index->items != nullptr) + (index->answers_block != nullptr) + (index->words != nullptr);
}

}  // namespace

std::string image(place at, detail what) {
  const tcamv6_state *state = state_of(at);
  const bool elements = what == detail::elements;
  std::string text = formatted("done %d prefixes %u rows %u marks %u last tag %u\n", state->opt_done, state->n_prefs,
                               state->n_rows, state->marks, tags_so_far);
  text += "stored\n" + trie_image(tm_trie_node(state->orig_root), false, elements);
  text += "tree\n" + anc_image(tcamv6_anc_node(state->anc_root), elements);
  text += "codes\n" + trie_image(tm_trie_node(state->cmpr_root), true, elements);
  return text;
}

std::string fingerprint(place at, codes which) {
  const tcamv6_state *state = state_of(at);
  std::string bytes;
  append(bytes, state->opt_done, state->n_prefs, state->n_rows, state->marks, tags_so_far);
  append_trie(bytes, tm_trie_node(state->orig_root), false, codes::all);
  append_anc(bytes, tcamv6_anc_node(state->anc_root));
  append_trie(bytes, tm_trie_node(state->cmpr_root), true, which);
  return bytes;
}

stored_set stored(place at) {
  stored_set set;
  each_node(tm_trie_node(state_of(at)->orig_root), [&](const tm_util_trie_node *node) {
    if (node->tag != 0) {
      set[prefix_of(node)] = {node->aux1, node->aux2};
    }
  });
  return set;
}

std::string text_of(const stored_set &set) {
  std::string text;
  for (const auto &[prefix, count] : set) {
    text += formatted("%s %u %u\n", v6tool::format_prefix(prefix).c_str(), count.weight, count.anchors);
  }
  return text;
}

std::string first_fault(place at, bool counts) {
  const tcamv6_state *state = state_of(at);
  if (state->opt_done != 1) {
    const bool empty = state->orig_root == 0 && state->cmpr_root == 0 && state->anc_root == 0;
    return empty && state->pcmpr_root == 0 ? "" : "an instance without a table holds something";
  }
  if (state->pcmpr_root != 0 || state->extra_ops != nullptr) {
    return "something of the last request was left behind";
  }
  std::string fault = trie_fault(tm_trie_node(state->orig_root), "stored");
  for (const auto &check :
       {std::function<std::string()>([&] { return trie_fault(tm_trie_node(state->cmpr_root), "codes"); }),
        std::function<std::string()>([&] { return tree_fault(state); }),
        std::function<std::string()>([&] { return owner_fault(state); }),
        std::function<std::string()>([&] { return counts ? count_fault(state) : ""; })}) {
    if (fault.empty()) {
      fault = check();
    }
  }
  return fault;
}

std::string containment_fault(place at) {
  std::vector<v6tool::compressed_row> rows;
  for (const auto &[prefix, count] : stored(at)) {
    tcamv6_prefix record = {};
    record.length = prefix.length;
    v6tool::key_to_bytes(prefix.key, record.address);
    tcamv6_cmpr_pref code = {};
    tcamv6_cmpr_addr address = {};
    if (tcamv6_lookup_prefix(state_of(at), &record, &code, &address) != 0) {
      return v6tool::format_prefix(prefix) + " is stored but not found";
    }
    rows.push_back({prefix, prefix_of(code.key, code.length), v6tool::key_from_bytes(address.bytes)});
  }
  return v6tool::containment_counterexample(rows);
}

std::string lost_memory() {
  element_counts counts = {};
  size_t blocks = 1;  // the global one
  for (const place &at : all_places) {
    count_elements(state_of(at), counts);
    blocks += heap_blocks(at);
  }
  for (uint32_t type = 1; type < TM_CHUNK_TYPES; ++type) {
    if (gbl_chunk_info[type].allocated != counts[type]) {
      return formatted("%s: %u allocated, %zu in use", raw_blk[type].name, gbl_chunk_info[type].allocated,
                       counts[type]);
    }
  }
  if (test_host::pool_used() != allocated()) {
    return formatted("the pools miss %zu elements, the counters %lu", test_host::pool_used(),
                     static_cast<unsigned long>(allocated()));
  }
  if (test_host::heap().blocks != blocks) {
    return formatted("%zu heap blocks are out, %zu are in use", test_host::heap().blocks, blocks);
  }
  return "";
}

std::string safe_fault(place at) {
  std::string fault = first_fault(at);
  if (fault.empty()) {
    fault = containment_fault(at);
  }
  if (fault.empty() && tm_journal_unreserved() != 0) {
    fault =
        formatted("%lu notes of the journal were not reserved", static_cast<unsigned long>(tm_journal_unreserved()));
  }
  return fault.empty() ? lost_memory() : fault;
}

}  // namespace instance_model
