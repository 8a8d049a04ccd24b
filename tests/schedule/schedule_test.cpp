// What a seed draws: numbers only, no thread.
#include <set>
#include <vector>

#include <gtest/gtest.h>

#include "support/schedule/Schedule.h"

namespace schedule {

namespace {

constexpr std::uint64_t seeds = 200;
constexpr std::uint32_t points = 3000; // more than there may be changes at

Point pointOf(std::uint32_t number) {
    return {static_cast<Call>(number / 2 % callCount), number % 2 == 1};
}

std::vector<Pause> pausesOf(std::uint64_t seed, unsigned thread) {
    std::vector<Pause> pauses;
    for (std::uint32_t number = 1; number <= points; ++number)
        pauses.push_back(Schedule(seed).at(thread, number, pointOf(number)));
    return pauses;
}

long countLong(const std::vector<Pause>& pauses) {
    long count = 0;
    for (const Pause& pause : pauses) count += pause.microseconds > Schedule::longestOfShort ? 1 : 0;
    return count;
}

TEST(Schedule, RepeatsFromItsSeed) {
    for (std::uint64_t seed = 0; seed < 10; ++seed) EXPECT_EQ(pausesOf(seed, 1), pausesOf(seed, 1)) << seed;
}

TEST(Schedule, DiffersBySeedAndByThread) {
    EXPECT_FALSE(pausesOf(1, 1) == pausesOf(2, 1));
    EXPECT_FALSE(pausesOf(1, 1) == pausesOf(1, 2));
}

TEST(Schedule, HoldsAThreadForLongAtItsChangePointsOnly) {
    long most = 0;
    long seedsWithOne = 0;
    for (std::uint64_t seed = 0; seed < seeds; ++seed) {
        const long count = countLong(pausesOf(seed, 1));
        most = std::max(most, count);
        seedsWithOne += count > 0 ? 1 : 0;
    }
    EXPECT_LE(most, long{Schedule::maxChangePoints});
    EXPECT_GT(seedsWithOne, 0);
}

TEST(Schedule, KeepsToTheLengthsThatItNames) {
    for (std::uint64_t seed = 0; seed < seeds; ++seed)
        for (const Pause& pause : pausesOf(seed, 0)) {
            if (pause.microseconds == 0) continue;
            ASSERT_GE(pause.microseconds, Schedule::shortest);
            ASSERT_LE(pause.microseconds, Schedule::longest);
            ASSERT_FALSE(pause.yields);
        }
}

// Beyond the last change point a thread keeps its priority. High: a delay at one point in 64, 47 of 3000 on the
// average. Low: at one in two or in eight, 375 at the least on the average.
TEST(Schedule, HasThreadsOfHighAndOfLowPriority) {
    long high = 0;
    long low = 0;
    for (std::uint64_t seed = 0; seed < seeds; ++seed) {
        long delays = 0;
        for (std::uint32_t i = 0; i < points; ++i) {
            const std::uint32_t number = Schedule::lastChangePoint + 1 + i;
            delays += Schedule(seed).at(2, number, pointOf(number)).microseconds != 0 ? 1 : 0;
        }
        high += delays < 150 ? 1 : 0;
        low += delays > 250 ? 1 : 0;
    }
    EXPECT_EQ(high + low, long{seeds});
    EXPECT_GT(high, long{seeds} / 4);
    EXPECT_GT(low, long{seeds} / 4);
}

TEST(Schedule, HoldsThreadsAsleepUnderHalfOfTheSeeds) {
    long asleep = 0;
    for (std::uint64_t seed = 0; seed < seeds; ++seed) asleep += Schedule(seed).holdsAsleep() ? 1 : 0;
    EXPECT_GT(asleep, long{seeds} * 2 / 5);
    EXPECT_LT(asleep, long{seeds} * 3 / 5);
}

} // namespace

} // namespace schedule
