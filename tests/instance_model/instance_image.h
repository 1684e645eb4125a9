// SPDX-License-Identifier: Apache-2.0
// instance_image.h - what an instance stores: as text to compare, and checked link by link.
#ifndef INSTANCE_IMAGE_H
#define INSTANCE_IMAGE_H

#include <array>
#include <map>
#include <string>

#include "instance_host.h"

namespace instance_model {

enum class detail {
  contents,  // keys, counters, tags, limits, shapes, order of children
  elements   // and which pool element holds each part
};

// All four structures and the counts, as text; equal texts are equal instances.
std::string image(place at = {}, detail what = detail::contents);

enum class codes {
  all,
  owned  // paths that lead to no owned code are left out
};

// What image(at, detail::elements) tells, as bytes that only serve to be compared: for checks after every step.
std::string fingerprint(place at = {}, codes which = codes::all);

// The prefixes stored, each with its two counters.
struct counters {
  uint16_t weight = 0;
  uint16_t anchors = 0;
  auto operator<=>(const counters &) const = default;
};
using stored_set = std::map<v6tool::ip_prefix, counters>;
stored_set stored(place at = {});
std::string text_of(const stored_set &set);

// The first link, depth, owner count or parent that is wrong; "" when the instance is sound. `counts`: check the
// numbers of prefixes and rows too.
std::string first_fault(place at = {}, bool counts = true);

// The first pair of stored prefixes that the codes get wrong, by the queries.
std::string containment_fault(place at = {});

// Elements and heap blocks that are allocated but belong to no instance, the global block aside; "" when there are
// none. Right after an accepted request nothing may be left over.
std::string lost_memory();

// All of the above that must hold after any accepted batch of safe updates.
std::string safe_fault(place at = {});

}  // namespace instance_model

#endif
