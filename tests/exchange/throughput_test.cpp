// Throughput and what is left.
#include <gtest/gtest.h>

#include <exchange/Throughput.h>

using namespace hostlink::exchange;
using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::seconds;

TEST(Throughput, IsUnknownBeforeAnythingMoves) {
    const Throughput speed(seconds(10));
    EXPECT_EQ(speed.rate(seconds(10)), 0);
    EXPECT_FALSE(speed.left(100, seconds(10)));
}

TEST(Throughput, IsBytesASecondSinceTheBeginning) {
    Throughput speed(seconds(10));
    speed.note(500, seconds(11));
    speed.note(1000, seconds(12));
    EXPECT_DOUBLE_EQ(speed.rate(seconds(12)), 500);
    EXPECT_EQ(speed.left(2000, seconds(12)), Time(seconds(2)));
    EXPECT_EQ(speed.left(1000, seconds(12)), Time(seconds(0)));
    EXPECT_EQ(speed.left(900, seconds(12)), Time(seconds(0)));
}

// 1000 bytes a second for 10 s, then 100 a second for 5: nothing of the first is left in it.
TEST(Throughput, ForgetsWhatIsOlderThanItsWindow) {
    Throughput speed(seconds(0));
    for (int i = 1; i <= 100; ++i) speed.note(static_cast<uint64_t>(100 * i), milliseconds(100 * i));
    for (int i = 1; i <= 5; ++i) speed.note(static_cast<uint64_t>(10000 + 100 * i), seconds(10 + i));
    EXPECT_DOUBLE_EQ(speed.rate(seconds(15)), 100);
}

TEST(Throughput, ManyMarksAtOnceAreOne) {
    Throughput speed(seconds(0));
    for (int i = 0; i < 1000; ++i) speed.note(static_cast<uint64_t>(i), milliseconds(50));
    speed.note(2000, seconds(2));
    EXPECT_DOUBLE_EQ(speed.rate(seconds(2)), 1000);
}

TEST(Throughput, FallsWhileNothingMoves) {
    Throughput speed(seconds(0));
    speed.note(1000, seconds(1));
    EXPECT_DOUBLE_EQ(speed.rate(seconds(4)), 250);
}

TEST(Throughput, DoesNotLookFurtherThanATimeCanHold) {
    Throughput speed(seconds(0));
    speed.note(1, hours(1000));
    EXPECT_FALSE(speed.left(UINT64_MAX, hours(1000)));
}
