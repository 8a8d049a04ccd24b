// The small parts: pauses, packets that come twice, what waits for a subscriber, and who is subscribed to what.
#include <chrono>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <hostlinkclient/machines/Backoff.h>
#include <hostlinkclient/machines/ChangeQueue.h>
#include <hostlinkclient/machines/RepeatedPackets.h>
#include <hostlinkclient/machines/SubscriptionTable.h>

#include "support/Bytes.h"

namespace {

using namespace hostlink;
using namespace std::chrono_literals;

TEST(Backoff, DoublesUpToTheLongestAndDrawsFromTheUpperHalf) {
    for (uint64_t seed = 1; seed <= 50; ++seed) {
        Backoff pauses(100ms, 1s, seed);
        for (const auto full : {100ms, 200ms, 400ms, 800ms, 1000ms, 1000ms}) {
            const auto pause = pauses.next();
            EXPECT_GE(pause, full / 2);
            EXPECT_LE(pause, full);
        }
        pauses.reset();
        EXPECT_LE(pauses.next(), 100ms);
    }
}

TEST(Backoff, IsNotTheSameForEverybody) {
    Backoff one(1000ms, 1000ms, 1);
    Backoff other(1000ms, 1000ms, 2);
    int same = 0;
    for (int i = 0; i < 20; ++i) same += one.next() == other.next() ? 1 : 0;
    EXPECT_LT(same, 5);
}

const Time start{std::chrono::hours(1)};
const ByteArray first = bytes("FF FE 11 00 23 05 00 00 02 80 01 09 00 CC 1E 00 00");
const ByteArray second = bytes("FF FE 11 00 23 06 00 00 02 80 01 09 00 CC 1E 00 00");
const ByteArray otherOfFive = bytes("FF FE 11 00 23 05 00 00 02 80 01 09 00 CC 1F 00 00");

TEST(RepeatedPackets, AreTheSameBytesRightBehindOneAnother) {
    RepeatedPackets repeated;
    EXPECT_FALSE(repeated.isRepeated(first, start));
    EXPECT_TRUE(repeated.isRepeated(first, start + 10ms));
    EXPECT_TRUE(repeated.isRepeated(first, start + 20ms));
    EXPECT_FALSE(repeated.isRepeated(second, start + 30ms)); // the same message in a frame of its own
    EXPECT_FALSE(repeated.isRepeated(first, start + 40ms));  // something came between
    EXPECT_FALSE(repeated.isRepeated(first, start + 541ms)); // 501 ms later
    EXPECT_TRUE(repeated.isRepeated(first, start + 1041ms)); // 500 ms later
    EXPECT_FALSE(repeated.isRepeated(bytes("FF FE 08"), start));
}

TEST(RepeatedPackets, AreNotToldOfAHostThatDoesNotNumberItsFrames) {
    RepeatedPackets repeated;
    EXPECT_FALSE(repeated.isRepeated(first, start));
    EXPECT_FALSE(repeated.isRepeated(otherOfFive, start));
    EXPECT_FALSE(repeated.isRepeated(otherOfFive, start));
}

TEST(RepeatedPackets, AreNotTakenForUnnumberedWithinOneFrame) {
    RepeatedPackets repeated;
    const ByteArray part = bytes("FF FE 0D 00 03 05 00 00 02 80 01 00 00");
    const ByteArray end = bytes("FF FE 0C 00 23 05 01 00 09 00 00 00");
    EXPECT_FALSE(repeated.isRepeated(part, start));
    EXPECT_FALSE(repeated.isRepeated(end, start));
    EXPECT_TRUE(repeated.isRepeated(end, start));
}

Change change(int state, int value) {
    return {state, value, false, 0};
}

TEST(ChangeQueue, DropsTheOldestAndTheNextOneTells) {
    ChangeQueue queue(2);
    for (int i = 1; i <= 5; ++i) queue.push(change(9, i));
    EXPECT_EQ(queue.dropped(), 3U);
    auto next = queue.pop();
    EXPECT_EQ(next->value, Value(4));
    EXPECT_EQ(next->missed, 3U);
    next = queue.pop();
    EXPECT_EQ(next->value, Value(5));
    EXPECT_EQ(next->missed, 0U);
    EXPECT_FALSE(queue.pop());
    EXPECT_TRUE(queue.empty());
}

TEST(ChangeQueue, OfOneTellsWithTheOneThatIsKept) {
    ChangeQueue queue(1);
    queue.push(change(9, 1));
    queue.push(change(9, 2));
    queue.push(change(9, 3));
    EXPECT_EQ(queue.pop()->missed, 2U);
}

TEST(ChangeQueue, KeepsTheLatestOfEachState) {
    ChangeQueue queue(0);
    queue.push(change(9, 1));
    queue.push(change(10, 1));
    queue.push(change(9, 2));
    queue.push(change(9, 3));
    EXPECT_EQ(queue.dropped(), 2U);
    auto next = queue.pop();
    EXPECT_EQ(next->state, StateId(10));
    next = queue.pop();
    EXPECT_EQ(next->value, Value(3));
    EXPECT_EQ(next->missed, 2U);
    EXPECT_FALSE(queue.pop());
}

using Ended = SubscriptionTable::Ended;
using Standing = SubscriptionTable::Standing;

// "subscribe 9 10", or "" when there is nothing to do.
std::string text(const std::optional<SubscriptionTable::Step>& step) {
    if (!step) return "";
    std::string result = step->id == MSG_SubscribeState ? "subscribe"
                         : step->id == MSG_GetState     ? "get"
                                                        : "unsubscribe";
    for (const uint16_t state : step->states) result += " " + std::to_string(state);
    return result;
}

// Lets the next step end so.
std::string doNext(SubscriptionTable& table, Ended how = Ended::Done) {
    const auto step = table.nextStep();
    if (step) {
        EXPECT_EQ(text(table.nextStep()), ""); // one at a time
        table.stepEnded(*step, how);
    }
    return text(step);
}

std::string text(const std::vector<SubscriptionTable::Told>& told) {
    std::string result;
    for (const auto& one : told)
        result += std::to_string(one.subscriber) + ":" + std::to_string(one.state) + "=" + one.value.print() +
                  (one.wasRead ? " read;" : ";");
    return result;
}

TEST(SubscriptionTable, SubscribesReadsAndTells) {
    SubscriptionTable table;
    EXPECT_EQ(text(table.add(1, {9, 10})), "");
    EXPECT_EQ(table.standingOf(1), Standing::Pending);
    EXPECT_EQ(doNext(table), "subscribe 9 10");
    EXPECT_EQ(doNext(table), "get 9 10");
    EXPECT_EQ(table.standingOf(1), Standing::Established);
    EXPECT_EQ(doNext(table), "");
    EXPECT_EQ(text(table.take({{9, 30}, {10, 1}, {11, 5}}, true)), "1:9=30 read;1:10=1 read;");
    EXPECT_EQ(text(table.take({{9, 31}}, false)), "1:9=31;");
    EXPECT_EQ(text(table.take({{9, 31}}, false)), "1:9=31;"); // a command may be given twice
    EXPECT_EQ(*table.last(9), Value(31));
    EXPECT_FALSE(table.last(11));
}

TEST(SubscriptionTable, CostsOneSubscriptionForSeveralSubscribers) {
    SubscriptionTable table;
    table.add(1, {9});
    doNext(table);
    doNext(table);
    table.take({{9, 30}}, true);
    EXPECT_EQ(text(table.add(2, {9})), "2:9=30 read;"); // the late one is told at once
    EXPECT_EQ(doNext(table), "");
    EXPECT_EQ(text(table.take({{9, 31}}, false)), "1:9=31;2:9=31;");
    table.remove(1);
    EXPECT_EQ(doNext(table), "");
    EXPECT_EQ(table.standingOf(1), Standing::Gone);
    table.remove(2);
    table.remove(2);
    EXPECT_EQ(doNext(table), "unsubscribe 9");
    EXPECT_EQ(doNext(table), "");
    EXPECT_EQ(text(table.take({{9, 32}}, false)), "");
}

TEST(SubscriptionTable, StopsWhatIsNotReadYet) {
    SubscriptionTable table;
    table.add(1, {9});
    EXPECT_EQ(doNext(table), "subscribe 9");
    table.remove(1);
    EXPECT_EQ(doNext(table, Ended::Failed), "unsubscribe 9");
    EXPECT_EQ(doNext(table, Ended::Unsupported), "unsubscribe 9");
    EXPECT_EQ(doNext(table), "");
    table.add(2, {10});
    table.remove(2); // before it was asked for
    EXPECT_EQ(doNext(table), "");
}

TEST(SubscriptionTable, WaitsForAStepThatIsUnderWay) {
    SubscriptionTable table;
    table.add(1, {9});
    const auto step = table.nextStep();
    table.remove(1);
    EXPECT_EQ(text(table.nextStep()), "");
    table.stepEnded(*step, Ended::Done);
    EXPECT_EQ(doNext(table), "unsubscribe 9");
}

TEST(SubscriptionTable, AsksAgainForWhatFailedAndOverANewLink) {
    SubscriptionTable table;
    table.add(1, {9});
    EXPECT_EQ(doNext(table, Ended::Failed), "subscribe 9");
    EXPECT_EQ(doNext(table), "subscribe 9");
    EXPECT_EQ(doNext(table, Ended::Failed), "get 9");
    EXPECT_EQ(doNext(table), "get 9");
    table.take({{9, 30}}, true);
    table.linkLost();
    EXPECT_EQ(table.standingOf(1), Standing::Pending);
    EXPECT_EQ(text(table.add(2, {9})), ""); // what is held may be out of date
    EXPECT_EQ(doNext(table), "subscribe 9");
    EXPECT_EQ(doNext(table), "get 9");
    EXPECT_EQ(text(table.take({{9, 30}}, true)), "2:9=30 read;"); // no news for the first one
    table.linkLost();
    EXPECT_EQ(text(table.take({{9, 40}}, true)), "1:9=40 read;2:9=40 read;");
}

TEST(SubscriptionTable, TellsTheOldLinksSubscriptionToStop) {
    SubscriptionTable table;
    table.add(1, {9});
    doNext(table);
    table.remove(1);
    table.linkLost();
    EXPECT_EQ(doNext(table), "unsubscribe 9");
}

TEST(SubscriptionTable, AsksOneByOneForWhatIsRefusedTogether) {
    SubscriptionTable table;
    table.add(1, {9, 10});
    EXPECT_EQ(doNext(table, Ended::Unsupported), "subscribe 9 10");
    EXPECT_EQ(doNext(table, Ended::Unsupported), "subscribe 9");
    EXPECT_EQ(table.standingOf(1), Standing::Refused);
    EXPECT_EQ(doNext(table), "subscribe 10");
    EXPECT_EQ(doNext(table), "get 10");
    EXPECT_EQ(doNext(table), "");
    table.add(2, {10, 11});
    EXPECT_EQ(table.standingOf(2), Standing::Pending);
    EXPECT_EQ(doNext(table), "subscribe 11");
}

TEST(SubscriptionTable, AsksForAsManyStatesAsAMessageHolds) {
    SubscriptionTable table;
    std::vector<uint16_t> states;
    for (uint16_t i = 0; i < 300; ++i) states.push_back(i);
    table.add(1, states);
    const auto step = table.nextStep();
    EXPECT_EQ(step->states.size(), 255U);
    table.stepEnded(*step, Ended::Done);
    EXPECT_EQ(table.nextStep()->states.size(), 45U);
}

} // namespace
