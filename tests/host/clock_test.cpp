// Times that wrap.
#include <gtest/gtest.h>

#include <host/Clock.h>

using namespace hostlink;

TEST(HostClock, IsDueFromItsMomentForHalfOfTheRange) {
    EXPECT_FALSE(isDue(1000, 999));
    EXPECT_TRUE(isDue(1000, 1000));
    EXPECT_TRUE(isDue(1000, 1000 + 0x7FFFFFFFU));
    EXPECT_FALSE(isDue(1000, 1000 + 0x80000000U));
    EXPECT_FALSE(isDue(5, 0xFFFFFFFFU));
    EXPECT_TRUE(isDue(0xFFFFFFFFU, 5));
}

TEST(HostClock, TellsTheTimeThatIsLeft) {
    EXPECT_EQ(timeUntil(1000, 990), 10U);
    EXPECT_EQ(timeUntil(1000, 1000), 0U);
    EXPECT_EQ(timeUntil(1000, 2000), 0U);
    EXPECT_EQ(timeUntil(5, 0xFFFFFFFFU), 6U);
}
