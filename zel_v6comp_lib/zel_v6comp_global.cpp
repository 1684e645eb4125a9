// SPDX-License-Identifier: Apache-2.0
// zel_v6comp_global.cpp - the global block, its instances, the version.
#include <string.h>

#include "tcamv6_leftovers.h"
#include "tcamv6_lookup_index.h"
#include "tcamv6_moves_internal.h"
#include "tcamv6_state_internal.h"
#include "zel_v6comp.h"
#include "zel_v6comp_result.h"

namespace {

void set_chunk_bases(tm_chunk_info *base) {
  tm_chunk_set_chunk_inf_base(base);
  tm_dump_chk_info_set_base(base);
}

uint32_t init_instance(int32_t processor, int32_t instance, const char *function) {
  tcamv6_conf *conf = &gbl_state->conf[processor][instance];
  *conf = {TCAMV6_MAX_PREF_LEN, TCAMV6_MAX_CMPR_LEN, &gbl_state->state[processor][instance]};
  int32_t was_reset;
  const int32_t result = tcamv6_init(conf->state, conf, &was_reset);
  if (result != TM_OK) {
    TM_LOG(error, "%s: Fatal error -- Failed to init tm chunks zel=%d inst=%d ", function, processor, instance);
  }
  return zel_v6comp_status(result);
}

uint32_t init_instances(int32_t n_instances, int32_t n_processors, const char *function) {
  for (int32_t processor = 0; processor < n_processors; ++processor) {
    for (int32_t instance = 0; instance < n_instances; ++instance) {
      const uint32_t result = init_instance(processor, instance, function);
      if (result != 0) {
        return result;
      }
    }
  }
  return 0;
}

}  // namespace

uint32_t zel_v6comp_init_global_state(int32_t n_instances, int32_t n_processors) {
  constexpr const char *function = "zel_v6comp_init_global_state";
  zel_v6comp_dbg_init();
  if (n_processors > TCAMV6_MAX_PROCESSORS) {
    TM_LOG(error, "%s: ERROR: Invalid number of zels :%d ", function, n_processors);
    return zel_v6comp_status(TM_EINVAL);
  }
  if (n_instances > TCAMV6_MAX_INSTANCES) {
    TM_LOG(error, "%s: error, current v6comp lib support only 2 instances ", function);
    return zel_v6comp_status(TM_EINVAL);
  }
  tcamv6_forget_leftovers();  // they belong to the pools that are abandoned now
  tcamv6_moves_forget_all();
  gbl_state = static_cast<gbl_state_block *>(zel_calloc_named(TM_MEM_TAG_RESULT, 1, sizeof *gbl_state));
  if (gbl_state == nullptr) {
    TM_LOG(error, "%s: Fatal error -- Failed allocate gbl_state, size %zu ", function, sizeof *gbl_state);
    return zel_v6comp_status(TM_ENOMEM);
  }
  zel_memset(gbl_state, 0, sizeof *gbl_state);
  const auto result = static_cast<int32_t>(tm_init_raw_chunks(gbl_state->chunk_info, raw_blk, 0, TM_CHUNK_TYPES));
  if (result != TM_OK) {
    TM_LOG(error, "%s: Fatal error -- Failed to init tm chunks ", function);
    return zel_v6comp_status(result);
  }
  set_chunk_bases(gbl_state->chunk_info);
  return init_instances(n_instances, n_processors, function);
}

tcamv6_state *zel_v6comp_instance(int32_t processor, int32_t instance) {
  const bool on_grid =
      processor >= 0 && processor < TCAMV6_MAX_PROCESSORS && instance >= 0 && instance < TCAMV6_MAX_INSTANCES;
  return gbl_state != nullptr && on_grid ? gbl_state->conf[processor][instance].state : nullptr;
}

uint32_t zel_v6comp_build_index(int32_t processor, int32_t instance) {
  return zel_v6comp_status(tcamv6_build_lookup_index(zel_v6comp_instance(processor, instance)));
}

uint32_t zel_v6comp_reset_instance(int32_t processor, int32_t instance) {
  constexpr const char *function = "zel_v6comp_reset_instance";
  tcamv6_state *state = zel_v6comp_instance(processor, instance);
  if (state == nullptr) {
    TM_LOG(info, "%s: Bad arguments", function);
    return zel_v6comp_status(TM_EINVAL);
  }
  return zel_v6comp_status(tcamv6_reset(&state, 0));
}

const char *zel_v6comp_version() { return ZEL_V6COMP_VERSION_STRING; }
