// SPDX-License-Identifier: Apache-2.0
// counter_model.h - which prefixes an instance stores after a request, worked out on a std::map.
//
// Only sets and counters, none of the trees: each record of the working list adds to, or takes from, the two counters
// of its prefix. What the model cannot know is whether the trees have room; it is told the request's outcome.
#ifndef COUNTER_MODEL_H
#define COUNTER_MODEL_H

#include <vector>

#include "instance_image.h"

namespace instance_model {

// The set after a full compression of these changes.
stored_set after_full(const std::vector<change> &changes);

// The set after an accepted batch; prefixes that left it, if only for a moment, are added to `removed`. `refused`
// becomes true when a delete asks for more than is there: the batch must then be refused with 22, unless something else
// refuses it before.
stored_set after_batch(const stored_set &before, const std::vector<change> &changes, update_mode mode, bool &refused,
                       std::vector<v6tool::ip_prefix> *removed = nullptr);

// Does it both add and delete a prefix? In room mode such a batch is applied as listed, all others outside in.
bool has_opposites(const std::vector<change> &changes);

}  // namespace instance_model

#endif
