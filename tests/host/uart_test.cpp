// The host on a serial line: what goes out, in which order, in which pieces.
#include <gtest/gtest.h>

#include "UartLine.h"
#include "support/Packets.h"

namespace {

using Told = std::vector<std::string>;

std::string ackOf(unsigned frameId) {
    return hex(responseFrame(0xA3, frameId));
}

} // namespace

TEST(HostUart, TakesPacketsByteByByte) {
    UartLine line;
    for (const unsigned char byte : messageEnd(1, 0, {1, 2, 3})) {
        EXPECT_EQ(line.transmit(), "");
        line.receive(ByteArray{byte});
    }
    EXPECT_EQ(line.transmit(1), ackOf(1));
    line.deliver();
    EXPECT_EQ(line.told, Told{"01 02 03"});
}

TEST(HostUart, TakesMoreBytesThanItHolds) {
    UartLine line({64, 16, 4, 1}, 13);
    line.receive(messageEnd(1, 0, {1, 2, 3}) + messageEnd(2, 0, {4}) + messageEnd(3, 0, {5, 6}));
    EXPECT_EQ(line.transmit(), ackOf(1) + " " + ackOf(2) + " " + ackOf(3));
    line.deliver();
    EXPECT_EQ(line.told, (Told{"01 02 03", "04", "05 06"}));
}

TEST(HostUart, ThePiecesInWhichBytesAreFetchedDoNotMatter) {
    for (uint16_t step = 1; step <= 20; ++step) {
        UartLine line;
        line.send({1, 0, 0});
        line.receive(messageEnd(1, 0, {9}));
        EXPECT_EQ(line.transmit(step), ackOf(1) + " " + hex(messageEnd(0, 0, {1, 0, 0}))) << step;
    }
}

TEST(HostUart, AnAnswerGoesOutBeforeAPacketAndNeverInsideOne) {
    UartLine line;
    line.send({1, 0, 0});
    uint8_t first[4];
    ASSERT_EQ(hostLinkHostUartTransmit(&line.uart, first, 4, line.now), 4);
    line.receive(messageEnd(1, 0, {9}));
    EXPECT_EQ(hex(first, 4) + " " + line.transmit(), hex(messageEnd(0, 0, {1, 0, 0})) + " " + ackOf(1));
}

TEST(HostUart, TellsWhetherThereIsOutput) {
    UartLine line;
    EXPECT_EQ(hostLinkHostUartHasOutput(&line.uart, line.now), 0);
    line.send({1, 0, 0});
    EXPECT_EQ(hostLinkHostUartHasOutput(&line.uart, line.now), 1);
    uint8_t byte;
    hostLinkHostUartTransmit(&line.uart, &byte, 1, line.now);
    EXPECT_EQ(hostLinkHostUartHasOutput(&line.uart, line.now), 1);
    line.transmit();
    EXPECT_EQ(hostLinkHostUartHasOutput(&line.uart, line.now), 0);
    line.receive(messageEnd(1, 0, {9}));
    EXPECT_EQ(hostLinkHostUartHasOutput(&line.uart, line.now), 1);
}

TEST(HostUart, WhereTooManyAnswersWaitTheOldestGoes) {
    UartLine line({64, 16, 8, 1});
    for (unsigned id = 1; id <= 6; ++id) line.receive(messageEnd(id, 0, {9}));
    EXPECT_EQ(line.transmit(), ackOf(3) + " " + ackOf(4) + " " + ackOf(5) + " " + ackOf(6));
}

TEST(HostUart, HalfAPacketIsRefusedWhenItsTimeIsOver) {
    UartLine line;
    line.receive("FF FE 0F 00 23 2A");
    EXPECT_EQ(line.wait(), 100U);
    line.advance(1099);
    EXPECT_EQ(line.transmit(), "");
    line.advance(1100);
    EXPECT_EQ(line.transmit(), hex(responseFrame(0x63, 0)));
    EXPECT_EQ(line.wait(), HOSTLINK_HOST_NEVER);
}

TEST(HostUart, APacketBehindOneThatWasCutOffIsTakenWhenItsTimeIsOver) {
    UartLine line;
    line.receive("FF FE 30 00 23 2A 00 00");
    line.receive(messageEnd(1, 0, {1, 2, 3}));
    line.receive(messageEnd(2, 0, {4}));
    EXPECT_EQ(line.transmit(), "");
    line.advance(1100);
    EXPECT_EQ(line.transmit(), ackOf(1) + " " + ackOf(2));
    line.deliver();
    EXPECT_EQ(line.told, (Told{"01 02 03", "04"}));
}

TEST(HostUart, EveryHalfPacketIsGivenUpWhenItsTimeIsOver) {
    UartLine line;
    line.receive("FF FE 30 00 23 2A 00 00");
    line.receive(messageEnd(1, 0, {1}));
    line.receive("FF FE 30 00 23 2B");
    line.advance(1100);
    EXPECT_EQ(line.transmit(), ackOf(1) + " " + hex(responseFrame(0x63, 0)));
    EXPECT_EQ(line.wait(), HOSTLINK_HOST_NEVER);
}

// Three beginnings in one: FF FE declares 65279 bytes, behind it stand a whole packet and half of another.
TEST(HostUart, WhatAFalseBeginningHidesIsTakenAndGivenUpAtTheSameTime) {
    UartLine line({}, 65535);
    line.receive("FF FE");
    line.now += 99;
    line.receive("FF FE 08 00");
    line.receive("FF FE 08 00");
    line.receive("FF FE 0D 00 00 00");
    EXPECT_EQ(line.transmit(), "");
    EXPECT_EQ(line.wait(), 100U);
    line.advance(line.now + 200);
    EXPECT_EQ(line.transmit(), "FF FE 08 00 63 FE 00 00 FF FE 08 00 63 00 00 00");
    EXPECT_EQ(line.wait(), HOSTLINK_HOST_NEVER);
}

TEST(HostUart, WaitsForWhicheverComesFirst) {
    UartLine line;
    EXPECT_EQ(line.wait(), HOSTLINK_HOST_NEVER);
    line.send({1, 0, 0});
    EXPECT_EQ(line.wait(), 0U);
    line.transmit();
    line.now += 950;
    line.receive("FF FE 0F 00");
    EXPECT_EQ(line.wait(), 50U) << "the response";
    line.receive(responseFrame(0xA3, 0)); // swallowed: the packet declares 15 bytes
    line.now += 49;
    EXPECT_EQ(line.wait(), 1U);
}

TEST(HostUart, AnApplicationAnswersFromWithinItsCallback) {
    UartLine line;
    line.setup.events.message = [](void* context, const uint8_t*, uint32_t) {
        static_cast<UartLine*>(static_cast<TestHost*>(context))->send({2, 0x80, 0});
    };
    line.start();
    line.receive(messageEnd(1, 0, {2, 0, 0}));
    EXPECT_EQ(line.deliver(), 1);
    EXPECT_EQ(line.transmit(), ackOf(1) + " " + hex(messageEnd(0, 0, {2, 0x80, 0})));
}
