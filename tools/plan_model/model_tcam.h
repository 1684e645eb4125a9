// SPDX-License-Identifier: Apache-2.0
// model_tcam.h - a TCAM: slots with key, mask and result; the first slot that matches wins.
#ifndef MODEL_TCAM_H
#define MODEL_TCAM_H

#include <cstdint>
#include <optional>
#include <vector>

#include "prefix_value.h"

namespace v6tool {

struct tcam_entry {
  ip_key key;
  ip_key mask;  // bits of an address that must equal the key's
  uint64_t result = 0;
};

class model_tcam {
 public:
  static constexpr uint32_t none = UINT32_MAX;

  explicit model_tcam(uint32_t slots) : slots_(slots) {}

  uint32_t size() const { return static_cast<uint32_t>(slots_.size()); }

  const std::optional<tcam_entry> &at(uint32_t slot) const { return slots_.at(slot); }

  void write(uint32_t slot, const tcam_entry &entry) { slots_.at(slot) = entry; }

  void invalidate(uint32_t slot) { slots_.at(slot).reset(); }

  // The first slot that matches, or none. Walks the slots, as hardware would if it had the time.
  uint32_t first_match(ip_key address, uint32_t first_slot = 0) const;

 private:
  std::vector<std::optional<tcam_entry>> slots_;
};

}  // namespace v6tool

#endif
