// When a packet is taken for the one before it.
#include <gtest/gtest.h>

#include <host/Repetition.h>

#include "support/Bytes.h"
#include "support/Packets.h"

using namespace hostlink;

namespace {

constexpr uint16_t window = 500;

class Memory {
public:
    void take(const ByteArray& packet, uint32_t now) {
        rememberTaken(last, packet.data(), static_cast<uint16_t>(packet.size()), now);
    }
    void hear(const ByteArray& packet) { noteHeard(last, packet.data()); }
    bool isAgain(const ByteArray& packet, uint32_t now) {
        hear(packet);
        return isRepetition(last, packet.data(), static_cast<uint16_t>(packet.size()), now, window);
    }
    void pass(uint32_t now) { forgetOld(last, now, window); }

private:
    HostLinkHostLast last{};
};

} // namespace

TEST(HostRepetition, NothingRepeatsNothing) {
    Memory memory;
    EXPECT_FALSE(memory.isAgain(messageEnd(1, 0, {1, 2, 3}), 0));
    EXPECT_FALSE(memory.isAgain(messageEnd(1, 0, {1, 2, 3}), 0xFFFFFFFF));
}

TEST(HostRepetition, TheSameBytesWithinTheWindowAreOne) {
    Memory memory;
    memory.take(messageEnd(1, 0, {1, 2, 3}), 1000);
    EXPECT_TRUE(memory.isAgain(messageEnd(1, 0, {1, 2, 3}), 1010));
    EXPECT_TRUE(memory.isAgain(messageEnd(1, 0, {1, 2, 3}), 1499));
    EXPECT_FALSE(memory.isAgain(messageEnd(1, 0, {1, 2, 3}), 1500));
}

TEST(HostRepetition, AnyOtherByteIsAnotherPacket) {
    Memory memory;
    const ByteArray packet = messageEnd(1, 0, {1, 2, 3, 4});
    memory.take(packet, 0);
    for (size_t at = 4; at < packet.size(); ++at) {
        if (at == 5) continue; // the frame id, below
        ByteArray other = packet;
        other[at] ^= 0x10;
        EXPECT_FALSE(memory.isAgain(other, 1)) << "byte " << at;
    }
    EXPECT_FALSE(memory.isAgain(messageEnd(1, 0, {1, 2, 3}), 1));
    EXPECT_TRUE(memory.isAgain(packet, 1));
    EXPECT_FALSE(memory.isAgain(messageEnd(2, 0, {1, 2, 3, 4}), 1));
}

TEST(HostRepetition, TheFirstPacketOfALifeIsHeardEachTime) {
    Memory memory;
    memory.take(messageEnd(0, 0, {1, 2, 3}), 0);
    EXPECT_FALSE(memory.isAgain(messageEnd(0, 0, {1, 2, 3}), 1));
    memory.take(messageEnd(0, 1, {1, 2, 3}), 0);
    EXPECT_TRUE(memory.isAgain(messageEnd(0, 1, {1, 2, 3}), 1));
}

TEST(HostRepetition, AnIdFromBeforeMeansThatTheModuleHasStartedOver) {
    Memory memory;
    const ByteArray packet = messageEnd(1, 0, {1, 2, 3});
    memory.take(packet, 0);
    memory.hear(responseFrame(0xA3, 0));
    EXPECT_FALSE(memory.isAgain(packet, 1));
}

TEST(HostRepetition, LaterIdsAreThoseThatTheModuleDrewMeanwhile) {
    Memory memory;
    const ByteArray packet = messageEnd(200, 0, {1, 2, 3});
    memory.take(packet, 0);
    memory.hear(responseFrame(0xA3, 201));
    memory.hear(responseFrame(0xA3, 71)); // 127 further on
    EXPECT_TRUE(memory.isAgain(packet, 1));
    memory.hear(responseFrame(0xA3, 72));
    EXPECT_FALSE(memory.isAgain(packet, 1));
}

TEST(HostRepetition, TheIdRightBeforeMayComeAfterwards) {
    Memory memory;
    const ByteArray packet = messageEnd(3, 0, {1, 2, 3});
    memory.take(packet, 0);
    memory.hear(responseFrame(0xA3, 2));
    EXPECT_TRUE(memory.isAgain(packet, 1)) << "another thread of the module had drawn it";
    memory.hear(responseFrame(0xA3, 1));
    EXPECT_FALSE(memory.isAgain(packet, 1));
}

TEST(HostRepetition, TheWindowIsMeasuredAcrossTheEndOfTheClock) {
    Memory memory;
    const ByteArray packet = messageEnd(1, 0, {1, 2, 3});
    memory.take(packet, 0xFFFFFF00);
    EXPECT_TRUE(memory.isAgain(packet, 0xF3));
    EXPECT_FALSE(memory.isAgain(packet, 0xF4)) << "500 ms";
}

TEST(HostRepetition, IsForgottenBeforeTheClockComesRound) {
    Memory memory;
    const ByteArray packet = messageEnd(1, 0, {1, 2, 3});
    memory.take(packet, 1000);
    memory.pass(1499);
    EXPECT_TRUE(memory.isAgain(packet, 1000));
    memory.pass(1500);
    EXPECT_FALSE(memory.isAgain(packet, 1000)) << "49 days later";
}
