// SPDX-License-Identifier: Apache-2.0
// slow_plan.h - the update list's operations, written once more the plain way: every slot against every record,
// every bit on its own. Results must be the library's, byte for byte.
#ifndef SLOW_PLAN_H
#define SLOW_PLAN_H

#include <cstdint>
#include <vector>

#include "tm_incr_update.h"

namespace slow_plan {

int compare(uint8_t a_length, const uint8_t *a, uint8_t b_length, const uint8_t *b);

void initial(tm_incr_update_list &list, uint32_t expected, uint32_t &corrupted);

void build(tm_incr_update_list &list, const std::vector<tcamv6_prefix> &prefixes,
           const std::vector<tcamv6_cmpr_addr> &cmpr_addrs, uint32_t expected, uint32_t &corrupted, bool force);

uint32_t reorder(tm_incr_update_list &list, uint32_t n_freed, uint32_t n_added, bool keep_count);

}  // namespace slow_plan

#endif
