// SPDX-License-Identifier: Apache-2.0
#include "tcamv6_lookup_index.h"

#include <string.h>

#include "tcamv6_output.h"
#include "tcamv6_state_internal.h"

namespace {

constexpr const char *builder = "tcamv6_build_lookup_index";

int32_t build(tcamv6_state *state, bool rows_only) {
  if (tcamv6_state_unusable(state) || state->opt_done != 1) {
    return TM_EINVAL;
  }
  if (tcamv6_has_read_index(state) && tcamv6_read_index_at(state->read_index)->rows_only == rows_only) {
    return TM_OK;
  }
  tcamv6_read_index *index = tcamv6_make_read_index(state, rows_only);
  if (index == nullptr) {
    return TM_ENOMEM;
  }
  for (uint32_t number = 1; number <= index->n_items; ++number) {
    const int32_t result = tcamv6_gather_answer(tm_trie_node(index->items[number].node), &index->answers[number]);
    if (result != TM_OK) {
      tcamv6_release_read_index(state);
      return result;
    }
  }
  tcamv6_read_index_go_live(index);
  return TM_OK;
}

}  // namespace

int32_t tcamv6_gather_answer(const tm_util_trie_node *node, tcamv6_read_answer *answer) {
  tcamv6_anc_data *data = nullptr;
  const int32_t result = tcamv6_anc_data_of_prefix(node, builder, &data);
  if (result != TM_OK) {
    return result;
  }
  tcamv6_prefix prefix;
  tcamv6_cmpr_pref code;
  tcamv6_gen_trie_pref(node, &prefix);
  tcamv6_gen_trie_pref(tcamv6_cmpr_node(data), &code);
  tcamv6_gen_trie_addr(tcamv6_cmpr_node(tcamv6_address_data(data, builder)), &answer->cmpr_addr);
  memcpy(answer->address, prefix.address, sizeof answer->address);
  answer->length = prefix.length;
  answer->weight = static_cast<uint16_t>(prefix.weight);
  answer->anchor_ref = static_cast<uint16_t>(prefix.anchor_ref);
  memcpy(answer->code, code.key, sizeof answer->code);
  answer->code_length = code.length;
  answer->own_node = static_cast<uint16_t>(code.own_node);
  answer->handle = data->handle;
  answer->node_aux = static_cast<uint16_t>(code.node_aux);
  return TM_OK;
}

int32_t tcamv6_build_lookup_index(tcamv6_state *state) { return build(state, false); }

int32_t tcamv6_build_row_index(tcamv6_state *state) { return build(state, true); }
