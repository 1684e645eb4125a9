// SPDX-License-Identifier: Apache-2.0
#include "tcamv6_extra_ops.h"

#include "tcamv6_state_internal.h"
#include "tm_debug.h"

int32_t tcamv6_extra_ops_get(tcamv6_state *state, tcamv6_cmpr_pref **first_half, tcamv6_cmpr_pref **second_half,
                             uint32_t *count) {
  if (tcamv6_state_unusable(state) || first_half == nullptr || second_half == nullptr || count == nullptr) {
    TM_LOG(info, "%s: Bad arguments", __func__);
    return TM_EINVAL;
  }
  *count = state->extra_op_count;
  *first_half = state->extra_ops;
  *second_half = state->extra_ops == nullptr ? nullptr : state->extra_ops + state->extra_op_count;
  // A reference has 32 bits and cannot name a node: no slot of the first half leads to a stored prefix.
  if (state->extra_op_count != 0) {
    TM_LOG(info, "%s: Error - Original prefix points to NULL anc_data", __func__);
    return TM_EFAULT;
  }
  return TM_OK;
}

int32_t tcamv6_extra_ops_free(tcamv6_state *state) {
  if (tcamv6_state_unusable(state)) {
    TM_LOG(info, "%s: Bad arguments", __func__);
    return TM_EINVAL;
  }
  state->extra_op_count = 0;
  if (state->extra_ops != nullptr) {
    zel_free_named(state->extra_ops);
    state->extra_ops = nullptr;
  }
  return TM_OK;
}
