// The ring of messages that wait to be sent.
#include <deque>

#include <gtest/gtest.h>

#include <host/OutQueue.h>

#include "TestHost.h"
#include "support/Properties.h"

using namespace hostlink;

namespace {

constexpr uint32_t tooShort = 10;
constexpr uint32_t tooLong = 32;
constexpr uint32_t noRoom = 16;

std::string front(TestHost& test) {
    const QueuedMessage message = frontMessage(test.host);
    return message.bytes == nullptr ? "none" : hex(message.bytes, message.length);
}

std::string pop(TestHost& test) {
    std::string text = front(test);
    finishFront(test.host, OUT_Sent);
    return text;
}

} // namespace

TEST(HostQueue, MessagesComeOutInTheirOrder) {
    TestHost test({64, 4, 1, 3});
    EXPECT_EQ(front(test), "none");
    EXPECT_EQ(test.send({1}), 0U);
    EXPECT_EQ(test.send({2, 2}), 0U);
    EXPECT_EQ(hostLinkHostQueued(&test.host), 2U);
    EXPECT_EQ(front(test), "01");
    EXPECT_EQ(pop(test), "01");
    EXPECT_EQ(pop(test), "02 02");
    EXPECT_EQ(front(test), "none");
    EXPECT_EQ(hostLinkHostQueued(&test.host), 0U);
    EXPECT_EQ(test.outcomes, (std::vector<std::string>{"1 sent", "2 sent"}));
}

TEST(HostQueue, HoldsAsManyOfTheLongestAsItWasMadeFor) {
    for (uint32_t length = 1; length <= 5; ++length) {
        TestHost test({64, 6, 1, length});
        // Wherever the ring stands.
        for (int turn = 0; turn < 40; ++turn) {
            for (uint32_t i = 0; i < length; ++i) ASSERT_EQ(test.send(patternBytes(6)), 0U) << "turn " << turn;
            for (uint32_t i = 0; i < length; ++i) ASSERT_EQ(pop(test), hex(patternBytes(6)));
            ASSERT_EQ(test.send({1}), 0U);
            pop(test);
        }
    }
}

TEST(HostQueue, IsFullWithoutALossAndHasRoomAgain) {
    TestHost test({64, 3, 1, 1}); // ten bytes
    EXPECT_EQ(test.send({1, 1, 1}), 0U);
    EXPECT_EQ(test.send({2, 2, 2}), noRoom) << "the ring would look empty";
    EXPECT_EQ(test.send({2, 2}), 0U);
    EXPECT_EQ(test.send({3}), noRoom);
    EXPECT_EQ(pop(test), "01 01 01");
    EXPECT_EQ(test.send({3, 3}), 0U);
    EXPECT_EQ(pop(test), "02 02");
    EXPECT_EQ(pop(test), "03 03");
}

TEST(HostQueue, RefusesWhatCanNeverBeSent) {
    TestHost test({64, 6, 1, 1}); // sixteen bytes
    EXPECT_EQ(test.send({}), tooShort);
    EXPECT_EQ(test.send(patternBytes(6)), 0U);
    EXPECT_EQ(test.send(patternBytes(7)), tooLong);
    EXPECT_EQ(hostLinkHostQueued(&test.host), 1U);
}

TEST(HostQueue, RefusesWhatNoFrameCarries) {
    TestHost narrow({11, 300, 1, 1}); // a byte in a packet
    EXPECT_EQ(narrow.send(patternBytes(256)), 0U);
    EXPECT_EQ(narrow.send(patternBytes(257)), tooLong);
    TestHost wide({1000, 65540, 1, 1});
    EXPECT_EQ(wide.send(patternBytes(65535)), 0U);
    pop(wide);
    EXPECT_EQ(wide.send(patternBytes(65536)), tooLong);
}

TEST(HostQueue, TellsTheTicket) {
    TestHost test;
    uint32_t ticket = 0;
    const uint8_t message[] = {1, 2, 3};
    EXPECT_EQ(hostLinkHostSend(&test.host, message, 3, &ticket), 0U);
    EXPECT_EQ(ticket, 1U);
    EXPECT_EQ(hostLinkHostSend(&test.host, message, 0, &ticket), tooShort);
    EXPECT_EQ(ticket, 1U);
    EXPECT_EQ(hostLinkHostSend(&test.host, message, 3, &ticket), 0U);
    EXPECT_EQ(ticket, 2U);
}

TEST(HostQueue, IsAQueueWhateverGoesThrough) {
    holds("any lengths, any turns", [] {
        const auto size = *rc::gen::inRange<uint32_t>(10, 80);
        TestHost test({64, 80, 1, 1});
        test.setup.queueSize = size;
        RC_ASSERT(test.start() == 0U);
        std::deque<std::string> expected;
        for (int step = 0; step < 200; ++step) {
            if (*rc::gen::inRange(0, 5) < 3) {
                const auto length = *rc::gen::inRange<size_t>(1, size / 2 - 1);
                const ByteArray message(length, static_cast<unsigned char>(step));
                const uint32_t code = test.send(message);
                RC_ASSERT(code == 0U || (code == noRoom && !expected.empty()));
                if (code == 0U) expected.push_back(hex(message));
            } else if (!expected.empty()) {
                RC_ASSERT(pop(test) == expected.front());
                expected.pop_front();
            }
            RC_ASSERT(hostLinkHostQueued(&test.host) == expected.size());
        }
    });
}
