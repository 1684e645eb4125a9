// SPDX-License-Identifier: Apache-2.0
// tcamv6_incr_add.cpp - where a new prefix falls decides how it is added:
//
//   case a   its node is stored, or was: only counters and marks change
//   case b   its enclosing prefix is a leaf: that one needs a dummy now, and the new prefix a path beside it
//   case c   its enclosing prefix has longer ones, none of them below the new prefix: a path more
//   case d   it lies above some of its enclosing prefix's longer prefixes: a new level (tcamv6_incr_newlvl.cpp)
//
// A path extends the compressed node of the enclosing prefix. All that can fail comes first; then the new nodes are
// linked. What a failed addition has made is taken back or left to be reclaimed (tcamv6_leftovers.h).
#include "tcamv6_incr_add.h"

#include "tcamv6_cmpr_path.h"
#include "tcamv6_cmpr_places.h"
#include "tcamv6_incr_newlvl.h"
#include "tcamv6_leftovers.h"
#include "tcamv6_read_index.h"
#include "tcamv6_room.h"
#include "tcamv6_siblings.h"
#include "tcamv6_state_internal.h"
#include "tm_bits.h"
#include "tm_debug.h"
#include "tm_journal.h"

namespace {

constexpr const char *adder = "tcamv6_incr_add_prefix";

// The part of a key that a prefix should take is its part of an address: a network of up to 64 bits gets that share of
// the key's first bits, a host beyond that its share of the last 16, which networks leave alone.
constexpr int32_t network_bits = 64;   // of an address
constexpr int32_t host_key_bits = 16;  // at the end of a key
constexpr int32_t rounded_up = 8;  // prefixes shorter than this many bits get the next whole bit, so as not to get 0

// The stored prefix that the new one falls into.
struct enclosing_prefix {
  tm_util_trie_node *trie_node;
  tm_n_ary_node *anc_node;
  tcamv6_anc_data *data;
  tm_util_trie_node *cmpr_node;
};

// A path of the compressed trie made by this addition.
struct made_path {
  tm_util_trie_node *end;  // null when it could not be made whole
  tm_trie_grown grown;
};

// Everything made by this addition that is not linked yet.
struct new_parts {
  made_path prefix_path;
  made_path dummy_path;
  tm_n_ary_node *dummy;
  tm_n_ary_node *anc_node;
  tcamv6_orig_data *orig;
  tm_util_trie_node *trie_node;
};

struct addition {
  tcamv6_state *state;
  const tcamv6_update_rules *rules;
  const tcamv6_prefix *prefix;
  enclosing_prefix enclosing;
  new_parts parts;
};

tm_util_trie_node *orig_root(const addition *add) { return tm_trie_node(add->state->orig_root); }
tm_util_trie_node *cmpr_root(const addition *add) { return tm_trie_node(add->state->cmpr_root); }

// Weights count modulo 2^16.
void add_counters(tm_util_trie_node *node, const tcamv6_prefix *prefix) {
  tm_edit(&node->aux1, node->aux1 + prefix->weight);
  tm_edit(&node->aux2, node->aux2 + prefix->anchor_ref);
}

// Levels by which the enclosing compressed node is extended for the new prefix; 0 = no room.
int32_t extension_bits(const addition *add) {
  const int32_t length = add->prefix->length;
  const auto most = static_cast<int32_t>(add->state->max_cmpr_len);
  const int32_t used = add->enclosing.cmpr_node->len;
  if (length == TCAMV6_MAX_PREF_LEN) {
    return most - used;
  }
  if (length == add->enclosing.trie_node->len + 1) {
    return used != most ? 1 : 0;
  }
  const int32_t target = tcamv6_target_length(length, most);
  if (used < target) {
    return target - used;
  }
  return most < used + 2 ? most - used : 2;
}

tcamv6_outcome no_room(int32_t bits) {
  TM_LOG(error, "%s: No extending path for new prefix ext_bit %d", adder, bits);
  return tcamv6_outcome::no_room;
}

tcamv6_outcome find_enclosing(addition *add) {
  enclosing_prefix *at = &add->enclosing;
  at->trie_node = tm_util_trie_lookup(orig_root(add), add->prefix->address, add->prefix->length, 1);
  if (at->trie_node == nullptr) {
    TM_LOG(info, "%s: Lookup on original trie failed for pref len %d", adder, add->prefix->length);
    return tcamv6_outcome::broken;
  }
  const auto require = [](bool condition, const char *text) {
    if (!condition) {
      zel_fatal("\n%s: %s", adder, text);
    }
  };
  require(at->trie_node->len < add->prefix->length, " bmp_trie_node->length is too big");
  const tcamv6_orig_data *orig = tcamv6_orig_data_of(at->trie_node);
  require(orig != nullptr, "trie_data is NULL");
  at->anc_node = tcamv6_anc_node_of(orig);
  require(at->anc_node != nullptr, "anc_parent is NULL");
  at->data = tcamv6_anc_data_of(at->anc_node);
  require(at->data != nullptr, "parent_data is NULL");
  at->cmpr_node = tcamv6_cmpr_node(at->data);
  require(at->cmpr_node != nullptr, "anc_cmpr is NULL");
  require(at->data->orig != TM_CHUNK_IDX_NULL, "anc_orig is NULL");
  return tcamv6_outcome::placed;
}

tcamv6_outcome make_anc_node(bool is_dummy, tm_n_ary_node **node) {
  const int32_t result = tcamv6_anc_tree_node_new(is_dummy, node);
  if (result != TM_OK) {
    TM_LOG(info, "%s: Failed to create new anc node %d", adder, result);
  }
  return tcamv6_outcome_of(result);
}

// Make the nodes and records of the new prefix, and of the dummy when a path was made for one.
tcamv6_outcome make_records(addition *add, const char *insert_failed) {
  new_parts *parts = &add->parts;
  tcamv6_outcome outcome = tcamv6_outcome::placed;
  if (parts->dummy_path.end != nullptr) {
    outcome = make_anc_node(true, &parts->dummy);
  }
  if (outcome == tcamv6_outcome::placed) {
    outcome = make_anc_node(false, &parts->anc_node);
  }
  if (outcome != tcamv6_outcome::placed) {
    return outcome;
  }
  parts->orig = static_cast<tcamv6_orig_data *>(tm_chunk_malloc(TM_V6_ORIG_DATA));
  if (parts->orig == nullptr) {
    TM_LOG(info, "%s: malloc(%zu bytes) failed", adder, sizeof(tcamv6_orig_data));
    return tcamv6_outcome::no_memory;
  }
  tm_trie_grown grown;
  parts->trie_node = tm_trie_insert_path(orig_root(add), add->prefix->address, add->prefix->length, &grown);
  if (parts->trie_node == nullptr) {
    TM_LOG(info, "%s: %s", adder, insert_failed);
    // A chain without a prefix at its end would later pass for longer prefixes below the enclosing one.
    if (grown.top != nullptr) {
      const int32_t above = grown.top->len - 1;
      tm_util_trie_node *place = tm_util_trie_lookup(orig_root(add), grown.top->key, above, 0);
      tm_trie_link_child(place, tm_key_bit(grown.top->key, above), nullptr);
      tm_util_trie_free(grown.top, 0, TM_V6_ORIG_DATA);
    }
    return tcamv6_outcome::no_memory;
  }
  return tcamv6_outcome::placed;
}

// From here on nothing fails.
void link_records(addition *add) {
  const new_parts *parts = &add->parts;
  const enclosing_prefix *enclosing = &add->enclosing;
  if (parts->dummy != nullptr) {
    tm_edit(&enclosing->data->dummy, tm_idx(parts->dummy));
    tcamv6_push_child(enclosing->anc_node, parts->dummy);
    tcamv6_own_cmpr_node(tcamv6_anc_data_of(parts->dummy), parts->dummy_path.end);
  }
  tcamv6_push_child(enclosing->anc_node, parts->anc_node);
  tcamv6_anc_data *data = tcamv6_anc_data_of(parts->anc_node);
  tm_util_trie_node *node = parts->trie_node;
  tcamv6_anc_set_tag(data, tm_prefix_tag(add->prefix->flags_tag));
  data->orig = tm_idx(node);
  tcamv6_own_cmpr_node(data, parts->prefix_path.end);
  tcamv6_lead_to(parts->orig, parts->anc_node);
  tm_edit(&node->data, tm_idx(parts->orig));
  tcamv6_begin_counters(node, add->rules, add->prefix);
  tm_edit(&node->tag, tcamv6_new_tag(add->prefix));
}

bool grow_path(addition *add, int32_t bits, uint32_t tag, made_path *path) {
  path->end = tcamv6_grow_cmpr_path(add->enclosing.cmpr_node, bits, tag, &path->grown);
  return path->end != nullptr;
}

tcamv6_outcome add_below_leaf(addition *add, tcamv6_cmpr_pref *slot) {
  TM_LOG(trace, "%s: case b, add prefix %p to a leaf node %p", adder, static_cast<const void *>(add->prefix),
         static_cast<void *>(add->enclosing.trie_node));
  const int32_t rest = static_cast<int32_t>(add->state->max_cmpr_len) - add->enclosing.cmpr_node->len;
  if (add->enclosing.data->dummy == TM_CHUNK_IDX_NULL &&
      !grow_path(add, rest, TCAMV6_TAG_DUMMY_PATH, &add->parts.dummy_path)) {
    TM_LOG(error, "%s: No extending path for dummy prefix. ext_bit %d", adder, rest);
    return tcamv6_outcome::no_room;
  }
  const int32_t bits = extension_bits(add);
  if (bits == 0) {
    return no_room(bits);
  }
  if (!grow_path(add, bits, TCAMV6_TAG_PREFIX_PATH, &add->parts.prefix_path)) {
    TM_LOG(error, "%s: No extending path for new prefix cmpr node child is NULL", adder);
    return tcamv6_outcome::no_room;
  }
  const tcamv6_outcome outcome = make_records(add, "trie_insert failed");
  if (outcome != tcamv6_outcome::placed) {
    return outcome;
  }
  link_records(add);
  slot->flags_tag |= TM_PREFIX_FLAG_ADD;
  slot->own_node = add->enclosing.trie_node->aux1;
  slot->reference = add->enclosing.trie_node->tag;
  slot->operation = 1;
  return tcamv6_outcome::placed;
}

tcamv6_outcome add_leaf(addition *add) {
  TM_LOG(trace, "%s: case c, add prefix %p as a leaf, to a non-leaf node", adder,
         static_cast<const void *>(add->prefix));
  int32_t bits = extension_bits(add);
  if (bits == 0) {
    return no_room(bits);
  }
  if (bits == 1 && static_cast<int32_t>(add->state->max_cmpr_len) - add->enclosing.cmpr_node->len > 1) {
    bits = 2;
  }
  if (!grow_path(add, bits, TCAMV6_TAG_PREFIX_PATH, &add->parts.prefix_path)) {
    TM_LOG(error, "%s: No extending path for new prefix cmpr node child is NULL", adder);
    TM_LOG(error, "%s " TM_ADDR_FORMAT " / %d", "Errored prefix:", TM_ADDR_ARGS(add->prefix->address),
           add->prefix->length);
    return tcamv6_outcome::no_room;
  }
  const tcamv6_outcome outcome = make_records(add, "2 trie_insert failed");
  if (outcome == tcamv6_outcome::placed) {
    link_records(add);
  }
  return outcome;
}

tcamv6_outcome add_level(addition *add) {
  TM_LOG(trace, "%s: case d, add prefix %p as a non-leaf, to a non-leaf node", adder,
         static_cast<const void *>(add->prefix));
  return tcamv6_outcome_of(
      tcav6_incr_add_pref_newlvl(add->state, add->rules, add->prefix, static_cast<int32_t>(add->state->max_cmpr_len)));
}

// Case a: a node of this key is there and stands for a prefix, or did.
tcamv6_outcome add_to_node(addition *add, tm_util_trie_node *node, int32_t *changed) {
  if (node->tag != 0) {
    const bool was_anchor = tcamv6_is_anchor_only(node);
    add_counters(node, add->prefix);
    *changed = was_anchor != tcamv6_is_anchor_only(node);
    add->state->n_rows += static_cast<uint32_t>(was_anchor) - static_cast<uint32_t>(tcamv6_is_anchor_only(node));
    return tcamv6_outcome::present;
  }
  tcamv6_anc_data *data = tcamv6_data_of_stored(node);
  if (data == nullptr) {
    TM_LOG(info, "%s: Error - Original prefix points to NULL anc_data", adder);
    return tcamv6_outcome::broken;
  }
  if (tcamv6_anc_is_created(data)) {
    TM_LOG(info, "%s: Error -- original trie node is not prefix, and anc_node(%d) is current", adder,
           static_cast<int>(tcamv6_anc_tag(data)));
    return tcamv6_outcome::broken;
  }
  tm_edit(&data->bits, data->bits | TCAMV6_ANC_CREATED);
  tm_edit(&node->tag, tcamv6_new_tag(add->prefix));
  tcamv6_set_counters(node, add->prefix);
  return tcamv6_outcome::placed;
}

// Take a path back. What cannot go, being part of owned paths by now or never having been whole, is left to be
// reclaimed. Returns true when the path had been made whole.
bool take_back_path(const addition *add, made_path *path) {
  if (path->end == nullptr) {
    tcamv6_remember_path(cmpr_root(add), &path->grown);
    return false;
  }
  tcamv6_clear_cmpr_tag(cmpr_root(add), path->end);
  const tm_trie_grown grown = path->grown;
  if (tcamv6_release_cmpr_path(cmpr_root(add), path->end) != TM_OK) {
    tcamv6_remember_path(cmpr_root(add), &grown);
  }
  return true;
}

// Returns what becomes of the addition: documented is the result of the release when there was a path to take back.
tcamv6_outcome clean_up(addition *add, tcamv6_outcome failure) {
  new_parts *parts = &add->parts;
  tcamv6_abandon_anc_node(parts->dummy);
  tcamv6_abandon_anc_node(parts->anc_node);
  tm_chunk_abandon(TM_V6_ORIG_DATA, parts->orig);
  const bool took_prefix_path = take_back_path(add, &parts->prefix_path);
  const bool took_dummy_path = take_back_path(add, &parts->dummy_path);
  return took_prefix_path || took_dummy_path ? tcamv6_outcome::vanished : failure;
}

tcamv6_outcome add_new(addition *add, const tm_util_trie_node *exact, tcamv6_cmpr_pref *slot) {
  const tcamv6_outcome outcome = find_enclosing(add);
  if (outcome != tcamv6_outcome::placed) {
    return outcome;
  }
  if (tm_trie_is_leaf(add->enclosing.trie_node)) {
    return add_below_leaf(add, slot);
  }
  return exact != nullptr ? add_level(add) : add_leaf(add);
}

// Compatible and safe mode. node: out, the prefix's, when it is stored.
tcamv6_outcome add_or_count(addition *add, tm_util_trie_node **node, tcamv6_cmpr_pref *slot, int32_t *changed) {
  const tcamv6_prefix *prefix = add->prefix;
  *node = tm_util_trie_lookup(orig_root(add), prefix->address, prefix->length, 0);
  if (*node != nullptr) {
    TM_LOG(trace, "%s: case a, prefix %p already exists ", adder, static_cast<const void *>(prefix));
  }
  if (*node != nullptr && !tcamv6_is_path_node(*node)) {
    return add_to_node(add, *node, changed);
  }
  const tcamv6_outcome outcome = add_new(add, *node, slot);
  if (outcome == tcamv6_outcome::placed) {
    *node = tm_util_trie_lookup(orig_root(add), prefix->address, prefix->length, 0);
    return outcome;
  }
  return outcome == tcamv6_outcome::present ? outcome : clean_up(add, outcome);
}

// Room mode: the same by one walk. What fails is left to the rollback.
tcamv6_outcome add_or_count_in_room(addition *add, tm_util_trie_node **node, int32_t *changed) {
  const tcamv6_outcome outcome = tcamv6_room_add(add->state, add->rules, add->prefix, node);
  return outcome == tcamv6_outcome::present ? add_to_node(add, *node, changed) : outcome;
}

}  // namespace

int32_t tcamv6_target_length(int32_t length, int32_t max_cmpr_len) {
  const int32_t network_key_bits = max_cmpr_len - host_key_bits;
  if (length >= network_bits) {
    return host_key_bits * (length - network_bits) / network_bits + network_key_bits;
  }
  const int32_t share = network_key_bits * length;
  const bool rounds_up = length < rounded_up && share % network_bits != 0;
  return share / network_bits + rounds_up;
}

uint32_t tcamv6_new_tag(const tcamv6_prefix *prefix) {
  const uint32_t tag = tm_prefix_tag(prefix->flags_tag);
  return tag != 0 ? tag : tcamv6_next_tag();
}

void tcamv6_set_counters(tm_util_trie_node *node, const tcamv6_prefix *prefix) {
  tm_edit(&node->aux1, prefix->weight);
  tm_edit(&node->aux2, prefix->anchor_ref);
}

void tcamv6_begin_counters(tm_util_trie_node *node, const tcamv6_update_rules *rules, const tcamv6_prefix *prefix) {
  if (rules->exact_counters) {
    tcamv6_set_counters(node, prefix);
  } else {
    add_counters(node, prefix);
  }
}

tcamv6_outcome tcamv6_incr_add_prefix(tcamv6_state *state, const tcamv6_update_rules *rules,
                                      const tcamv6_prefix *prefix, tcamv6_cmpr_pref *slot, int32_t *changed) {
  constexpr const char *function = "tcamv6_incr_add_prefix";
  TM_LOG(trace, "%s: Starting statep %p, prefix %p, length %d", function, static_cast<void *>(state),
         static_cast<const void *>(prefix), prefix == nullptr ? 0 : prefix->length);
  *changed = 0;
  if (state == nullptr || prefix == nullptr) {
    TM_LOG(info, "%s: Bad arguments", function);
    return tcamv6_outcome::bad_request;
  }
  tcamv6_drop_read_index(state);
  addition add = {};
  add.state = state;
  add.rules = rules;
  add.prefix = prefix;
  tm_util_trie_node *node;
  const tcamv6_outcome outcome =
      rules->room ? add_or_count_in_room(&add, &node, changed) : add_or_count(&add, &node, slot, changed);
  if (outcome != tcamv6_outcome::placed) {
    return outcome;
  }
  *changed = prefix->weight != prefix->anchor_ref;
  state->n_rows += !tcamv6_is_anchor_only(node);
  TM_LOG(trace, "%s: Complete %d", function, tcamv6_status_of(outcome));
  return outcome;
}
