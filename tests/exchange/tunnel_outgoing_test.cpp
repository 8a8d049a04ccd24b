// One direction of a tunnelled connection, where it begins.
#include <gtest/gtest.h>

#include <exchange/TunnelOutgoing.h>

#include "support/Bytes.h"

using namespace hostlink::exchange;
using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

TunnelPace pace() {
    TunnelPace given;
    given.smallestChunk = 4;
    given.largestChunk = 16;
    given.buffer = 64;
    return given;
}

struct Outgoing {
    Time now = seconds(50);
    TunnelOutgoing out;

    explicit Outgoing(uint32_t position = 1000, bool opens = false) : out(pace(), position, opens, now) {}

    void append(size_t count) {
        const ByteArray data = patternBytes(count);
        out.append(data.data(), data.size(), now);
    }
    // "position+size" of the data that go out now, and what of others; the link accepts it.
    std::string next(Delivery delivery = Delivery::Accepted) {
        const auto request = out.next(now);
        if (!request) return "";
        std::string text = std::to_string(request->position) + "+" + std::to_string(request->size);
        if (request->command == TunnelCommand::Open) text = "open " + text;
        if (request->command == TunnelCommand::Finish) text = "finish " + text;
        out.sent(delivery, now);
        return text;
    }
    void acknowledge(uint32_t position, uint16_t room = 64) { out.acknowledged(position, room, now); }
    void pass(Time time) {
        now += time;
        out.advance(now);
    }
};

} // namespace

TEST(TunnelOutgoing, OpensBeforeAnythingElse) {
    Outgoing direction(1000, true);
    direction.append(5);
    EXPECT_EQ(direction.next(), "open 1000+0");
    EXPECT_EQ(direction.next(), "");
    EXPECT_FALSE(direction.out.opened());
    direction.acknowledge(1000);
    EXPECT_TRUE(direction.out.opened());
    EXPECT_EQ(direction.next(), "1000+5");
}

TEST(TunnelOutgoing, HasNothingToSayWithoutBytes) {
    Outgoing direction;
    EXPECT_EQ(direction.next(), "");
    EXPECT_FALSE(direction.out.deadline());
}

TEST(TunnelOutgoing, SendsOneChunkAtATime) {
    Outgoing direction;
    direction.append(20);
    EXPECT_EQ(direction.next(), "1000+16");
    EXPECT_EQ(direction.next(), "");
    direction.acknowledge(1016);
    EXPECT_EQ(direction.next(), "1016+4");
    direction.acknowledge(1020);
    EXPECT_EQ(direction.next(), "");
    EXPECT_FALSE(direction.out.deadline());
}

TEST(TunnelOutgoing, PositionsWrap) {
    Outgoing direction(0xFFFFFFFE);
    direction.append(5);
    EXPECT_EQ(direction.next(), "4294967294+5");
    direction.acknowledge(3);
    EXPECT_EQ(direction.out.held(), 0u);
}

TEST(TunnelOutgoing, TheEndComesAfterTheLastByte) {
    Outgoing direction;
    direction.append(3);
    direction.out.finish(direction.now);
    EXPECT_EQ(direction.out.room(), 0u);
    EXPECT_EQ(direction.next(), "1000+3");
    EXPECT_FALSE(direction.out.onlyFinishLeft());
    direction.acknowledge(1003);
    EXPECT_TRUE(direction.out.onlyFinishLeft());
    EXPECT_EQ(direction.next(), "finish 1003+0");
    EXPECT_FALSE(direction.out.finished());
    direction.acknowledge(1004);
    EXPECT_TRUE(direction.out.finished());
    EXPECT_FALSE(direction.out.deadline());
}

TEST(TunnelOutgoing, AnEndWithoutBytesIsSentAtOnce) {
    Outgoing direction;
    direction.out.finish(direction.now);
    EXPECT_EQ(direction.next(), "finish 1000+0");
}

TEST(TunnelOutgoing, HoldsNoMoreThanItsBuffer) {
    Outgoing direction;
    EXPECT_EQ(direction.out.room(), 64u);
    direction.append(60);
    EXPECT_EQ(direction.out.room(), 4u);
    direction.append(4);
    EXPECT_EQ(direction.out.room(), 0u);
}

TEST(TunnelOutgoing, AnAnswerThatIsMissingIsAskedForInSmallerPieces) {
    Outgoing direction;
    direction.append(16);
    EXPECT_EQ(direction.next(), "1000+16");
    EXPECT_EQ(direction.out.deadline(), direction.now + milliseconds(500));
    direction.pass(milliseconds(499));
    EXPECT_EQ(direction.next(), "");
    direction.pass(milliseconds(1));
    EXPECT_EQ(direction.next(), "1000+8");
    direction.pass(seconds(1)); // doubled
    EXPECT_EQ(direction.next(), "1000+4");
    direction.pass(seconds(2));
    EXPECT_EQ(direction.next(), "1000+4");
    EXPECT_EQ(direction.out.repeated(), 3u);
}

// The other end had it all the time: the answer got lost.
TEST(TunnelOutgoing, AnAnswerMayBeToMoreThanTheLastPiece) {
    Outgoing direction;
    direction.append(16);
    direction.next();
    direction.pass(milliseconds(500));
    EXPECT_EQ(direction.next(), "1000+8");
    direction.acknowledge(1016);
    EXPECT_EQ(direction.out.held(), 0u);
    EXPECT_EQ(direction.next(), "");
}

TEST(TunnelOutgoing, WhatTheLinkCouldNotDeliverIsSentAgainAfterAPause) {
    Outgoing direction;
    direction.append(16);
    EXPECT_EQ(direction.next(Delivery::Unknown), "1000+16");
    EXPECT_EQ(direction.out.deadline(), direction.now + milliseconds(10));
    direction.pass(milliseconds(10));
    EXPECT_EQ(direction.next(), "1000+8");
}

TEST(TunnelOutgoing, ADamagedRequestIsSentAgainAtOnce) {
    Outgoing direction;
    direction.append(16);
    direction.next();
    direction.out.damaged(direction.now);
    EXPECT_EQ(direction.next(), "1000+8");
    direction.acknowledge(1016);
    direction.out.damaged(direction.now); // of another time
    EXPECT_EQ(direction.next(), "");
}

TEST(TunnelOutgoing, PiecesGrowAgainWhenEightInARowWentWell) {
    Outgoing direction;
    direction.append(16);
    direction.next();
    direction.acknowledge(1016);
    direction.append(16);
    direction.next();
    direction.out.damaged(direction.now);
    EXPECT_EQ(direction.out.chunk(), 8u);
    direction.next();
    direction.acknowledge(1024); // sent twice: it says nothing about how well it goes
    uint32_t position = 1024;
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(direction.out.chunk(), 8u);
        direction.append(8);
        EXPECT_EQ(direction.next(), std::to_string(position) + "+8");
        position += 8;
        direction.acknowledge(position);
    }
    EXPECT_EQ(direction.out.chunk(), 16u);
}

// Where nothing gets through at once, nothing would ever be known.
TEST(TunnelOutgoing, TheFirstAnswerOfAllTellsHowLongAnswersTake) {
    Outgoing direction;
    direction.append(16);
    direction.next();
    direction.pass(milliseconds(500));
    direction.next();
    direction.now += milliseconds(50);
    direction.acknowledge(1008);
    direction.next();
    EXPECT_EQ(direction.out.deadline(), direction.now + milliseconds(200));
}

TEST(TunnelOutgoing, WaitsAsLongAsAnswersUsuallyTakeFourTimesOver) {
    Outgoing direction;
    for (uint32_t i = 1; i <= 3; ++i) {
        direction.append(16);
        direction.next();
        direction.now += milliseconds(100);
        direction.acknowledge(1000 + 16 * i);
    }
    direction.append(16);
    direction.next();
    EXPECT_EQ(direction.out.deadline(), direction.now + milliseconds(400));
}

// Each was repeated before its answer came, and is answered twice.
TEST(TunnelOutgoing, WaitsLongerWhereItHasRepeatedWhatWasOnItsWay) {
    Outgoing direction;
    direction.append(12);
    direction.next();
    direction.pass(milliseconds(20));
    direction.acknowledge(1012);
    direction.append(4);
    EXPECT_EQ(direction.next(), "1012+4");
    direction.pass(milliseconds(80)); // four times 20
    EXPECT_EQ(direction.next(), "1012+4");
    direction.acknowledge(1016);
    direction.acknowledge(1016); // the second answer
    direction.acknowledge(1016); // one that is nobody's
    direction.append(4);
    EXPECT_EQ(direction.next(), "1016+4");
    direction.pass(milliseconds(99));
    EXPECT_EQ(direction.next(), "");
    direction.pass(milliseconds(1)); // four times 25
    EXPECT_EQ(direction.next(), "1016+4");
    direction.acknowledge(1020);
    direction.acknowledge(1012); // late, behind the answer to what came next
    direction.append(4);
    EXPECT_EQ(direction.next(), "1020+4");
    direction.pass(milliseconds(124));
    EXPECT_EQ(direction.next(), "");
    direction.pass(milliseconds(1)); // four times 31.25
    EXPECT_EQ(direction.next(), "1020+4");
}

TEST(TunnelOutgoing, TheTimeToWaitHasBounds) {
    Outgoing fast;
    fast.append(32);
    fast.next();
    fast.acknowledge(1016);
    fast.next();
    EXPECT_EQ(fast.out.deadline(), fast.now + milliseconds(40));

    Outgoing slow;
    slow.append(32);
    slow.next();
    slow.now += seconds(5);
    slow.acknowledge(1016);
    slow.next();
    EXPECT_EQ(slow.out.deadline(), slow.now + seconds(2));
}

TEST(TunnelOutgoing, AnAnswerMayBeFasterThanTheLinkSaysThatItHasSent) {
    Outgoing direction;
    direction.append(5);
    ASSERT_TRUE(direction.out.next(direction.now));
    direction.acknowledge(1005);
    direction.out.sent(Delivery::Unknown, direction.now);
    direction.pass(seconds(10));
    EXPECT_EQ(direction.next(), "");
}

TEST(TunnelOutgoing, AFullOtherEndIsAskedInGrowingIntervals) {
    Outgoing direction;
    direction.append(32);
    EXPECT_EQ(direction.next(), "1000+16");
    direction.acknowledge(1010, 0); // ten of them, and no room
    EXPECT_EQ(direction.next(), "");
    direction.pass(milliseconds(50));
    EXPECT_EQ(direction.next(), "1010+4");
    direction.acknowledge(1010, 0);
    direction.pass(milliseconds(49));
    EXPECT_EQ(direction.next(), "");
    direction.pass(milliseconds(1));
    EXPECT_EQ(direction.next(), "1010+4");
    direction.acknowledge(1010, 0);
    direction.pass(milliseconds(99));
    EXPECT_EQ(direction.next(), "");
    direction.pass(milliseconds(1));
    EXPECT_EQ(direction.next(), "1010+4");
    EXPECT_EQ(direction.out.repeated(), 0u); // nothing got lost
}

TEST(TunnelOutgoing, AFullOtherEndIsAskedAtLeastEverySecond) {
    Outgoing direction;
    direction.append(32);
    direction.next();
    direction.acknowledge(1010, 0);
    for (int i = 0; i < 20; ++i) {
        direction.pass(seconds(1));
        EXPECT_EQ(direction.next(), "1010+4");
        direction.acknowledge(1010, 0);
        EXPECT_FALSE(direction.out.silentTooLong(direction.now + seconds(29)));
    }
}

TEST(TunnelOutgoing, GoesOnWhenTheOtherEndSaysThatThereIsRoom) {
    Outgoing direction;
    direction.append(32);
    direction.next();
    direction.acknowledge(1010, 0);
    direction.acknowledge(1010, 8);
    EXPECT_EQ(direction.next(), "1010+8");
}

TEST(TunnelOutgoing, AnAnswerThatComesTwiceChangesNothing) {
    Outgoing direction;
    direction.append(32);
    direction.next();
    direction.acknowledge(1016);
    EXPECT_EQ(direction.next(), "1016+16");
    direction.acknowledge(1016);
    EXPECT_EQ(direction.next(), "");
    EXPECT_EQ(direction.out.held(), 16u);
}

TEST(TunnelOutgoing, AnAnswerOfAnotherTimeChangesNothing) {
    Outgoing direction;
    direction.append(16);
    direction.next();
    direction.acknowledge(999);
    direction.acknowledge(1017);
    EXPECT_EQ(direction.out.held(), 16u);
    EXPECT_EQ(direction.next(), "");
}

TEST(TunnelOutgoing, IsSilentWhenNobodyAnswersForAsLongAsThePatienceLasts) {
    Outgoing direction;
    direction.pass(seconds(100));
    EXPECT_FALSE(direction.out.silentTooLong(direction.now)); // nobody was asked
    direction.append(16);
    direction.next();
    EXPECT_FALSE(direction.out.silentTooLong(direction.now + milliseconds(29999)));
    EXPECT_TRUE(direction.out.silentTooLong(direction.now + seconds(30)));
}

TEST(TunnelOutgoing, MayBeTakenAsFinished) {
    Outgoing direction;
    direction.out.finish(direction.now);
    direction.next();
    direction.out.takeAsFinished();
    EXPECT_TRUE(direction.out.finished());
    EXPECT_FALSE(direction.out.deadline());
}

// 54 bytes of payload, twice, less 31: 76 in whole words. 1000 + 31 need 20 packets, which hold 1080: 1048.
TEST(TunnelPace, FillsThePacketsOfTheLink) {
    EXPECT_EQ(paceFor(64).smallestChunk, 76u);
    EXPECT_EQ(paceFor(64).largestChunk, 1048u);
    EXPECT_EQ(paceFor(64).buffer, 16384u);
    EXPECT_GE(paceFor(65535).buffer, 4 * paceFor(65535).largestChunk);
    // 118 less 31, in whole words; larger packets are not filled where much is damaged.
    EXPECT_EQ(paceFor(128).smallestChunk, 84u);
    EXPECT_EQ(paceFor(1024).smallestChunk, 84u);
    EXPECT_EQ(paceFor(0).smallestChunk, 76u); // as with 64
}

// A host that gives up half a packet after a twentieth of the usual time.
TEST(TunnelPaceFor, AHostThatWaitsShorterIsWaitedForAccordingly) {
    const TunnelPace usual = paceFor(64);
    EXPECT_EQ(usual.shortestTimeout, milliseconds(40));
    EXPECT_EQ(usual.retryPause, milliseconds(10));
    EXPECT_EQ(usual.quietPause, milliseconds(80));
    EXPECT_EQ(usual.firstCheckOnABadLine, milliseconds(100));
    const TunnelPace quick = paceFor(64, milliseconds(5));
    EXPECT_EQ(quick.shortestTimeout, milliseconds(5)); // a busy machine takes a moment
    EXPECT_EQ(quick.retryPause, std::chrono::microseconds(500));
    EXPECT_EQ(quick.quietPause, milliseconds(4));
    EXPECT_EQ(quick.firstCheckOnABadLine, milliseconds(5));
    EXPECT_EQ(quick.patience, usual.patience);
}
