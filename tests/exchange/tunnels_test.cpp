// Both ends of tunnels, message by message and over a wire that loses and damages.
#include <algorithm>
#include <random>

#include <gtest/gtest.h>

#include <exchange/Tunnels.h>

#include "support/Bytes.h"
#include "support/Watchdog.h"

using namespace hostlink::exchange;
using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

using Kind = TunnelEvent::Kind;

TunnelOptions options() {
    TunnelOptions given;
    given.pace.smallestChunk = 8;
    given.pace.largestChunk = 64;
    given.pace.buffer = 128;
    given.mostConnections = 3;
    return given;
}

// One end with what its sockets were told.
struct End {
    Tunnels tunnels{options()};
    std::string told; // "connect 1, close 1"
    std::map<uint16_t, ByteArray> written;

    std::string events() {
        std::string text;
        while (const auto event = tunnels.nextEvent()) {
            static const std::map<Kind, std::string> names = {{Kind::Connect, "connect"},
                                                              {Kind::ShutDown, "shut down"},
                                                              {Kind::Close, "close"},
                                                              {Kind::Break, "break"}};
            text += (text.empty() ? "" : ", ") + names.at(event->kind) + " " + std::to_string(event->connection);
        }
        return text;
    }
    void drain(uint16_t number) {
        const ByteArray bytesNow = tunnels.toSocket(number);
        ByteArray& all = written[number];
        all.insert(all.end(), bytesNow.begin(), bytesNow.end());
        tunnels.written(number, bytesNow.size());
    }
};

struct Pair {
    End module;
    End host;
    Time now = seconds(10);

    // Everything that either end has to say, until both have nothing more.
    void exchange() {
        while (pass(module, host) || pass(host, module)) {
        }
    }
    bool pass(End& from, End& to) {
        const auto message = from.tunnels.nextMessage(now);
        if (!message) return false;
        from.tunnels.sent(Delivery::Accepted, now);
        to.tunnels.receive(*message, now);
        return true;
    }
    // One that gets lost.
    bool lose(End& from) {
        const auto message = from.tunnels.nextMessage(now);
        if (message) from.tunnels.sent(Delivery::Accepted, now);
        return message.has_value();
    }
    void wait(Time time) {
        now += time;
        module.tunnels.advance(now);
        host.tunnels.advance(now);
    }
    uint16_t open() {
        const uint16_t number = *module.tunnels.open(now);
        exchange();
        EXPECT_EQ(host.events(), "connect " + std::to_string(number));
        host.tunnels.connected(number, now);
        exchange();
        return number;
    }
    void say(End& end, uint16_t number, const ByteArray& data) {
        end.tunnels.fromSocket(number, data.data(), data.size(), now);
    }
};

ByteArray request(uint16_t number, TunnelCommand command, uint32_t position = 0, const ByteArray& data = {}) {
    return writeTunnelRequest({number, command, position, data.data(), data.size()});
}

std::string answerTo(End& end, const ByteArray& message, Time now = seconds(1)) {
    end.tunnels.receive(message, now);
    const auto answer = end.tunnels.nextMessage(now);
    if (!answer) return "none";
    end.tunnels.sent(Delivery::Accepted, now);
    return hex(*answer);
}

} // namespace

TEST(Tunnels, CarryBytesBothWaysAndEndInOrder) {
    Pair pair;
    const uint16_t number = pair.open();
    EXPECT_EQ(number, 1);
    pair.say(pair.module, number, bytes("01 02 03"));
    pair.exchange();
    pair.host.drain(number);
    EXPECT_EQ(hex(pair.host.written[number]), "01 02 03");
    pair.say(pair.host, number, bytes("04 05"));
    pair.exchange();
    pair.module.drain(number);
    EXPECT_EQ(hex(pair.module.written[number]), "04 05");

    pair.module.tunnels.socketFinished(number, pair.now);
    pair.exchange();
    EXPECT_EQ(pair.host.events(), "shut down 1");
    pair.say(pair.host, number, bytes("06")); // the other direction goes on
    pair.exchange();
    pair.module.drain(number);
    pair.host.tunnels.socketFinished(number, pair.now);
    pair.exchange();
    EXPECT_EQ(pair.module.events(), "shut down 1, close 1");
    EXPECT_EQ(pair.host.events(), "close 1");
    EXPECT_EQ(hex(pair.module.written[number]), "04 05 06");
    for (const End* end : {&pair.module, &pair.host}) {
        EXPECT_EQ(end->tunnels.connections(), 0u);
        EXPECT_EQ(end->tunnels.counts().opened, 1u);
        EXPECT_EQ(end->tunnels.counts().finished, 1u);
        EXPECT_EQ(end->tunnels.counts().broken, 0u);
        EXPECT_EQ(end->tunnels.counts().repeated, 0u);
    }
    EXPECT_EQ(pair.module.tunnels.counts().bytesSent, 3u);
    EXPECT_EQ(pair.module.tunnels.counts().bytesReceived, 3u);
    EXPECT_EQ(pair.host.tunnels.counts().bytesSent, 3u);
    EXPECT_FALSE(pair.module.tunnels.deadline());
}

TEST(Tunnels, OpenIsAnsweredWhenTheConnectionIsThere) {
    End host;
    EXPECT_EQ(answerTo(host, request(1, TunnelCommand::Open)), "none");
    EXPECT_EQ(answerTo(host, request(1, TunnelCommand::Open)), "none"); // still connecting
    EXPECT_EQ(host.events(), "connect 1");
    host.tunnels.connected(1, seconds(1));
    host.tunnels.connected(1, seconds(1)); // once is enough
    const std::string opened = hex(writeTunnelAnswer({1, TCP_Success, 0, 128}));
    EXPECT_EQ(hex(*host.tunnels.nextMessage(seconds(1))), opened);
    host.tunnels.sent(Delivery::Accepted, seconds(1));
    EXPECT_EQ(answerTo(host, request(1, TunnelCommand::Open)), opened); // the answer got lost
    EXPECT_EQ(host.events(), "");
}

TEST(Tunnels, AConnectionThatCannotBeMadeIsRefused) {
    Pair pair;
    const uint16_t number = *pair.module.tunnels.open(pair.now);
    pair.exchange();
    pair.host.events();
    pair.host.tunnels.socketFailed(number, pair.now);
    pair.exchange();
    EXPECT_EQ(pair.module.events(), "break 1");
    EXPECT_EQ(pair.module.tunnels.counts().refused, 1u);
    EXPECT_EQ(pair.host.tunnels.counts().refused, 1u);
    EXPECT_EQ(pair.host.tunnels.connections(), 0u);
}

TEST(Tunnels, TooManyAreRefusedAtBothEnds) {
    Pair pair;
    for (int i = 0; i < 3; ++i) pair.open();
    EXPECT_TRUE(pair.module.tunnels.full());
    EXPECT_FALSE(pair.module.tunnels.open(pair.now));
    EXPECT_EQ(answerTo(pair.host, request(9, TunnelCommand::Open)),
              hex(writeTunnelAnswer({9, TCP_TranferFailed, 0, 0})));
    EXPECT_EQ(pair.host.tunnels.counts().refused, 1u);
}

// A program that went without a word has left its connections at the host.
TEST(Tunnels, OneThatWasSilentForLongMakesRoomAtTheHost) {
    Pair pair;
    for (int i = 0; i < 3; ++i) pair.open();
    pair.now += seconds(20);
    for (const uint16_t number : std::initializer_list<uint16_t>{1, 2})
        answerTo(pair.host, request(number, TunnelCommand::Data), pair.now);
    pair.now += seconds(9);
    answerTo(pair.host, request(9, TunnelCommand::Open), pair.now);
    EXPECT_EQ(pair.host.events(), "");
    pair.now += seconds(1);
    EXPECT_EQ(answerTo(pair.host, request(9, TunnelCommand::Open), pair.now), "none");
    EXPECT_EQ(pair.host.events(), "break 3, connect 9");
}

TEST(Tunnels, ANumberInUseIsNotGivenOutAgain) {
    Pair pair;
    TunnelOptions given = options();
    given.firstNumber = 65535;
    pair.module.tunnels = Tunnels(given);
    EXPECT_EQ(pair.open(), 65535);
    EXPECT_EQ(pair.open(), 0);
}

TEST(Tunnels, OpenFromAnotherTimeEndsTheOldConnection) {
    Pair pair;
    pair.open();
    EXPECT_EQ(answerTo(pair.host, request(1, TunnelCommand::Open, 77)), "none");
    EXPECT_EQ(pair.host.events(), "break 1, connect 1");
    EXPECT_EQ(pair.host.tunnels.counts().broken, 1u);
}

TEST(Tunnels, ASocketThatBreaksBreaksTheOtherToo) {
    Pair pair;
    pair.open();
    pair.module.tunnels.socketFailed(1, pair.now);
    pair.module.tunnels.socketFailed(1, pair.now); // said once
    EXPECT_EQ(pair.module.tunnels.room(1), 0u);
    pair.exchange();
    EXPECT_EQ(pair.host.events(), "break 1");
    EXPECT_EQ(pair.module.events(), "");
    EXPECT_EQ(pair.module.tunnels.connections(), 0u);
    EXPECT_EQ(pair.module.tunnels.counts().broken, 1u);
    EXPECT_EQ(pair.host.tunnels.counts().broken, 1u);
}

TEST(Tunnels, AnEndThatDoesNotHearOfItIsToldThreeTimes) {
    Pair pair;
    pair.open();
    pair.module.tunnels.socketFailed(1, pair.now);
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(pair.lose(pair.module));
        EXPECT_FALSE(pair.lose(pair.module));
        EXPECT_EQ(pair.module.tunnels.deadline(), pair.now + milliseconds(500));
        pair.wait(milliseconds(500));
    }
    EXPECT_EQ(pair.module.tunnels.connections(), 0u);
    // It hears of it when it says something.
    pair.say(pair.host, 1, bytes("01"));
    pair.exchange();
    EXPECT_EQ(pair.host.events(), "break 1");
}

TEST(Tunnels, ALateAnswerDoesNotEndAConnectionThatIsBreaking) {
    Pair pair;
    pair.open();
    pair.module.tunnels.socketFailed(1, pair.now);
    pair.module.tunnels.receive(writeTunnelAnswer({1, TCP_Success, 5, 100}), pair.now);
    EXPECT_EQ(pair.module.tunnels.connections(), 1u);
    pair.module.tunnels.receive(request(1, TunnelCommand::Close), pair.now);
    EXPECT_EQ(pair.module.tunnels.connections(), 0u);
    EXPECT_EQ(pair.module.events(), "");
}

TEST(Tunnels, AllBreakAtTheEnd) {
    Pair pair;
    pair.open();
    pair.open();
    pair.module.tunnels.breakAll(pair.now);
    pair.module.tunnels.breakAll(pair.now);
    EXPECT_EQ(pair.module.events(), "break 1, break 2");
    pair.exchange();
    EXPECT_EQ(pair.host.events(), "break 1, break 2");
}

TEST(Tunnels, DataOfAConnectionThatIsNoneAreAnsweredSo) {
    End end;
    EXPECT_EQ(answerTo(end, request(7, TunnelCommand::Data, 0, bytes("01"))),
              "09 80 05 00 00 CD 07 00 01 00 CC 02 02 00 CE 00 00 00 00 02 00 CD 00 00 02 00 CE C7 EC 79 09");
    EXPECT_EQ(end.tunnels.counts().stale, 1u);
}

TEST(Tunnels, ToCloseAConnectionThatIsNoneIsNoMistake) {
    End end;
    EXPECT_EQ(answerTo(end, request(1, TunnelCommand::Close)),
              "09 80 05 00 00 CD 01 00 01 00 CC 00 02 00 CE 00 00 00 00 02 00 CD 00 00 02 00 CE B4 9A F0 10");
}

TEST(Tunnels, ACommandThatIsNoneIsAnsweredSo) {
    End end;
    EXPECT_EQ(
        answerTo(end,
                 bytes("08 00 05 00 00 CD 01 00 02 00 CC 09 02 00 CE 00 00 00 00 01 00 C5 00 00 02 00 CE 2A AC 21 95")),
        "09 80 05 00 00 CD 01 00 01 00 CC 04 02 00 CE 00 00 00 00 02 00 CD 00 00 02 00 CE 46 20 30 1B");
}

TEST(Tunnels, ADamagedRequestIsAskedForAgain) {
    Pair pair;
    pair.open();
    pair.say(pair.module, 1, bytes("01 02"));
    ByteArray message = *pair.module.tunnels.nextMessage(pair.now);
    pair.module.tunnels.sent(Delivery::Accepted, pair.now);
    message.back() ^= 1;
    EXPECT_EQ(answerTo(pair.host, message, pair.now), hex(writeTunnelAnswer({1, TCP_InvalidMessage, 0, 128})));
    pair.module.tunnels.receive(writeTunnelAnswer({1, TCP_InvalidMessage, 0, 128}), pair.now);
    pair.exchange();
    EXPECT_EQ(hex(pair.host.tunnels.toSocket(1)), "01 02");
    EXPECT_EQ(pair.host.tunnels.counts().damaged, 1u);
    EXPECT_EQ(pair.module.tunnels.counts().repeated, 1u);
}

TEST(Tunnels, ADamagedRequestOfNobodyIsAnsweredToNobodysHarm) {
    End end;
    EXPECT_EQ(answerTo(end, bytes("08 00 01 00 00 CD 05 00")), hex(writeTunnelAnswer({5, TCP_InvalidMessage, 0, 0})));
    EXPECT_EQ(answerTo(end, bytes("08 00 00")), "none");
    EXPECT_EQ(answerTo(end, writeTunnelAnswer({5, TCP_InvalidMessage, 0, 0})), "none");
    EXPECT_EQ(end.tunnels.counts().stale, 1u);
}

TEST(Tunnels, ADamagedRequestTakesNothingBackOfWhatIsOwed) {
    Pair pair;
    pair.open();
    pair.host.tunnels.receive(request(1, TunnelCommand::Data, 0, bytes("01")), pair.now);
    pair.host.tunnels.receive(bytes("08 00 01 00 00 CD 01 00"), pair.now);
    EXPECT_EQ(hex(*pair.host.tunnels.nextMessage(pair.now)), hex(writeTunnelAnswer({1, TCP_Success, 1, 127})));
}

TEST(Tunnels, ADamagedAnswerIsDropped) {
    Pair pair;
    pair.open();
    ByteArray answer = writeTunnelAnswer({1, TCP_TranferFailed, 0, 0});
    answer.back() ^= 1;
    pair.module.tunnels.receive(answer, pair.now);
    EXPECT_EQ(pair.module.tunnels.connections(), 1u);
    EXPECT_EQ(pair.module.tunnels.counts().damaged, 1u);
}

TEST(Tunnels, AHostThatSaysUnsupportedThriceKnowsNone) {
    Pair pair;
    pair.open();
    pair.module.tunnels.open(pair.now);
    pair.module.tunnels.unsupported(pair.now);
    pair.module.tunnels.unsupported(pair.now);
    EXPECT_EQ(pair.module.events(), "");
    pair.module.tunnels.unsupported(pair.now);
    EXPECT_EQ(pair.module.events(), "break 2"); // the other one is open
}

// It answers like the others, but without anything that proves it, or the same data come back.
TEST(Tunnels, AHostWithTunnelsOfAnotherKindKnowsNone) {
    End module;
    module.tunnels.open(seconds(1));
    for (int i = 0; i < 3; ++i) module.tunnels.receive(bytes("09 80 02 00 00 CD 01 00 01 00 CC 00"), seconds(1));
    EXPECT_EQ(module.events(), "break 1");
    EXPECT_EQ(module.tunnels.counts().refused, 1u);
}

TEST(Tunnels, TheHostEndHasNothingToOpenWhenSomebodySaysUnsupported) {
    End host;
    answerTo(host, request(1, TunnelCommand::Open));
    for (int i = 0; i < 3; ++i) host.tunnels.unsupported(seconds(1));
    EXPECT_EQ(host.events(), "connect 1");
    EXPECT_EQ(host.tunnels.connections(), 1u);
    host.tunnels.receive(writeTunnelAnswer({1, TCP_TranferFailed, 0, 0}), seconds(1)); // there was no request
    EXPECT_EQ(host.tunnels.connections(), 1u);
}

TEST(Tunnels, AnOtherEndThatSaysNothingIsGivenUp) {
    Pair pair;
    pair.open();
    pair.module.tunnels.open(pair.now);
    pair.say(pair.module, 1, bytes("01"));
    pair.wait(milliseconds(29999));
    EXPECT_EQ(pair.module.events(), "");
    pair.wait(milliseconds(1));
    EXPECT_EQ(pair.module.events(), "break 2, break 1");
    EXPECT_EQ(pair.module.tunnels.counts().broken, 1u);
    EXPECT_EQ(pair.module.tunnels.counts().refused, 1u);
}

TEST(Tunnels, ASlowReaderStopsItsOwnConnectionOnly) {
    Pair pair;
    pair.open();
    pair.open();
    for (int i = 0; i < 10; ++i) {
        pair.say(pair.module, 1, patternBytes(pair.module.tunnels.room(1)));
        pair.exchange();
        pair.wait(seconds(1));
    }
    EXPECT_EQ(pair.host.tunnels.toSocket(1).size(), 128u);
    EXPECT_EQ(pair.module.tunnels.room(1), 0u);
    pair.say(pair.module, 2, bytes("01"));
    pair.exchange();
    EXPECT_EQ(hex(pair.host.tunnels.toSocket(2)), "01");
    // It goes on at once when the reader does.
    pair.host.tunnels.written(1, 128);
    pair.exchange();
    EXPECT_EQ(pair.host.tunnels.toSocket(1).size(), 128u);
}

// Whoever waits inside a false packet is found out only when he writes.
TEST(Tunnels, TheOpeningEndAsksWhenBytesHaveComeAndNoMoreDo) {
    Pair pair;
    pair.open();
    pair.say(pair.host, 1, bytes("01"));
    pair.exchange();
    EXPECT_EQ(pair.module.tunnels.deadline(), pair.now + milliseconds(500));
    pair.wait(milliseconds(499));
    EXPECT_FALSE(pair.lose(pair.module));
    pair.wait(milliseconds(1));
    EXPECT_TRUE(pair.lose(pair.module));
    pair.wait(milliseconds(499));
    EXPECT_FALSE(pair.lose(pair.module));
    pair.wait(milliseconds(1));
    pair.exchange(); // this time there is an answer
    EXPECT_FALSE(pair.host.tunnels.deadline());
    EXPECT_EQ(pair.module.tunnels.connections(), 1u);
    EXPECT_EQ(pair.host.tunnels.connections(), 1u);
}

// The host may have something to say at any time, and its first packet be the false one.
TEST(Tunnels, TheOpeningEndGoesOnAskingWhenItIsAnswered) {
    Pair pair;
    pair.open();
    const Time opened = pair.now;
    std::string asked;
    for (int i = 0; i < 8; ++i) {
        pair.now = *pair.module.tunnels.deadline();
        asked += std::to_string((pair.now - opened) / milliseconds(100)) + " ";
        ASSERT_TRUE(pair.pass(pair.module, pair.host));
        ASSERT_TRUE(pair.pass(pair.host, pair.module));
    }
    EXPECT_EQ(asked, "5 10 20 40 80 160 260 360 "); // tenths of a second: doubled, then every ten seconds
    pair.wait(seconds(300));
    EXPECT_EQ(pair.module.events(), "") << "an answered one is not given up";
}

// It has said all, and waits for what the other end has to say.
TEST(Tunnels, TheOpeningEndAsksWhenItsEndHasBeenAcknowledgedAndNothingComes) {
    Pair pair;
    pair.open();
    pair.wait(seconds(3));
    pair.module.tunnels.socketFinished(1, pair.now);
    pair.exchange();
    EXPECT_EQ(pair.module.tunnels.deadline(), pair.now + milliseconds(500));
}

TEST(Tunnels, WhatTheOpeningEndAsksIsAskedAgainSoonWhereItDoesNotGoOut) {
    Pair pair;
    pair.open();
    pair.say(pair.host, 1, bytes("01"));
    pair.exchange();
    pair.wait(milliseconds(500));
    ASSERT_TRUE(pair.module.tunnels.nextMessage(pair.now));
    pair.module.tunnels.sent(Delivery::Unknown, pair.now);
    EXPECT_EQ(pair.module.tunnels.deadline(), pair.now + milliseconds(10));
    pair.wait(milliseconds(10));
    ASSERT_TRUE(pair.module.tunnels.nextMessage(pair.now));
    pair.module.tunnels.sent(Delivery::Accepted, pair.now);
    EXPECT_EQ(pair.module.tunnels.deadline(), pair.now + milliseconds(100)) << "the line is a bad one";
}

// Whatever it asks goes out, and nothing comes back.
TEST(Tunnels, TheOpeningEndAsksUntilItsPatienceIsAtItsEnd) {
    Pair pair;
    pair.open();
    pair.say(pair.host, 1, bytes("01"));
    pair.exchange();
    const Time said = pair.now;
    int asked = 0;
    while (pair.module.tunnels.counts().broken == 0) {
        const auto due = pair.module.tunnels.deadline();
        ASSERT_TRUE(due);
        pair.wait(*due - pair.now);
        asked += pair.module.tunnels.counts().broken == 0 && pair.lose(pair.module) ? 1 : 0;
    }
    EXPECT_EQ(asked, 7); // after 0.5, 1, 2, 4, 8, 16 and 26 s
    EXPECT_EQ(pair.now - said, milliseconds(30500));
    EXPECT_EQ(pair.module.events(), "break 1");
}

TEST(Tunnels, AnOpeningEndOfLittlePatienceAsksAccordingly) {
    Pair pair;
    TunnelOptions given = options();
    given.pace.patience = seconds(3);
    pair.module.tunnels = Tunnels(given);
    pair.open();
    pair.wait(seconds(100)); // as if asleep
    pair.exchange();
    EXPECT_EQ(pair.module.tunnels.deadline(), pair.now + seconds(1));
}

// What is left is to be read by a program at this end, which may take its time; the other end has forgotten it.
TEST(Tunnels, TheOpeningEndAsksNoMoreWhenBothDirectionsHaveEnded) {
    Pair pair;
    pair.open();
    pair.say(pair.host, 1, bytes("01"));
    pair.host.tunnels.socketFinished(1, pair.now);
    pair.module.tunnels.socketFinished(1, pair.now);
    pair.exchange();
    EXPECT_EQ(pair.host.tunnels.connections(), 0u);
    pair.wait(seconds(1));
    EXPECT_FALSE(pair.lose(pair.module));
    EXPECT_FALSE(pair.module.tunnels.deadline());
    pair.wait(seconds(100));
    pair.module.drain(1);
    EXPECT_EQ(pair.module.events(), "shut down 1, close 1");
}

TEST(Tunnels, WhatIsOwedIsDueAtOnce) {
    Pair pair;
    pair.open();
    EXPECT_FALSE(pair.host.tunnels.deadline());
    pair.host.tunnels.receive(request(1, TunnelCommand::Data, 0, bytes("01")), pair.now);
    EXPECT_LE(pair.host.tunnels.deadline().value_or(pair.now + seconds(1)), pair.now);
    EXPECT_TRUE(pair.lose(pair.host));
    EXPECT_FALSE(pair.host.tunnels.deadline());
    pair.host.tunnels.receive(request(77, TunnelCommand::Close), pair.now); // of a stranger
    EXPECT_LE(pair.host.tunnels.deadline().value_or(pair.now + seconds(1)), pair.now);
}

TEST(Tunnels, RequestsTakeTurns) {
    Pair pair;
    for (int i = 0; i < 3; ++i) pair.open();
    for (uint16_t number = 1; number <= 3; ++number) pair.say(pair.module, number, patternBytes(128));
    std::string order;
    for (int i = 0; i < 6; ++i) {
        const ByteArray message = *pair.module.tunnels.nextMessage(pair.now);
        order += std::to_string(*connectionOf(message));
        pair.module.tunnels.sent(Delivery::Accepted, pair.now);
        pair.host.tunnels.receive(message, pair.now);
        while (pair.pass(pair.host, pair.module)) {
        }
    }
    EXPECT_EQ(order, "123123");
}

TEST(Tunnels, OneMessageIsOnTheLinkAtATime) {
    Pair pair;
    pair.module.tunnels.open(pair.now);
    pair.module.tunnels.open(pair.now);
    EXPECT_TRUE(pair.module.tunnels.nextMessage(pair.now));
    EXPECT_FALSE(pair.module.tunnels.nextMessage(pair.now));
    pair.module.tunnels.sent(Delivery::Accepted, pair.now);
    EXPECT_TRUE(pair.module.tunnels.nextMessage(pair.now));
}

TEST(Tunnels, TheOutcomeOfARequestWhoseConnectionIsGoneIsNobodys) {
    Pair pair;
    pair.open();
    pair.say(pair.module, 1, bytes("01"));
    ASSERT_TRUE(pair.module.tunnels.nextMessage(pair.now));
    pair.module.tunnels.receive(request(1, TunnelCommand::Close), pair.now);
    pair.module.tunnels.sent(Delivery::Unknown, pair.now);
    EXPECT_EQ(pair.module.tunnels.connections(), 0u);
}

// The answer to the last end gets lost; who asks for it again is told that there is no such connection.
TEST(Tunnels, AnEndWhoseAnswerGotLostIsAnEnd) {
    Pair pair;
    pair.open();
    pair.host.tunnels.socketFinished(1, pair.now);
    pair.exchange();
    pair.module.tunnels.socketFinished(1, pair.now);
    ASSERT_TRUE(pair.pass(pair.module, pair.host));
    ASSERT_TRUE(pair.lose(pair.host));
    EXPECT_EQ(pair.host.tunnels.connections(), 0u);
    EXPECT_EQ(pair.module.events(), "shut down 1");
    pair.wait(seconds(1));
    pair.exchange();
    EXPECT_EQ(pair.module.events(), "close 1");
    EXPECT_EQ(pair.module.tunnels.counts().broken, 0u);
    EXPECT_EQ(pair.module.tunnels.counts().finished, 1u);
}

TEST(Tunnels, AConnectionThatTheOtherEndHasLostIsBroken) {
    Pair pair;
    pair.open();
    pair.host.tunnels = Tunnels(options());
    pair.say(pair.module, 1, bytes("01"));
    pair.exchange();
    EXPECT_EQ(pair.module.events(), "break 1");
    EXPECT_EQ(pair.module.tunnels.counts().broken, 1u);
}

TEST(Tunnels, ForgetsWhatIsSaidOfConnectionsThatAreNone) {
    End end;
    end.tunnels.fromSocket(5, bytes("01").data(), 1, seconds(1));
    end.tunnels.socketFinished(5, seconds(1));
    end.tunnels.socketFailed(5, seconds(1));
    end.tunnels.written(5, 0);
    end.tunnels.connected(5, seconds(1));
    EXPECT_EQ(end.tunnels.room(5), 0u);
    EXPECT_TRUE(end.tunnels.toSocket(5).empty());
    EXPECT_FALSE(end.tunnels.nextMessage(seconds(1)));
}

TEST(Tunnels, AnswersToStrangersAreBounded) {
    End end;
    for (uint16_t number = 0; number < 100; ++number)
        end.tunnels.receive(request(number, TunnelCommand::Close), seconds(1));
    int answers = 0;
    while (end.tunnels.nextMessage(seconds(1))) {
        end.tunnels.sent(Delivery::Accepted, seconds(1));
        ++answers;
    }
    EXPECT_EQ(answers, 32);
}

// A tenth of all messages is lost, a tenth damaged, a twentieth comes twice: the bytes arrive in order, each once.
TEST(Tunnels, CarryEveryByteOverABadWire) {
    constexpr uint64_t seed = 1;
    for (uint64_t run = 0; run < 20; ++run) {
        testIsAt("run " + std::to_string(run));
        std::mt19937_64 random(seed + run);
        const auto chance = [&random](double probability) {
            return std::uniform_real_distribution<>(0, 1)(random) < probability;
        };
        Pair pair;
        const ByteArray up = patternBytes(3000);
        const ByteArray down = patternBytes(5000);
        size_t upAt = 0;
        size_t downAt = 0;
        const uint16_t number = *pair.module.tunnels.open(pair.now);
        const auto carry = [&](End& from, End& to) {
            auto message = from.tunnels.nextMessage(pair.now);
            if (!message) return;
            from.tunnels.sent(chance(0.9) ? Delivery::Accepted : Delivery::Unknown, pair.now);
            if (chance(0.1)) return;
            if (chance(0.1)) (*message)[random() % message->size()] ^= static_cast<uint8_t>(1 + random() % 255);
            for (int copies = chance(0.05) ? 2 : 1; copies > 0; --copies) to.tunnels.receive(*message, pair.now);
        };
        const auto feed = [&](End& end, const ByteArray& data, size_t& at) {
            if (at > data.size()) return;
            const size_t count = std::min(end.tunnels.room(number), data.size() - at);
            end.tunnels.fromSocket(number, data.data() + at, count, pair.now);
            at += count;
            if (at < data.size() || end.tunnels.room(number) == 0) return;
            end.tunnels.socketFinished(number, pair.now);
            ++at;
        };
        bool connected = false;
        for (int i = 0; i < 1000000 && pair.module.tunnels.connections() + pair.host.tunnels.connections() > 0; ++i) {
            carry(pair.module, pair.host);
            carry(pair.host, pair.module);
            if (!connected && pair.host.tunnels.nextEvent()) {
                pair.host.tunnels.connected(number, pair.now);
                connected = true;
            }
            feed(pair.module, up, upAt);
            if (connected) feed(pair.host, down, downAt);
            pair.module.drain(number);
            pair.host.drain(number);
            pair.wait(milliseconds(5));
        }
        EXPECT_EQ(pair.host.written[number], up) << "run " << run;
        EXPECT_EQ(pair.module.written[number], down) << "run " << run;
        EXPECT_EQ(pair.module.tunnels.counts().finished, 1u) << "run " << run;
        EXPECT_EQ(pair.host.tunnels.counts().broken, 0u) << "run " << run;
    }
}

// --- What a bad line is told from, and what is done about it.

TEST(TunnelsOnABadLine, ADamagedAnswerHasItsRequestSentAgainAtOnce) {
    Pair pair;
    const uint16_t number = pair.open();
    pair.say(pair.module, number, bytes("01"));
    const auto asked = pair.module.tunnels.nextMessage(pair.now);
    ASSERT_TRUE(asked);
    pair.module.tunnels.sent(Delivery::Accepted, pair.now);
    pair.host.tunnels.receive(*asked, pair.now);
    ByteArray answer = *pair.host.tunnels.nextMessage(pair.now);
    answer.back() ^= 1; // of its checksum
    pair.module.tunnels.receive(answer, pair.now);
    EXPECT_EQ(pair.module.tunnels.nextMessage(pair.now), asked);
    EXPECT_EQ(pair.module.tunnels.counts().damaged, 1u);
    EXPECT_EQ(pair.module.tunnels.counts().repeated, 1u);
}

TEST(TunnelsOnABadLine, SoDoesAComplaintAboutNoConnectionThatIsKnown) {
    Pair pair;
    const uint16_t number = pair.open();
    pair.say(pair.module, number, bytes("01"));
    const auto asked = pair.module.tunnels.nextMessage(pair.now);
    pair.module.tunnels.sent(Delivery::Accepted, pair.now);
    pair.module.tunnels.receive(writeTunnelAnswer({77, TCP_InvalidMessage, 0, 0}), pair.now);
    EXPECT_EQ(pair.module.tunnels.nextMessage(pair.now), asked);
}

TEST(TunnelsOnABadLine, AfterTwoLossesInARowItIsLeftAlone) {
    Pair pair;
    const uint16_t number = pair.open();
    pair.say(pair.module, number, bytes("01"));
    for (const milliseconds pause : {milliseconds(10), milliseconds(80), milliseconds(80)}) {
        ASSERT_TRUE(pair.module.tunnels.nextMessage(pair.now));
        pair.module.tunnels.sent(Delivery::Unknown, pair.now);
        pair.wait(pause - milliseconds(1));
        EXPECT_FALSE(pair.module.tunnels.nextMessage(pair.now));
        pair.wait(milliseconds(1));
    }
    EXPECT_TRUE(pair.module.tunnels.nextMessage(pair.now));
}

TEST(TunnelsOnABadLine, AnAnswerThatGotLostGoesOutAgainThreeTimesAtMost) {
    Pair pair;
    const uint16_t number = pair.open();
    pair.host.tunnels.receive(request(number, TunnelCommand::Data, 0, bytes("01")), pair.now);
    for (int tries = 0; tries < 3; ++tries) {
        ASSERT_TRUE(pair.host.tunnels.nextMessage(pair.now)) << tries;
        pair.host.tunnels.sent(Delivery::Unknown, pair.now);
        pair.wait(milliseconds(80));
    }
    EXPECT_FALSE(pair.host.tunnels.nextMessage(pair.now));
}
