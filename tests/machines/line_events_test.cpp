// Events of an interrupt line as the kernel writes them, byte by byte, and what is to be served for them.
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "hostlink/machines/LineEvents.h"
#include "support/Bytes.h"

namespace {

using testing::ElementsAre;

// One event, 48 bytes, low byte first: time, kind, offset of the line, its number in the request, its number on the
// line.
ByteArray event(const std::string& time, const std::string& kind, const std::string& number) {
    return bytes(time + kind + " 11 00 00 00 " + number + " " + number +
                 " 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00");
}

const std::string falling = " 02 00 00 00";
const std::string rising = " 01 00 00 00";
const std::string second1 = "00 CA 9A 3B 00 00 00 00"; // 1000000000 ns
const std::string second2 = "00 94 35 77 00 00 00 00";
const std::string second3 = "00 5E D0 B2 00 00 00 00";

ByteArray operator+(ByteArray left, const ByteArray& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

/// What is decided, as edges and lost.
std::vector<unsigned> take(LineEvents& events, const ByteArray& read) {
    const LineEvents::Decision decision = events.take(read.data(), read.size());
    return {static_cast<unsigned>(decision.edges), decision.lost};
}

TEST(LineEvents, EventIsAsLongAsTheKernelsOwn) {
    EXPECT_EQ(event(second1, falling, "01 00 00 00").size(), 48U);
    EXPECT_EQ(LineEvents::eventBytes, 48U);
}

TEST(LineEvents, EachFallingEdgeIsServed) {
    LineEvents events;
    EXPECT_THAT(take(events, event(second1, falling, "01 00 00 00")), ElementsAre(1, 0));
    EXPECT_THAT(take(events, event(second2, falling, "02 00 00 00") + event(second2, falling, "03 00 00 00") +
                                 event(second3, falling, "04 00 00 00")),
                ElementsAre(3, 0));
    EXPECT_THAT(take(events, {}), ElementsAre(0, 0));
}

TEST(LineEvents, RisingEdgeIsNumberedButNotServed) {
    LineEvents events;
    EXPECT_THAT(take(events, event(second1, rising, "01 00 00 00") + event(second2, falling, "02 00 00 00")),
                ElementsAre(1, 0));
}

TEST(LineEvents, GapTellsHowManyWereLost) {
    LineEvents events;
    EXPECT_THAT(take(events, event(second1, falling, "01 00 00 00") + event(second2, falling, "05 00 00 00")),
                ElementsAre(2, 3));
    EXPECT_THAT(take(events, event(second3, falling, "06 01 00 00")), ElementsAre(1, 256)) << "6 to 0x105";
    EXPECT_THAT(take(events, event(second3, falling, "07 01 00 00")), ElementsAre(1, 0));
}

TEST(LineEvents, FirstEventIsNumberOne) {
    LineEvents events;
    EXPECT_THAT(take(events, event(second1, falling, "03 00 00 00")), ElementsAre(1, 2));
}

TEST(LineEvents, NumbersGoRound) {
    LineEvents events;
    take(events, event(second1, falling, "FE FF FF FF"));
    EXPECT_THAT(take(events, event(second1, falling, "FF FF FF FF") + event(second2, falling, "00 00 00 00") +
                                 event(second3, falling, "02 00 00 00")),
                ElementsAre(3, 1));
}

TEST(LineEvents, PartOfAnEventIsNone) {
    LineEvents events;
    ByteArray cut = event(second1, falling, "01 00 00 00") + event(second2, falling, "02 00 00 00");
    cut.pop_back();
    EXPECT_THAT(take(events, cut), ElementsAre(1, 0));
    for (const std::size_t size : {0U, 1U, 47U}) EXPECT_THAT(take(events, ByteArray(size, 0x02)), ElementsAre(0, 0));
}

// --- Levels ---

TEST(LineEvents, LowLineWithoutAnEventIsAnEdge) {
    LineEvents events;
    EXPECT_EQ(events.look(true, 1500000000), 1U);
    EXPECT_EQ(events.look(false, 1500000000), 0U);
}

TEST(LineEvents, EventOfAnEdgeThatItsLevelHasToldIsNotServedAgain) {
    LineEvents events;
    events.look(true, 1500000000);
    EXPECT_THAT(take(events, event(second1, falling, "01 00 00 00") + event(second2, falling, "02 00 00 00")),
                ElementsAre(1, 0));
    EXPECT_THAT(take(events, event(second1, falling, "03 00 00 00")), ElementsAre(1, 0)) << "it was one edge";
}

TEST(LineEvents, EventAtTheTimeOfTheLookIsThatEdge) {
    LineEvents events;
    events.look(true, 1000000000);
    EXPECT_THAT(take(events, event(second1, falling, "01 00 00 00")), ElementsAre(0, 0));
}

// Two came before the look: the level stands for one of them.
TEST(LineEvents, OnlyOneEventStandsForTheLevel) {
    LineEvents events;
    events.look(true, 2500000000);
    EXPECT_THAT(take(events, event(second1, falling, "01 00 00 00") + event(second2, falling, "02 00 00 00")),
                ElementsAre(1, 0));
}

TEST(LineEvents, LaterEventIsAnotherEdge) {
    LineEvents events;
    events.look(true, 1500000000);
    EXPECT_THAT(take(events, event(second2, falling, "01 00 00 00")), ElementsAre(1, 0));
    EXPECT_THAT(take(events, event(second1, falling, "02 00 00 00")), ElementsAre(1, 0))
        << "nothing from before the look comes behind it";
}

TEST(LineEvents, HighLineStandsForNoEvent) {
    LineEvents events;
    events.look(false, 1500000000);
    EXPECT_THAT(take(events, event(second1, falling, "01 00 00 00")), ElementsAre(1, 0));
}

TEST(LineEvents, TimesAreReadWhole) {
    LineEvents events;
    events.look(true, 0x0102030405060708);
    EXPECT_THAT(take(events, event("09 07 06 05 04 03 02 01", falling, "01 00 00 00")), ElementsAre(1, 0));
    events.look(true, 0x0102030405060708);
    EXPECT_THAT(take(events, event("08 07 06 05 04 03 02 01", falling, "02 00 00 00")), ElementsAre(0, 0));
}

} // namespace
