// SPDX-License-Identifier: Apache-2.0
// tcamv6_incr_record.cpp - one record of a batch: what it changes, what it answers, what is said about it.
#include "tcamv6_extra_ops.h"
#include "tcamv6_incr_add.h"
#include "tcamv6_incr_batch.h"
#include "tcamv6_incr_del.h"
#include "tcamv6_output.h"
#include "tcamv6_safe.h"
#include "tcamv6_state_internal.h"
#include "tm_debug.h"

namespace {

constexpr const char *driver = "tcamv6_incr_compress";

tm_util_trie_node *find_exact(const tcamv6_batch *b, const tcamv6_prefix *record) {
  return tm_util_trie_lookup(tm_trie_node(b->state->orig_root), record->address, record->length, 0);
}

const char *ordinal_suffix(uint32_t i) {
  switch (i % 10) {  // the teens are not special: 11 is "11-st"
    case 1:
      return "st";
    case 2:
      return "nd";
    case 3:
      return "rd";
    default:
      return "th";
  }
}

// Are the codes and addresses of what comes and goes wanted in the results, or in the log? To look them up waits for
// memory that a change has no other need of: additions to a table of 160,000 prefixes take a tenth less without.
bool are_keys_wanted(const tcamv6_batch *b) { return b->rules.reads_keys || tcamv6_debug_flags.result != 0; }

// ---- one deletion

void log_absent(const tm_util_trie_node *node, const tcamv6_prefix *record) {
  TM_LOG(error, "%s: Prefix does not exist (node %p, len %d)", driver, static_cast<const void *>(node),
         node == nullptr ? -1 : node->len);
  TM_LOG(error, "%s " TM_ADDR_FORMAT " / %d", "Unable to Find prefix in original trie", TM_ADDR_ARGS(record->address),
         record->length);
}

// Is there nothing that this delete could take? Safe updates leave what anchors gave to the anchors.
bool finds_nothing(const tcamv6_batch *b, const tm_util_trie_node *node, const tcamv6_prefix *record) {
  if (!tcamv6_holds_prefix(node, record->length)) {
    return true;
  }
  return b->rules.exact_counters && !tm_prefix_is_anchor(record) && tcamv6_own_share(node) == 0;
}

// A deleted prefix's code and handle.
int32_t write_deleted(const tm_util_trie_node *node, tcamv6_cmpr_pref *pref) {
  tcamv6_anc_data *data;
  const int32_t result = tcamv6_anc_data_of_prefix(node, driver, &data);
  if (result == TM_OK) {
    tcamv6_gen_trie_pref(tcamv6_cmpr_node(data), pref);
    pref->reference = data->handle;
  }
  return result;
}

// ---- one addition

void log_refusal(const tcamv6_batch *b, const tcamv6_prefix *record, int32_t result) {
  TM_LOG(error,
         "%s: Incremental Compression failed on the %d-%s new prefix (code %d): " TM_ADDR_FORMAT
         " / %d. Recompression and brief disruption may occur.",
         driver, static_cast<int>(b->at), ordinal_suffix(b->at), result, TM_ADDR_ARGS(record->address), record->length);
}

// The ancestor data of the prefix that was just added.
int32_t find_added(const tcamv6_batch *b, const tcamv6_prefix *record, tcamv6_anc_data **data) {
  const tm_util_trie_node *node = find_exact(b, record);
  if (!tcamv6_holds_prefix(node, record->length)) {
    TM_LOG(error, "%s: Error - inserted prefix not found in original trie len %d, node %p", driver, record->length,
           static_cast<const void *>(node));
    return TM_EFAULT;
  }
  const tcamv6_orig_data *orig = tcamv6_orig_data_of(node);
  if (orig != nullptr && tcamv6_anc_node_of(orig) == nullptr) {
    zel_fatal("\n%s:  trie_data->anc_node_idx is NULL", driver);
  }
  return tcamv6_anc_data_of_prefix(node, driver, data);
}

int32_t write_added(tcamv6_batch *b, tcamv6_cmpr_pref *slot) {
  const tcamv6_prefix *record = &b->records[b->at];
  tcamv6_anc_data *data;
  const int32_t result = find_added(b, record, &data);
  if (result != TM_OK) {
    return result;
  }
  tcamv6_cmpr_pref *pref = &b->cmpr_prefs[b->at];
  tcamv6_cmpr_addr *addr = &b->cmpr_addrs[b->at];
  tcamv6_gen_trie_pref(tcamv6_cmpr_node(data), pref);
  const tm_util_trie_node *address_node = tcamv6_cmpr_node(tcamv6_address_data(data, driver));
  tcamv6_gen_trie_addr(address_node, addr);
  tcamv6_log_prefix("Incr_cmpr: original:", record);
  TM_LOG(result, "%s " TM_ADDR_FORMAT " / %d", "Incr_cmpr: compressed:", TM_ADDR_ARGS(pref->key), pref->length);
  TM_LOG(result, "%s " TM_ADDR_FORMAT, "Incr_cmpr: address::", TM_ADDR_ARGS(addr->bytes));
  if ((slot->flags_tag & TM_PREFIX_FLAG_ADD) != 0) {
    *b->extra_ops_pending = 1;
    tcamv6_gen_trie_pref(address_node, slot);
  }
  return TM_OK;
}

}  // namespace

void tcamv6_log_prefix(const char *label, const tcamv6_prefix *record) {
  TM_LOG(result, "%s " TM_ADDR_FORMAT " / %d %s", label, TM_ADDR_ARGS(record->address), record->length,
         tm_anchor_text(tm_prefix_is_anchor(record)));
}

int32_t tcamv6_apply_delete(tcamv6_batch *b, tcamv6_cmpr_pref *slot) {
  const tcamv6_prefix *record = &b->records[b->at];
  tcamv6_cmpr_pref *pref = &b->cmpr_prefs[b->at];
  const tm_util_trie_node *node = find_exact(b, record);
  if (finds_nothing(b, node, record)) {
    log_absent(node, record);
    return TM_OK;
  }
  int32_t result = are_keys_wanted(b) ? write_deleted(node, pref) : int32_t{TM_OK};
  if (result != TM_OK) {
    return result;
  }
  // In compatible mode a sum of 0 looks like a last reference that went; otherwise only what left the structures
  // counts.
  uint32_t remaining = tcamv6_safe_updates_on() ? 1 : node->aux1;
  int32_t changed = 0;
  result = tcamv6_incr_del_prefix(b->state, &b->rules, record, slot, &changed, &remaining);
  if (result != TM_OK) {
    TM_LOG(error, "%s: Unable to delete %d-th prefix %d", driver, static_cast<int>(b->at), result);
    return result;
  }
  pref->own_node = changed == 1;
  if (changed == 1) {
    *b->changed = 1;
  }
  if (remaining == 0 && b->state->n_prefs != 0) {
    --b->state->n_prefs;
  }
  return TM_OK;
}

int32_t tcamv6_apply_add(tcamv6_batch *b, tcamv6_cmpr_pref *slot) {
  const tcamv6_prefix *record = &b->records[b->at];
  int32_t changed = 0;
  const tcamv6_outcome outcome = tcamv6_incr_add_prefix(b->state, &b->rules, record, slot, &changed);
  switch (outcome) {
    case tcamv6_outcome::present:
      *b->changed |= static_cast<uint32_t>(changed != 0);
      break;
    case tcamv6_outcome::placed:
    case tcamv6_outcome::vanished:  // shows below, where the prefix is looked for
      *b->changed = 1;
      ++b->state->n_prefs;
      break;
    default:
      log_refusal(b, record, tcamv6_status_of(outcome));
      return tcamv6_status_of(outcome);
  }
  const int32_t result = are_keys_wanted(b) ? write_added(b, slot) : int32_t{TM_OK};
  if (result == TM_OK) {
    b->cmpr_prefs[b->at].own_node = changed != 0;
  }
  return result;
}
