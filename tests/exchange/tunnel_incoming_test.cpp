// One direction of a tunnelled connection, where it ends.
#include <gtest/gtest.h>

#include <exchange/TunnelIncoming.h>

#include "support/Bytes.h"

using namespace hostlink::exchange;

namespace {

struct Incoming {
    TunnelIncoming in{16, 0xFFFFFFFE};

    void take(uint32_t position, const std::string& text) {
        const ByteArray data = bytes(text);
        in.take({1, TunnelCommand::Data, position, data.data(), data.size()});
    }
    void finish(uint32_t position) { in.take({1, TunnelCommand::Finish, position, nullptr, 0}); }
    std::string waiting() const { return hex(in.waiting()); }
};

} // namespace

TEST(TunnelIncoming, TakesBytesInOrderOnce) {
    Incoming direction;
    direction.take(0xFFFFFFFE, "01 02 03");
    EXPECT_EQ(direction.in.position(), 1u); // past the wrap
    direction.take(0xFFFFFFFE, "01 02 03");
    direction.take(2, "05"); // a gap
    EXPECT_EQ(direction.waiting(), "01 02 03");
    direction.take(0xFFFFFFFF, "02 03 04");
    EXPECT_EQ(direction.waiting(), "01 02 03 04");
    EXPECT_EQ(direction.in.position(), 2u);
}

TEST(TunnelIncoming, TakesAsMuchAsThereIsRoomFor) {
    Incoming direction;
    direction.take(0xFFFFFFFE, "01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F 10 11");
    EXPECT_EQ(direction.in.waiting().size(), 16u);
    EXPECT_EQ(direction.in.position(), 14u);
    EXPECT_EQ(direction.in.room(), 0);
}

TEST(TunnelIncoming, TellsOfRoomOnceAQuarterIsFree) {
    Incoming direction;
    EXPECT_EQ(direction.in.room(), 16);
    direction.take(0xFFFFFFFE, "01 02 03 04 05 06 07 08 09 0A 0B 0C 0D");
    EXPECT_EQ(direction.in.room(), 0);
    EXPECT_TRUE(direction.in.written(1));
    EXPECT_EQ(direction.in.room(), 4);
    EXPECT_FALSE(direction.in.written(4)); // nobody waits any more
    EXPECT_EQ(direction.waiting(), "06 07 08 09 0A 0B 0C 0D");
}

TEST(TunnelIncoming, TellsNobodyWhoWasNotTurnedAway) {
    Incoming direction;
    direction.take(0xFFFFFFFE, "01 02");
    EXPECT_FALSE(direction.in.written(2));
}

TEST(TunnelIncoming, TheEndCountsAsAByte) {
    Incoming direction;
    direction.take(0xFFFFFFFE, "01");
    direction.finish(0); // a byte is missing
    EXPECT_FALSE(direction.in.finished());
    direction.finish(0xFFFFFFFF);
    EXPECT_TRUE(direction.in.finished());
    EXPECT_EQ(direction.in.position(), 0u);
    direction.finish(0xFFFFFFFF);
    EXPECT_EQ(direction.in.position(), 0u);
    direction.finish(0);
    EXPECT_EQ(direction.in.position(), 0u);
    direction.take(0, "02");
    EXPECT_EQ(direction.waiting(), "01");
}

TEST(TunnelIncoming, ALargeBufferIsToldAsFarAsTheNumberReaches) {
    const TunnelIncoming direction(100000, 0);
    EXPECT_EQ(direction.room(), 65535);
}
