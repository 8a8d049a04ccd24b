#include <functional>
#include <memory>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <hostlink/transport/FrameIds.h>

using testing::ElementsAre;

namespace {

// Draws 0, 1, 2, ... and counts.
struct Counter {
    int next = 0;
    int draws = 0;
    int operator()() {
        ++draws;
        return next++;
    }
};

TEST(FrameIds, ClaimsWhatIsDrawnWhileNobodyHasIt) {
    FrameIds ids;
    Counter counter;
    std::vector<int> claimed;
    for (int i = 0; i < 4; ++i) claimed.push_back(FrameIds::Claim(ids, std::ref(counter)).id());
    EXPECT_THAT(claimed, ElementsAre(0, 1, 2, 3));
}

TEST(FrameIds, IdThatIsClaimedIsDrawnAgain) {
    FrameIds ids;
    for (const int taken : {0, 63, 64, 127, 128, 255}) {
        const FrameIds::Claim first(ids, [=] { return taken; });
        Counter counter{taken};
        EXPECT_EQ(FrameIds::Claim(ids, std::ref(counter)).id(), taken + 1);
        EXPECT_EQ(counter.draws, 2);
    }
}

TEST(FrameIds, OnlyTheLowEightBitsTellIdsApart) {
    FrameIds ids;
    const FrameIds::Claim first(ids, [] { return 5; });
    Counter counter{261};
    EXPECT_EQ(FrameIds::Claim(ids, std::ref(counter)).id(), 262);
    Counter below{-251};
    EXPECT_EQ(FrameIds::Claim(ids, std::ref(below)).id(), -250);
}

TEST(FrameIds, IdIsFreeAgainWhenItsClaimGoes) {
    FrameIds ids;
    for (int i = 0; i < 3; ++i) {
        int draws = 0;
        const FrameIds::Claim only(ids, [&] { return ++draws, 7; });
        EXPECT_EQ(draws, 1);
    }
}

TEST(FrameIds, SourceThatKnowsOneIdOnlyIsAskedTwoHundredAndFiftySixTimes) {
    FrameIds ids;
    const auto first = std::make_unique<FrameIds::Claim>(ids, [] { return 0; });
    int draws = 0;
    const auto zero = [&] { return ++draws, 0; };
    EXPECT_EQ(FrameIds::Claim(ids, zero).id(), 0);
    EXPECT_EQ(draws, 256);
    // The one that shared it has not freed it.
    draws = 0;
    EXPECT_EQ(FrameIds::Claim(ids, zero).id(), 0);
    EXPECT_EQ(draws, 256);
}

TEST(FrameIds, AllOfThemCanBeUnderWay) {
    FrameIds ids;
    Counter counter;
    std::vector<std::unique_ptr<FrameIds::Claim>> claims;
    for (int i = 0; i < 256; ++i) claims.push_back(std::make_unique<FrameIds::Claim>(ids, std::ref(counter)));
    EXPECT_EQ(counter.draws, 256);
    claims.erase(claims.begin() + 200);
    EXPECT_EQ(FrameIds::Claim(ids, std::ref(counter)).id(), 256 + 200);
}

} // namespace
