// SPDX-License-Identifier: Apache-2.0
#include "tcamv6_handle.h"

#include "tcamv6_read_index_find.h"
#include "tcamv6_state_internal.h"
#include "tcamv6_stored.h"
#include "tm_debug.h"

namespace {

int32_t find_data(const tcamv6_state *state, const tcamv6_prefix *prefix, const char *function,
                  tcamv6_anc_data **data) {
  const tm_util_trie_node *node = tcamv6_find_stored(state, prefix);
  if (node == nullptr) {
    TM_LOG(info, "%s: Prefix does not exist", function);
    return TM_EINVAL;
  }
  return tcamv6_anc_data_of_prefix(node, function, data);
}

}  // namespace

int32_t tcamv6_prefix_handle_attach(tcamv6_state *state, const tcamv6_prefix *prefix, uint32_t app_handle) {
  constexpr const char *function = "tcamv6_prefix_handle_attach";
  TM_LOG(trace, "%s: Starting state_hndl %p, prefix %p, app_handle %d", function, static_cast<void *>(state),
         static_cast<const void *>(prefix), static_cast<int>(app_handle));
  int32_t result = TM_EINVAL;
  if (tcamv6_state_unusable(state) || !tcamv6_are_prefixes(prefix, 1)) {
    TM_LOG(info, "%s: Bad arguments", function);
  } else {
    tcamv6_anc_data *data = nullptr;
    result = find_data(state, prefix, function, &data);
    if (result == TM_OK) {
      data->handle = app_handle;
      tcamv6_read_index_set_handle(state, prefix->address, prefix->length, app_handle);
    }
  }
  TM_LOG(trace, "%s: Complete %d", function, result);
  return result;
}

int32_t tcamv6_prefix_handle_query(tcamv6_state *state, const tcamv6_prefix *prefix, uint32_t *handle_p) {
  constexpr const char *function = "tcamv6_prefix_handle_query";
  TM_LOG(trace, "%s: Starting state_hndl %p, prefix %p, handle_p %p", function, static_cast<void *>(state),
         static_cast<const void *>(prefix), static_cast<void *>(handle_p));
  int32_t result = TM_EINVAL;
  if (tcamv6_state_unusable(state) || !tcamv6_are_prefixes(prefix, 1) || handle_p == nullptr) {
    TM_LOG(info, "%s: Bad arguments", function);
  } else {
    tcamv6_anc_data *data = nullptr;
    result = find_data(state, prefix, function, &data);
    if (result == TM_OK) {
      *handle_p = data->handle;
    }
  }
  TM_LOG(trace, "%s: Complete %d", function, result);
  return result;
}
