// SPDX-License-Identifier: Apache-2.0
#include "model_tcam.h"

namespace v6tool {

uint32_t model_tcam::first_match(ip_key address, uint32_t first_slot) const {
  for (uint32_t slot = first_slot; slot < size(); ++slot) {
    const std::optional<tcam_entry> &entry = slots_[slot];
    if (entry && (address & entry->mask) == (entry->key & entry->mask)) {
      return slot;
    }
  }
  return none;
}

}  // namespace v6tool
