// Both ends of a tunnelled connection over a bad line: something is always going to happen, and what comes of it is
// progress, or an end while somebody still has patience.
#include <gtest/gtest.h>

#include "LossyTunnel.h"

using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

using Plan = LossyTunnel::Plan;

// The other end is given up after this; before, it is asked at least three times.
constexpr seconds patience{30};
constexpr seconds asked{10};

Plan planOf(uint64_t seed) {
    std::mt19937_64 random(seed);
    Plan plan;
    constexpr double rates[] = {0.02, 0.1, 0.3, 0.6};
    plan.faultRate = rates[random() % 4];
    plan.faults = static_cast<int>(random() % 40);
    plan.up = random() % 3 == 0 ? 0 : random() % 2000;
    plan.down = random() % 5 == 0 ? 0 : random() % 3000;
    plan.connectTime = milliseconds(random() % 3 == 0 ? random() % 3000 : 1);
    plan.longestThought = milliseconds(random() % 2 == 0 ? random() % 20000 : 5);
    plan.isRefused = random() % 16 == 0;
    return plan;
}

} // namespace

// The line damages a few messages, at the worst moments among others, and is a good one then.
TEST(TunnelLiveness, AFewFaultsDelayAndBreakNothing) {
    for (uint64_t seed = 1; seed <= 400; ++seed) {
        const Plan plan = planOf(seed);
        LossyTunnel tunnel(seed, plan);
        tunnel.run();
        ASSERT_EQ(tunnel.stall(), "") << "seed " << seed;
        ASSERT_TRUE(tunnel.isTrue()) << "seed " << seed;
        // One that thinks is heard of when it has thought; a receiver that died meanwhile is found out in time.
        ASSERT_LE(tunnel.longestStill(), plan.longestThought + patience) << "seed " << seed;
        if (plan.isRefused) {
            ASSERT_EQ(tunnel.moduleEnd().counts().refused, 1u) << "seed " << seed;
            continue;
        }
        ASSERT_EQ(tunnel.moduleEnd().counts().broken, 0u) << "seed " << seed;
        ASSERT_EQ(tunnel.moduleEnd().counts().finished, 1u) << "seed " << seed;
        ASSERT_TRUE(tunnel.isWhole()) << "seed " << seed;
    }
}

// One that goes on being bad: it may break then, but not stand.
TEST(TunnelLiveness, ALineThatStaysBadEndsOrCarries) {
    for (uint64_t seed = 1; seed <= 100; ++seed) {
        Plan plan = planOf(seed);
        plan.faults = 1000000000;
        plan.faultRate = seed % 2 == 0 ? 0.3 : 0.8;
        plan.up = plan.up / 8;
        plan.down = plan.down / 8;
        LossyTunnel tunnel(seed, plan);
        tunnel.run();
        ASSERT_EQ(tunnel.stall(), "") << "seed " << seed;
        ASSERT_TRUE(tunnel.isTrue()) << "seed " << seed;
        ASSERT_EQ(tunnel.moduleEnd().connections(), 0u) << "seed " << seed;
        ASSERT_LE(tunnel.longestStill(), plan.longestThought + 2 * patience + asked) << "seed " << seed;
    }
}
