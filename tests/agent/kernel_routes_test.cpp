// SPDX-License-Identifier: Apache-2.0
#include "kernel_routes.h"

#include "agent_fixture.h"
#include "feed_fixture.h"

namespace v6agent {
namespace {

const ip_prefix some = "2001:db8:1::/48"_p;

route_path path(uint32_t metric, uint32_t egress, uint8_t gateway = 0) {
  route_path one;
  one.metric = metric;
  one.interface = egress;
  one.gateway[15] = gateway;
  one.egress = egress;
  return one;
}

class KernelRoutes : public testing::Test {
 protected:
  void comes(std::vector<route_path> paths, bool in_reading = false) {
    routes.take({some, true, false, std::move(paths)}, in_reading);
  }
  void replaces(std::vector<route_path> paths) { routes.take({some, true, true, std::move(paths)}, false); }
  void goes(std::vector<route_path> paths) { routes.take({some, false, false, std::move(paths)}, false); }
  // 0: there is none
  uint32_t egress() const {
    const auto at = sink.routes.find(some);
    return at == sink.routes.end() ? 0 : at->second;
  }

  remembering_sink sink;
  kernel_routes routes{sink};
};

TEST_F(KernelRoutes, LowestMetricCountsWhateverTheOrder) {
  comes({path(20, 2)});
  EXPECT_EQ(egress(), 2U);
  comes({path(10, 1)});
  EXPECT_EQ(egress(), 1U);
  comes({path(30, 3)});
  EXPECT_EQ(egress(), 1U);
  goes({path(10, 1)});
  EXPECT_EQ(egress(), 2U);
  goes({path(20, 2)});
  EXPECT_EQ(egress(), 3U);
  goes({path(30, 3)});
  EXPECT_EQ(egress(), 0U);
}

TEST_F(KernelRoutes, OneOfSeveralNextHopsGoes) {
  comes({path(10, 1, 5), path(10, 2, 5)});
  goes({path(10, 1, 5)});
  EXPECT_EQ(egress(), 2U);
  comes({path(10, 2, 5), path(10, 3, 5)});  // the one that stands is told again
  goes({path(10, 2, 5)});
  EXPECT_EQ(egress(), 3U);
  goes({path(10, 3, 5)});
  EXPECT_EQ(egress(), 0U);
}

TEST_F(KernelRoutes, ReplacedNextHopsAreGoneTogether) {
  comes({path(10, 1, 5), path(10, 2, 5)});
  comes({path(20, 4, 5)});
  replaces({path(10, 3, 5)});
  EXPECT_EQ(egress(), 3U);
  EXPECT_FALSE(routes.is_in_doubt());
  goes({path(10, 3, 5)});
  EXPECT_EQ(egress(), 4U);
}

TEST_F(KernelRoutes, WhatGoesAndIsNotKnownChangesNothing) {
  comes({path(10, 1)});
  goes({path(11, 1)});
  goes({path(10, 2)});
  goes({path(10, 1, 5)});
  EXPECT_EQ(egress(), 1U);
}

TEST_F(KernelRoutes, WhichOfTwoWithoutAGatewayWasReplacedIsNotKnown) {
  comes({path(10, 1)});
  comes({path(10, 2)});
  EXPECT_FALSE(routes.is_in_doubt());
  replaces({path(10, 3)});
  EXPECT_TRUE(routes.is_in_doubt());
  routes.begin_reading();
  EXPECT_FALSE(routes.is_in_doubt());
}

TEST_F(KernelRoutes, WhatWentWhileTheTableWasReadIsReadAgain) {
  routes.begin_reading();
  comes({path(10, 1)}, true);
  goes({path(10, 1)});
  EXPECT_FALSE(routes.is_in_doubt());
  comes({path(10, 1)}, true);  // read before it went?
  EXPECT_TRUE(routes.is_in_doubt());
  routes.end_reading();
  EXPECT_TRUE(routes.is_in_doubt());

  routes.begin_reading();
  comes({path(10, 1)}, true);
  routes.end_reading();
  goes({path(10, 1)});
  comes({path(10, 1)});
  EXPECT_FALSE(routes.is_in_doubt());
  EXPECT_EQ(egress(), 1U);
}

TEST_F(KernelRoutes, ReadingForgetsWhatWasKnown) {
  comes({path(10, 1)});
  routes.begin_reading();
  comes({path(20, 2)}, true);
  routes.end_reading();
  EXPECT_EQ(egress(), 2U);
}

}  // namespace
}  // namespace v6agent
