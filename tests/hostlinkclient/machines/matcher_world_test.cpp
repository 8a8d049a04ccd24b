// No result is ever another question's, whatever the wire does.
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "MatcherWorld.h"
#include "support/Watchdog.h"

namespace {

TEST(MatcherProperties, NoResultBelongsToAnotherQuestionInAHundredThousand) {
    std::mt19937 generator(20261122);
    MatcherWorld world([&generator](unsigned limit) { return static_cast<unsigned>(generator() % limit); });
    for (unsigned steps = 0; world.tally().asked < 100000 && world.complaint().empty(); ++steps) {
        if (steps % 10000 == 0) testIsAt("step " + std::to_string(steps)); // takes minutes with coverage counters
        world.step();
    }
    world.finish();
    EXPECT_EQ(world.complaint(), "");
    // The faults were there, and did not keep everything from being answered.
    EXPECT_GT(world.tally().answered, 20000U);
    EXPECT_GT(world.tally().unsupported, 50U);
    EXPECT_GT(world.tally().unanswered, 1000U);
    EXPECT_GT(world.dropped().late, 500U);
}

} // namespace
