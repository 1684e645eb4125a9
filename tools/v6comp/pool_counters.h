// SPDX-License-Identifier: Apache-2.0
// pool_counters.h - how full the library's pools were at their fullest.
#ifndef POOL_COUNTERS_H
#define POOL_COUNTERS_H

#include <cstdint>
#include <string>

namespace v6tool {

// Most elements of the pool of this name that were out at one time, since the pool was made or since
// forget_pool_peaks(); 0: no such pool.
uint64_t pool_peak(const std::string &name);

// Let all peaks begin anew with what is out now.
void forget_pool_peaks();

}  // namespace v6tool

#endif
