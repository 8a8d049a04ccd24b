// What the reply to an IRQ frame means. Every packet is written out by hand: FF FE, length, flags, frame id, packet id,
// 0, then payload and two zero bytes where there is a payload.
#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <hostlink/machines/IrqExchange.h>

#include "support/Bytes.h"
#include "support/TestSeed.h"

namespace {

using Verdict = IrqExchange::Verdict;

const ByteArray ack = bytes("FF FE 08 00 A3 05 00 00");
const ByteArray nack = bytes("FF FE 08 00 63 05 00 00");
const ByteArray neither = bytes("FF FE 08 00 23 05 00 00");
const ByteArray ackNack = bytes("FF FE 08 00 E3 05 00 00");
const ByteArray announcement200 = bytes("FF FE 0E 00 22 05 00 00 C8 00 00 00 00 00");
const ByteArray message = bytes("FF FE 0F 00 23 07 00 00 02 00 01 15 00 00 00");
const ByteArray messagePart = bytes("FF FE 0B 00 03 07 00 00 02 00 00");
const ByteArray reset = bytes("FF FE 08 00 21 05 00 00");

// "verdict value", and for a reported acknowledgement whether there had been a retry.
std::string textOf(const IrqExchange::Decision& decision) {
    const std::string value = " " + std::to_string(decision.value);
    switch (decision.verdict) {
    case Verdict::Invalid: return "invalid";
    case Verdict::Announcement: return "announcement" + value;
    case Verdict::Message: return "message";
    case Verdict::Retry: return "retry";
    case Verdict::Reported: return "reported" + value + (decision.alreadyRetried ? " retried" : " not retried");
    case Verdict::Unsupported: return "unsupported" + value;
    }
    return "?";
}

std::string decide(IrqExchange& exchange, const ByteArray& reply) {
    return textOf(exchange.decide(reply));
}

std::string decide(const ByteArray& reply) {
    IrqExchange exchange;
    return decide(exchange, reply);
}

/// An exchange whose retry has been used up.
IrqExchange refusedOnce() {
    IrqExchange exchange;
    exchange.decide(nack);
    return exchange;
}

bool remembersRetry(IrqExchange& exchange) {
    return decide(exchange, nack) == "reported 1 retried";
}

ByteArray padded(ByteArray packet, size_t size) {
    packet.resize(size, 0xFF);
    return packet;
}

// --- One reply ---

TEST(IrqExchange, MessagePacketIsAMessage) {
    EXPECT_EQ(decide(message), "message");
    EXPECT_EQ(decide(messagePart), "message");
}

TEST(IrqExchange, IrqFrameAnnouncesItsValue) {
    EXPECT_EQ(decide(announcement200), "announcement 200");
    EXPECT_EQ(decide(bytes("FF FE 0E 00 22 00 00 00 01 00 00 00 00 00")), "announcement 1");
    EXPECT_EQ(decide(bytes("FF FE 0E 00 22 00 00 00 34 12 00 00 00 00")), "announcement 4660");
}

TEST(IrqExchange, IrqFrameWithoutAUsableValueAnnouncesZero) {
    EXPECT_EQ(decide(bytes("FF FE 0E 00 22 00 00 00 00 00 00 00 00 00")), "announcement 0");
    EXPECT_EQ(decide(bytes("FF FE 08 00 22 00 00 00")), "announcement 0");                // no payload at all
    EXPECT_EQ(decide(bytes("FF FE 0D 00 22 00 00 00 C8 00 00 00 00")), "announcement 0"); // one byte too few
}

TEST(IrqExchange, IrqFrameBeyondTheSignedRangeAnnouncesANegativeSize) {
    EXPECT_EQ(decide(bytes("FF FE 0E 00 22 00 00 00 FF FF FF FF 00 00")), "announcement -1");
    EXPECT_EQ(decide(bytes("FF FE 0E 00 22 00 00 00 00 00 00 80 00 00")), "announcement -2147483648");
    EXPECT_EQ(decide(bytes("FF FE 0E 00 22 00 00 00 FF FF FF 7F 00 00")), "announcement 2147483647");
}

TEST(IrqExchange, NackIsWorthARetry) {
    EXPECT_EQ(decide(nack), "retry");
}

TEST(IrqExchange, OtherAcknowledgementsAreReported) {
    EXPECT_EQ(decide(neither), "reported 0 not retried");
    EXPECT_EQ(decide(ack), "reported 2 not retried");
    EXPECT_EQ(decide(ackNack), "reported 3 not retried");
}

TEST(IrqExchange, OtherFrameTypesAreUnsupported) {
    EXPECT_EQ(decide(reset), "unsupported 1");
    // The type is the lowest three bits of the flags; 3 is a message.
    const std::vector<std::pair<int, const char*>> flags{{0, "20"}, {4, "24"}, {5, "25"}, {6, "26"}, {7, "27"}};
    for (const auto& [type, flag] : flags) {
        const ByteArray packet = bytes(std::string("FF FE 0B 00 ") + flag + " 00 00 00 2A 00 00");
        EXPECT_EQ(decide(packet), type == 0 ? "reported 0 not retried" : "unsupported " + std::to_string(type));
    }
}

TEST(IrqExchange, WhatDoesNotVerifyIsInvalid) {
    EXPECT_EQ(decide({}), "invalid");
    EXPECT_EQ(decide(bytes("FF")), "invalid");
    EXPECT_EQ(decide(bytes("FF FE 08 00 A3 05 00")), "invalid");          // a header is 8 bytes
    EXPECT_EQ(decide(bytes("FF FE 0A 00 23 07 00 00 00 00")), "invalid"); // a payload has a byte at least
    EXPECT_EQ(decide(bytes("FF FE 09 00 23 07 00 00 00")), "invalid");
    EXPECT_EQ(decide(bytes("FF FE 00 00 23 07 00 00")), "invalid");
    EXPECT_EQ(decide(slice(message, 0, message.size() - 1)), "invalid");
    EXPECT_EQ(decide(bytes("FE FF 08 00 A3 05 00 00")), "invalid");
    EXPECT_EQ(decide(bytes("00 FE 08 00 A3 05 00 00")), "invalid");
    EXPECT_EQ(decide(ByteArray(64, 0xFF)), "invalid");
    EXPECT_EQ(decide(ByteArray(64, 0x00)), "invalid");
}

TEST(IrqExchange, BytesBehindThePacketDoNotMatter) {
    EXPECT_EQ(decide(padded(message, 64)), "message");
    EXPECT_EQ(decide(padded(nack, 64)), "retry");
    EXPECT_EQ(decide(padded(announcement200, 64)), "announcement 200");
    EXPECT_EQ(decide(padded(reset, 64)), "unsupported 1");
}

// --- The mark that a retry was made ---

TEST(IrqExchange, SecondNackIsReported) {
    IrqExchange exchange = refusedOnce();
    EXPECT_EQ(decide(exchange, nack), "reported 1 retried");
}

TEST(IrqExchange, MarkStaysAcrossExchangesUntilTheHostAnswers) {
    IrqExchange exchange = refusedOnce();
    for (int i = 0; i < 5; ++i) EXPECT_EQ(decide(exchange, nack), "reported 1 retried");
    EXPECT_EQ(decide(exchange, message), "message");
    EXPECT_EQ(decide(exchange, nack), "retry");
}

TEST(IrqExchange, MessageClearsTheMark) {
    IrqExchange exchange = refusedOnce();
    exchange.decide(messagePart);
    EXPECT_EQ(decide(exchange, nack), "retry");
}

TEST(IrqExchange, AnnouncementClearsTheMark) {
    IrqExchange exchange = refusedOnce();
    exchange.decide(announcement200);
    EXPECT_EQ(decide(exchange, nack), "retry");
}

TEST(IrqExchange, AnythingElseLeavesTheMark) {
    for (const ByteArray& reply : {ack, neither, ackNack, reset, ByteArray(), ByteArray(64, 0xFF)}) {
        IrqExchange exchange = refusedOnce();
        exchange.decide(reply);
        EXPECT_TRUE(remembersRetry(exchange)) << hex(reply);
    }
}

TEST(IrqExchange, OtherAcknowledgementsTellOfTheRetry) {
    for (const auto& [reply, text] : {std::pair{ack, "reported 2 retried"}, std::pair{neither, "reported 0 retried"},
                                      std::pair{ackNack, "reported 3 retried"}}) {
        IrqExchange exchange = refusedOnce();
        EXPECT_EQ(decide(exchange, reply), text);
    }
}

TEST(IrqExchange, OtherAcknowledgementsDoNotUseUpTheRetry) {
    IrqExchange exchange;
    exchange.decide(neither);
    exchange.decide(ackNack);
    exchange.decide(ack);
    EXPECT_EQ(decide(exchange, nack), "retry");
}

TEST(IrqExchange, TwoExchangesDoNotShareTheMark) {
    IrqExchange first = refusedOnce();
    IrqExchange second;
    EXPECT_EQ(decide(second, nack), "retry");
    EXPECT_TRUE(remembersRetry(first));
}

// --- Any reply ---

// Whatever comes: a refusal is retried exactly when none was since the last good answer.
TEST(IrqExchange, RetriesOnceBetweenGoodAnswersWhateverComes) {
    std::mt19937 generator = seededGenerator();
    const std::vector<ByteArray> replies{ack, nack, neither, ackNack, announcement200, message, reset, {}};
    IrqExchange exchange;
    bool retried = false;
    for (int i = 0; i < 100000; ++i) {
        const ByteArray& reply = replies[generator() % replies.size()];
        const std::string decision = decide(exchange, reply);
        if (reply == nack) {
            ASSERT_EQ(decision, retried ? "reported 1 retried" : "retry") << "after " << i;
            retried = true;
        }
        if (reply == message || reply == announcement200) retried = false;
    }
}

// The rule of what verifies, written once more.
bool verifies(const ByteArray& reply) {
    if (reply.size() < 8) return false;
    const size_t length = reply[2] + 256U * reply[3];
    return (length == 8 || length > 10) && length <= reply.size() && reply[0] == 0xFF && reply[1] == 0xFE;
}

TEST(IrqExchange, RandomBytesAreInvalidExactlyWhenTheyDoNotVerify) {
    std::mt19937 generator = seededGenerator();
    const ByteArray start = bytes("FF FE 0C 00");
    IrqExchange exchange;
    int valid = 0;
    for (int i = 0; i < 100000; ++i) {
        ByteArray reply = randomBytes(generator, generator() % 24);
        const size_t good = std::min<size_t>(generator() % 5, reply.size());
        std::copy_n(start.begin(), good, reply.begin());
        reply.shrink_to_fit();
        ASSERT_EQ(decide(exchange, reply) != "invalid", verifies(reply)) << hex(reply);
        valid += verifies(reply);
    }
    EXPECT_GT(valid, 1000);
}

} // namespace
