// The host's own packets: cut, sent again, given up.
#include <gtest/gtest.h>

#include "UartLine.h"
#include "support/Packets.h"

namespace {

using Outcomes = std::vector<std::string>;

constexpr unsigned ack = 0xA3;
constexpr unsigned nack = 0x63;
constexpr unsigned both = 0xE3;
constexpr unsigned neither = 0x23;

/// A line on which the module answers with that frame id.
void answer(UartLine& line, unsigned flags) {
    line.receive(responseFrame(flags, 77));
}

std::string packetText(unsigned flags, unsigned frameId, unsigned packetId, const ByteArray& payload) {
    return hex(packetOf(flags, frameId, packetId, payload));
}

} // namespace

TEST(HostSender, SendsAMessageInOnePacket) {
    UartLine line;
    EXPECT_EQ(line.transmit(), "");
    line.send({4, 0, 0});
    EXPECT_EQ(line.transmit(), packetText(0x23, 0, 0, {4, 0, 0}));
    EXPECT_EQ(line.transmit(), "");
    EXPECT_TRUE(line.outcomes.empty());
    answer(line, ack);
    EXPECT_EQ(line.outcomes, Outcomes{"1 sent"});
    EXPECT_EQ(line.host.counts.sent, 1U);
    EXPECT_EQ(hostLinkHostQueued(&line.host), 0U);
}

TEST(HostSender, CutsALongMessageByThePacketSize) {
    UartLine line({32, 64, 1, 1});
    const ByteArray message = patternBytes(44); // two packets of 22, the second one last
    line.send(message);
    EXPECT_EQ(line.transmit(), packetText(0x03, 0, 0, slice(message, 0, 22)));
    EXPECT_EQ(line.transmit(), "");
    answer(line, ack);
    EXPECT_EQ(line.transmit(), packetText(0x23, 0, 1, slice(message, 22, 44)));
    answer(line, ack);
    EXPECT_EQ(line.outcomes, Outcomes{"1 sent"});
}

TEST(HostSender, EachMessageHasAFrameIdOfItsOwn) {
    UartLine line;
    for (unsigned id = 0; id < 300; ++id) {
        line.send({1, 0, 0});
        ASSERT_EQ(line.transmit(), packetText(0x23, id % 256, 0, {1, 0, 0}));
        answer(line, ack);
    }
}

TEST(HostSender, ARefusedPacketGoesOutAgainWithTheSameBytes) {
    UartLine line({32, 64, 1, 1});
    const ByteArray message = patternBytes(30);
    line.send(message);
    const std::string first = line.transmit();
    answer(line, nack);
    EXPECT_EQ(line.transmit(), "");
    EXPECT_EQ(line.wait(), 10U);
    line.now += 9;
    EXPECT_EQ(line.transmit(), "");
    line.now += 1;
    EXPECT_EQ(line.wait(), 0U);
    EXPECT_EQ(line.transmit(), first);
    answer(line, ack);
    EXPECT_EQ(line.transmit(), packetText(0x23, 0, 1, slice(message, 22, 30)));
    EXPECT_EQ(line.host.counts.retries, 1U);
}

TEST(HostSender, GivesUpAfterTheFourthRefusal) {
    UartLine line;
    line.send({1, 0, 0});
    line.send({2, 0, 0});
    for (int attempt = 1; attempt <= 4; ++attempt) {
        EXPECT_EQ(line.transmit(), packetText(0x23, 0, 0, {1, 0, 0})) << attempt;
        answer(line, nack);
        EXPECT_EQ(line.outcomes.size(), attempt == 4 ? 1U : 0U);
        line.now += 10;
    }
    EXPECT_EQ(line.outcomes, Outcomes{"1 refused"});
    EXPECT_EQ(line.host.counts.givenUp, 1U);
    EXPECT_EQ(line.transmit(), packetText(0x23, 1, 0, {2, 0, 0}));
}

TEST(HostSender, EachPacketHasItsOwnAttempts) {
    UartLine line({11, 8, 1, 1});
    line.send({1, 2, 3});
    for (int packet = 0; packet < 3; ++packet) {
        for (int refusal = 0; refusal < 3; ++refusal) {
            ASSERT_NE(line.transmit(), "");
            answer(line, nack);
            line.now += 10;
        }
        ASSERT_NE(line.transmit(), "");
        answer(line, ack);
    }
    EXPECT_EQ(line.outcomes, Outcomes{"1 sent"});
}

TEST(HostSender, GivesUpAtOnceWhenTheAnswerIsAnErrorOrNone) {
    UartLine line;
    line.send({1, 0, 0});
    line.send({2, 0, 0});
    line.transmit();
    answer(line, both);
    line.transmit();
    answer(line, neither);
    EXPECT_EQ(line.outcomes, (Outcomes{"1 error", "2 neither"}));
    EXPECT_EQ(line.transmit(), "");
}

TEST(HostSender, GivesUpWhenNoResponseCame) {
    UartLine line;
    line.send({1, 0, 0});
    line.send({2, 0, 0});
    line.transmit();
    EXPECT_EQ(line.wait(), 1000U);
    line.advance(1999);
    EXPECT_TRUE(line.outcomes.empty());
    EXPECT_EQ(line.wait(), 1U);
    line.advance(2000);
    EXPECT_EQ(line.outcomes, Outcomes{"1 no response"});
    EXPECT_EQ(line.transmit(), packetText(0x23, 1, 0, {2, 0, 0}));
}

TEST(HostSender, WaitsAcrossTheEndOfTheClock) {
    UartLine line;
    line.now = 0xFFFFFF00;
    line.send({1, 0, 0});
    line.transmit();
    line.advance(0x000002E7); // 999 ms later
    EXPECT_TRUE(line.outcomes.empty());
    answer(line, nack);
    line.advance(0x000002F0);
    EXPECT_EQ(line.transmit(), "");
    line.advance(0x000002F1);
    EXPECT_NE(line.transmit(), "");
    line.advance(0x000006D8);
    EXPECT_TRUE(line.outcomes.empty());
    line.advance(0x000006D9);
    EXPECT_EQ(line.outcomes, Outcomes{"1 no response"});
}

TEST(HostSender, AResponseThatNobodyWaitsForChangesNothing) {
    UartLine line;
    answer(line, ack);
    line.send({1, 0, 0});
    answer(line, nack);
    EXPECT_EQ(line.transmit(), packetText(0x23, 0, 0, {1, 0, 0}));
    answer(line, ack);
    answer(line, ack);
    EXPECT_EQ(line.outcomes, Outcomes{"1 sent"});
    EXPECT_EQ(line.host.counts.strays, 3U);
}

TEST(HostSender, AResponseBeforeTheLastByteIsOutAnswersSomethingElse) {
    UartLine line;
    line.send({1, 0, 0});
    uint8_t bytes[12];
    ASSERT_EQ(hostLinkHostUartTransmit(&line.uart, bytes, 12, line.now), 12);
    answer(line, ack);
    EXPECT_EQ(line.host.counts.strays, 1U);
    EXPECT_EQ(line.transmit(), "00");
    answer(line, ack);
    EXPECT_EQ(line.outcomes, Outcomes{"1 sent"});
}

TEST(HostSender, AnIdOfWhichTheModuleMayHoldAPartIsNotUsedAgain) {
    UartLine line({32, 64, 1, 1});
    const auto nextId = [&line] { return line.fetch()[5]; };
    line.send(patternBytes(30)); // two packets: id 0
    EXPECT_EQ(nextId(), 0);
    answer(line, both);
    line.send({1, 0, 0}); // one packet: id 1
    EXPECT_EQ(nextId(), 1);
    answer(line, both);
    for (unsigned id = 2; id < 256; ++id) {
        line.send({1, 0, 0});
        ASSERT_EQ(nextId(), id);
        answer(line, ack);
    }
    line.send({1, 0, 0});
    EXPECT_EQ(nextId(), 1) << "0 is spoiled, 1 is not";
}

TEST(HostSender, TheLastPacketOfALongMessageSpoilsItsIdToo) {
    UartLine line({32, 64, 1, 1});
    line.send(patternBytes(30));
    line.transmit();
    answer(line, ack);
    line.transmit();
    answer(line, both);
    for (unsigned id = 1; id < 256; ++id) {
        line.send({1, 0, 0});
        ASSERT_EQ(line.fetch()[5], id);
        answer(line, ack);
    }
    line.send({1, 0, 0});
    EXPECT_EQ(line.fetch()[5], 1);
}

TEST(HostSender, WhenAllIdsAreSpoiledTheyAreUsedAgain) {
    UartLine line({32, 64, 1, 1});
    for (unsigned id = 0; id < 256; ++id) {
        line.send(patternBytes(30));
        ASSERT_EQ(line.fetch()[5], id);
        answer(line, both);
    }
    line.send(patternBytes(30));
    EXPECT_EQ(line.fetch()[5], 0);
}

TEST(HostSender, AResetForgivesTheIds) {
    UartLine line({32, 64, 1, 1});
    line.send(patternBytes(30));
    line.transmit();
    answer(line, both);
    line.answerTo("FF FE 08 00 21 4E 00 00");
    for (unsigned count = 0; count < 255; ++count) {
        line.send({1, 0, 0});
        line.transmit();
        answer(line, ack);
    }
    line.send({1, 0, 0});
    EXPECT_EQ(line.fetch()[5], 0);
}

TEST(HostSender, AResetInTheMiddleOfAPacketLetsItsBytesGoOut) {
    UartLine line;
    line.send({1, 0, 0});
    uint8_t bytes[5];
    ASSERT_EQ(hostLinkHostUartTransmit(&line.uart, bytes, 5, line.now), 5);
    line.receive("FF FE 08 00 21 03 00 00");
    line.send({2, 0, 0});
    EXPECT_EQ(line.transmit(), "00 00 00 01 00 00 00 00 FF FE 08 00 A3 03 00 00 " + packetText(0x23, 1, 0, {2, 0, 0}));
    answer(line, ack);
    EXPECT_EQ(line.outcomes, (Outcomes{"1 reset", "2 sent"}));
}
