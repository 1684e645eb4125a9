// SPDX-License-Identifier: Apache-2.0
// fuzz_target.h - what every fuzz target shares: a finding ends the process with a message.
#ifndef FUZZ_TARGET_H
#define FUZZ_TARGET_H

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "change_bytes.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace fuzz_target {

using instance_model::byte_source;

inline void expect(bool condition, const std::string &what) {
  if (!condition) {
    std::fprintf(stderr, "finding: %s\n", what.c_str());
    std::abort();
  }
}

inline void expect_none(const std::string &fault) { expect(fault.empty(), fault); }

// Twins shared with the unit tests report through GoogleTest: make its failures findings too.
inline void turn_failures_into_findings() { GTEST_FLAG_SET(break_on_failure, true); }

}  // namespace fuzz_target

#endif
