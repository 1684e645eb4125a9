#include "tcamv6_lookup.h"

#include "tcamv6_output.h"
#include "tcamv6_stored.h"
#include "tm_debug.h"

namespace {

void translate(tcamv6_anc_data *data, const char *function, tcamv6_cmpr_pref *cmpr_pref, tcamv6_cmpr_addr *cmpr_addr) {
  tcamv6_gen_trie_pref(tcamv6_cmpr_node(data), cmpr_pref);
  tcamv6_gen_trie_addr(tcamv6_cmpr_node(tcamv6_address_data(data, function)), cmpr_addr);
}

// The ancestor data of the node that a lookup found, if it found one.
int32_t data_of_found(const tm_util_trie_node *node, const char *function, tcamv6_anc_data **data) {
  if (node == nullptr) {
    TM_LOG(info, "%s: Prefix does not exist", function);
    return TM_EINVAL;
  }
  return tcamv6_anc_data_of_prefix(node, function, data);
}

}  // namespace

int32_t tcamv6_lookup_prefix(tcamv6_state *state, const tcamv6_prefix *prefix, tcamv6_cmpr_pref *cmpr_pref_p,
                             tcamv6_cmpr_addr *cmpr_addr_p) {
  TM_LOG(trace, "%s: Starting state_hndl %p, prefix %p, cmpr_pref_p %p cmpr_addr_p %p", __func__,
         static_cast<void *>(state), static_cast<const void *>(prefix), static_cast<void *>(cmpr_pref_p),
         static_cast<void *>(cmpr_addr_p));
  int32_t result = TM_EINVAL;
  if (tcamv6_state_unusable(state) || prefix == nullptr || cmpr_pref_p == nullptr || cmpr_addr_p == nullptr) {
    TM_LOG(info, "%s: Bad arguments", __func__);
  } else {
    tcamv6_anc_data *data = nullptr;
    result = data_of_found(tcamv6_find_stored(state, prefix), __func__, &data);
    if (result == TM_OK) {
      translate(data, __func__, cmpr_pref_p, cmpr_addr_p);
    }
  }
  TM_LOG(trace, "%s: Complete %d", __func__, result);
  return result;
}

int32_t tcamv6_lookup_address(tcamv6_state *state, const uint8_t lkup_addr[16], tcamv6_prefix *prefix,
                              tcamv6_cmpr_pref *cmpr_pref_p, tcamv6_cmpr_addr *cmpr_addr_p) {
  TM_LOG(trace, "%s: Starting state_hndl %p, lkup_addr %p, prefix %p, cmpr_pref_p %p cmpr_addr_p %p", __func__,
         static_cast<void *>(state), static_cast<const void *>(lkup_addr), static_cast<void *>(prefix),
         static_cast<void *>(cmpr_pref_p), static_cast<void *>(cmpr_addr_p));
  int32_t result = TM_EINVAL;
  if (tcamv6_state_unusable(state) || lkup_addr == nullptr || prefix == nullptr || cmpr_pref_p == nullptr ||
      cmpr_addr_p == nullptr) {
    TM_LOG(info, "%s: Bad arguments", __func__);
  } else {
    const tm_util_trie_node *node =
        tm_util_trie_lookup(tm_trie_node(state->orig_root), lkup_addr, TCAMV6_MAX_PREF_LEN, 1);
    tcamv6_anc_data *data = nullptr;
    result = data_of_found(node, __func__, &data);
    if (result == TM_OK) {
      tcamv6_gen_trie_pref(node, prefix);
      translate(data, __func__, cmpr_pref_p, cmpr_addr_p);
    }
  }
  TM_LOG(trace, "%s: Complete %d", __func__, result);
  return result;
}
