// SPDX-License-Identifier: Apache-2.0
// tcamv6_state.cpp - initialising, releasing and clearing instances.
#include "tcamv6_state.h"

#include <string.h>

#include "tcamv6_anc_tree.h"
#include "tcamv6_leftovers.h"
#include "tcamv6_moves_internal.h"
#include "tcamv6_read_index.h"
#include "tcamv6_state_internal.h"
#include "tm_debug.h"
#include "tm_n_ary_tree.h"
#include "tm_trie.h"

extern "C" {
uint32_t tags_so_far = 0;
}

gbl_state_block *gbl_state = nullptr;

namespace {

void set_limits(tcamv6_state *state, uint32_t max_pref_len, uint32_t max_cmpr_len) {
  state->max_pref_len = max_pref_len;
  state->max_cmpr_len = max_cmpr_len;
}

bool lies_in_global_block(const tcamv6_state *state) {
  const uintptr_t at = reinterpret_cast<uintptr_t>(state);
  const uintptr_t block = reinterpret_cast<uintptr_t>(gbl_state);
  return gbl_state != nullptr && at >= block && at < block + sizeof *gbl_state;
}

}  // namespace

uint32_t tcamv6_next_tag() { return ++tags_so_far; }
uint32_t tcamv6_tags_handed_out() { return tags_so_far; }
void tcamv6_take_back_tags(uint32_t handed_out) { tags_so_far = handed_out; }

int32_t tcamv6_init(tcamv6_state *state, const tcamv6_conf *conf, int32_t *was_reset) {
  constexpr const char *function = "tcamv6_init";
  TM_LOG(trace, "%s: Starting handlep %p, confp %p ", function, static_cast<void *>(state),
         static_cast<const void *>(conf));
  int32_t result = TM_OK;
  if (state == nullptr || conf == nullptr || was_reset == nullptr || conf->max_pref_len > TCAMV6_MAX_PREF_LEN ||
      conf->max_cmpr_len > TCAMV6_MAX_PREF_LEN) {
    TM_LOG(info, "%s: Bad arguments", function);
    result = TM_EINVAL;
  } else {
    *was_reset = tcamv6_init_opt_done(state) != TM_OK;
    if (*was_reset != 0) {
      memset(state, 0, sizeof *state);
      set_limits(state, conf->max_pref_len, conf->max_cmpr_len);
    }
  }
  TM_LOG(trace, "%s: Complete %d", function, result);
  return result;
}

int32_t tcamv6_init_opt_done(const tcamv6_state *state) {
  constexpr const char *function = "tcamv6_init_opt_done";
  TM_LOG(trace, "%s: Starting state_hndl %p", function, static_cast<const void *>(state));
  int32_t result = TM_EINVAL;
  if (state == nullptr) {
    TM_LOG(info, "%s: Bad arguments", function);
  } else {
    result = state->opt_done == 1 ? TM_OK : TM_ENOENT;
  }
  TM_LOG(trace, "%s: Complete %d", function, result);
  return result;
}

void tcamv6_release_contents(tcamv6_state *state) {
  tcamv6_release_read_index(state);
  tm_util_trie_free(tm_trie_node(state->orig_root), 1, TM_V6_ORIG_DATA);
  tm_util_trie_free(tm_trie_node(state->cmpr_root), 1, TM_V6_ORIG_DATA);
  tm_util_trie_free(tm_trie_node(state->pcmpr_root), 1, TM_V6_PCMPR_DATA);
  tm_util_n_ary_tree_free(tcamv6_anc_node(state->anc_root), 1, TM_V6_ANC_DATA);
  if (state->extra_ops != nullptr) {
    zel_free_named(state->extra_ops);
    state->extra_ops = nullptr;
  }
}

void tcamv6_clear_state(tcamv6_state *state) {
  const uint32_t max_pref_len = state->max_pref_len;
  const uint32_t max_cmpr_len = state->max_cmpr_len;
  memset(state, 0, sizeof *state);
  set_limits(state, max_pref_len, max_cmpr_len);
}

int32_t tcamv6_reset(tcamv6_state **handlep, int32_t keep) {
  constexpr const char *function = "tcamv6_reset";
  int32_t result = TM_OK;
  if (handlep == nullptr || *handlep == nullptr) {
    TM_LOG(info, "%s: Bad arguments", function);
    result = TM_EINVAL;
  } else {
    TM_LOG(trace, "%s: Starting handlep %p", function, static_cast<void *>(handlep));
    tcamv6_state *state = *handlep;
    tcamv6_reclaim_leftovers();
    if ((state->marks & TCAMV6_MARK_KEPT) == 0) {
      tcamv6_release_contents(state);
    }
    tcamv6_moves_forget(state);
    if (keep == 1) {
      state->marks |= TCAMV6_MARK_KEPT;
    } else {
      if (lies_in_global_block(state)) {
        tcamv6_clear_state(state);
      } else {
        zel_free_named(state);
      }
      *handlep = nullptr;
    }
  }
  TM_LOG(trace, "%s: Complete %d", function, result);
  return result;
}
