// The rules by which an answer finds its question, one by one; time is the test's.
#include <chrono>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <hostlinkclient/machines/Matcher.h>
#include <hostlinkclient/machines/Questions.h>

#include "support/Bytes.h"

namespace {

using namespace hostlink;
using namespace std::chrono_literals;
using How = Matcher::How;
using Id = Matcher::Id;

const ByteArray volume5 = bytes("02 80 01 09 00 CC 05");
const ByteArray volume6 = bytes("02 80 01 09 00 CC 06");
const ByteArray mute1 = bytes("02 80 01 07 00 CC 01");
const ByteArray setVolume5 = bytes("01 80 01 09 00 CC 05");
const ByteArray unsupported = bytes("00 80 00");
constexpr uint16_t volume = 9;
constexpr uint16_t mute = 7;

class MatcherTest : public testing::Test {
protected:
    MatcherTest() { matcher.setLink(Matcher::Link::Up, now); }

    Question get(std::vector<uint16_t> states, int sendings = 1) const {
        return timed(getQuestion(std::move(states)), sendings);
    }
    Question set(uint16_t state, int value, int sendings = 1) const {
        return timed(itemsQuestion(MSG_SetState, {{state, value}}), sendings);
    }
    Question led(Duration answerTime = 0ms) const {
        Question question = timed(itemsQuestion(MSG_SetLedApi, {{0, 1}}), 1);
        question.answerTime = answerTime;
        return question;
    }
    Question timed(Question question, int sendings) const {
        question.answerTime = 100ms;
        question.sendings = sendings;
        question.deadline = now + 1000ms;
        return question;
    }
    Id add(Question question) { return matcher.add(std::move(question), now); }

    // Writes what is next; 0 when nothing is.
    Id write(Written result = Written::Accepted, int refusals = 0) {
        const auto id = matcher.nextToSend(now);
        if (!id) return 0;
        matcher.lastPacketGoesOut();
        matcher.written(result, refusals, now);
        return *id;
    }
    // So that the host supports it; the first question.
    void hostHasAnsweredAGet() {
        add(get({mute}));
        write();
        matcher.received(mute1, now);
        EXPECT_EQ(ends(), "1 Answered");
    }
    void refuseWhileItIsWritten() {
        matcher.nextToSend(now);
        matcher.lastPacketGoesOut();
        matcher.received(unsupported, now);
    }
    void pass(Duration time) {
        now += time;
        matcher.tick(now);
    }
    // "1 Answered", or "" when nothing has ended.
    std::string ends() {
        std::string text;
        for (const Matcher::End& end : matcher.takeEnds()) {
            static const char* const names[] = {"Taken",      "Answered", "Part",     "Unsupported", "Refused",
                                                "Unanswered", "TimedOut", "LinkDown", "Cancelled"};
            if (!text.empty()) text += ", ";
            text += std::to_string(end.id) + " " + names[static_cast<int>(end.how)];
            last = end;
        }
        return text;
    }

    Time now{std::chrono::hours(1)};
    Matcher matcher{500ms};
    Matcher::End last{};
};

TEST_F(MatcherTest, GivesTheAnswerToItsQuestion) {
    EXPECT_EQ(add(get({volume})), 1U);
    EXPECT_EQ(write(), 1U);
    EXPECT_TRUE(matcher.received(volume5, now));
    EXPECT_EQ(ends(), "1 Answered");
    EXPECT_EQ(last.answer, volume5);
    EXPECT_TRUE(last.mayBeExecuted);
    EXPECT_FALSE(matcher.isOpen(1));
    EXPECT_FALSE(matcher.nextTime());
}

TEST_F(MatcherTest, TakesNoAnswerBeforeTheLastPacketIsOnItsWay) {
    add(get({volume}));
    matcher.lastPacketGoesOut(); // of nothing
    ASSERT_TRUE(matcher.nextToSend(now));
    EXPECT_TRUE(matcher.received(volume5, now));
    EXPECT_EQ(matcher.counts().foreign, 1U);
    matcher.lastPacketGoesOut();
    matcher.lastPacketGoesOut(); // is told once
    EXPECT_FALSE(matcher.nextToSend(now));
    EXPECT_TRUE(matcher.received(volume6, now));
    matcher.written(Written::Accepted, 0, now);
    EXPECT_EQ(ends(), "1 Answered");
    EXPECT_EQ(last.answer, volume6);
    matcher.written(Written::Accepted, 0, now); // of nothing
}

TEST_F(MatcherTest, LeavesTheHostsOwnMessagesToOthers) {
    add(get({volume}));
    write();
    EXPECT_FALSE(matcher.received(bytes("04 00 01 09 00 CC 05"), now));
    EXPECT_EQ(ends(), "");
}

TEST_F(MatcherTest, DropsWhatCannotBelong) {
    add(get({volume}));
    write();
    EXPECT_TRUE(matcher.received(mute1, now));                               // another state
    EXPECT_TRUE(matcher.received(setVolume5, now));                          // another kind
    EXPECT_TRUE(matcher.received(bytes("02 80 01 09 00 CC"), now));          // not whole
    EXPECT_TRUE(matcher.received(bytes("02 80 02 09 00 C0 07 00 C0"), now)); // more than was asked
    EXPECT_EQ(matcher.counts().foreign, 4U);
    EXPECT_EQ(ends(), "");
}

TEST_F(MatcherTest, TellsAnAnswerWithoutTheState) {
    add(get({volume, mute}));
    write();
    matcher.received(volume5, now);
    EXPECT_EQ(ends(), "1 Part");
}

TEST_F(MatcherTest, HasOneQuestionOfAKindUnderWay) {
    add(get({volume}));
    add(get({mute}));
    add(set(volume, 5));
    EXPECT_EQ(write(), 1U);
    EXPECT_EQ(write(), 3U); // of another kind, about a state that nothing holds up
    EXPECT_EQ(write(), 0U);
    matcher.received(volume5, now);
    EXPECT_EQ(write(), 2U);
}

TEST_F(MatcherTest, KeepsTheOrderAboutAState) {
    add(get({volume}));
    write();
    add(get({volume}));
    add(set(volume, 5));
    EXPECT_EQ(write(), 0U); // the set waits behind the get
    matcher.received(volume6, now);
    EXPECT_EQ(write(), 2U);
    EXPECT_EQ(write(), 3U);
}

TEST_F(MatcherTest, WaitsForALateAnswerAndDropsIt) {
    add(get({volume}));
    write();
    pass(100ms);
    EXPECT_EQ(ends(), "1 Unanswered");
    EXPECT_EQ(last.sendings, 1);
    add(get({volume}));
    EXPECT_EQ(write(), 0U);
    EXPECT_EQ(*matcher.nextTime(), now + 500ms);
    matcher.received(volume5, now);
    EXPECT_EQ(matcher.counts().late, 1U);
    EXPECT_EQ(write(), 2U);
    matcher.received(volume6, now);
    EXPECT_EQ(ends(), "2 Answered");
    EXPECT_EQ(last.answer, volume6);
}

TEST_F(MatcherTest, WaitsNoLongerThanAnAnswerMayBeLate) {
    add(get({volume}));
    write();
    pass(100ms);
    add(get({volume}));
    add(get({mute}));
    EXPECT_EQ(write(), 3U); // cannot be confused
    matcher.received(mute1, now);
    pass(499ms);
    EXPECT_EQ(write(), 0U);
    pass(1ms);
    EXPECT_EQ(write(), 2U);
}

TEST_F(MatcherTest, LetsAFamilyHaveEachOthersAnswers) {
    Question one = get({volume});
    one.family = 7;
    add(one);
    write();
    pass(100ms);
    ends();
    add(one);
    EXPECT_EQ(write(), 2U);
    matcher.received(volume5, now);
    EXPECT_EQ(ends(), "2 Answered");
}

TEST_F(MatcherTest, SendsAgainWhatDoesNoHarm) {
    add(get({volume}, 3));
    write();
    pass(100ms);
    EXPECT_EQ(write(Written::Unknown), 1U);
    pass(100ms);
    EXPECT_EQ(write(Written::Refused, 4), 1U);
    EXPECT_EQ(ends(), "1 Unanswered"); // an earlier sending may have arrived
    EXPECT_EQ(last.sendings, 3);
    EXPECT_EQ(last.refusals, 4);
}

TEST_F(MatcherTest, RemembersTheAnswersThatSendingsMayStillHave) {
    add(get({volume}, 2));
    write();
    pass(100ms);
    write();
    matcher.received(volume5, now);
    EXPECT_EQ(ends(), "1 Answered");
    add(get({volume}));
    EXPECT_EQ(write(), 0U);
    matcher.received(volume5, now);
    EXPECT_EQ(matcher.counts().late, 1U);
    EXPECT_EQ(write(), 2U);
}

TEST_F(MatcherTest, EndsWhatWasRefused) {
    add(set(volume, 5));
    write(Written::Refused, 4);
    EXPECT_EQ(ends(), "1 Refused");
    EXPECT_FALSE(last.mayBeExecuted);
    EXPECT_EQ(last.refusals, 4);
    add(get({volume}, 2));
    write(Written::Refused, 4);
    EXPECT_EQ(ends(), "");
    EXPECT_EQ(write(), 2U);
}

TEST_F(MatcherTest, EndsWhatBrokeOffBeforeItsLastPacket) {
    add(set(volume, 5));
    matcher.nextToSend(now);
    matcher.written(Written::Unknown, 0, now);
    EXPECT_EQ(ends(), "1 Refused");
    EXPECT_FALSE(last.mayBeExecuted);
}

TEST_F(MatcherTest, WaitsForTheAnswerToWhatMayHaveArrived) {
    add(set(volume, 5));
    write(Written::Unknown);
    EXPECT_EQ(ends(), "");
    matcher.received(setVolume5, now);
    EXPECT_EQ(ends(), "1 Answered");
}

TEST_F(MatcherTest, EndsAtTheDeadline) {
    add(set(volume, 5));
    add(get({volume}));
    add(get({mute}, 9));
    matcher.nextToSend(now); // still being written
    matcher.lastPacketGoesOut();
    pass(1000ms);
    EXPECT_EQ(ends(), "1 Unanswered, 2 TimedOut, 3 TimedOut");
    matcher.written(Written::Accepted, 0, now);
    EXPECT_EQ(ends(), "");
    matcher.received(setVolume5, now);
    EXPECT_EQ(matcher.counts().late, 1U);
}

TEST_F(MatcherTest, EndsAtTheDeadlineWhatWasRefusedBefore) {
    Question question = get({volume}, 3);
    add(question);
    write(Written::Refused, 4);
    pass(1000ms);
    EXPECT_EQ(ends(), "1 Refused");
}

TEST_F(MatcherTest, EndsOneWayMessagesWhenTheyAreTaken) {
    add(led());
    write();
    EXPECT_EQ(ends(), "1 Taken");
    add(led(50ms));
    write();
    EXPECT_EQ(ends(), "");
    pass(50ms);
    EXPECT_EQ(ends(), "2 Taken");
}

TEST_F(MatcherTest, EndsOneWayMessagesThatTheHostMayNotHave) {
    add(led());
    write(Written::Unknown);
    pass(0ms);
    EXPECT_EQ(ends(), "1 Unanswered");
    EXPECT_TRUE(last.mayBeExecuted);
}

TEST_F(MatcherTest, GivesARefusalToTheOnlyOneItCanMean) {
    matcher.received(unsupported, now);
    EXPECT_EQ(matcher.counts().foreign, 1U);
    add(set(volume, 5));
    write();
    matcher.received(unsupported, now);
    EXPECT_EQ(ends(), "1 Unsupported");
    EXPECT_FALSE(last.mayBeExecuted);
}

TEST_F(MatcherTest, GivesARefusalToWhomTheAnswersLeave) {
    add(get({volume}));
    add(set(mute, 1));
    write();
    write();
    matcher.received(unsupported, now);
    EXPECT_EQ(ends(), "");
    matcher.received(volume5, now);
    EXPECT_EQ(ends(), "1 Answered, 2 Unsupported");
}

TEST_F(MatcherTest, GivesARefusalToNobodyWhileAnEndedOneCanBeMeant) {
    add(get({volume}));
    write();
    pass(100ms);
    ends();
    add(set(mute, 1));
    write();
    matcher.received(unsupported, now);
    EXPECT_EQ(ends(), "");
    pass(100ms);
    EXPECT_EQ(ends(), "2 Unanswered");
    EXPECT_TRUE(last.mayBeUnsupported);
}

TEST_F(MatcherTest, GivesARefusalToTheOpenOneWhenTheEndedOneHasItsAnswer) {
    add(get({volume}));
    write();
    pass(100ms);
    ends();
    add(set(mute, 1));
    write();
    matcher.received(unsupported, now);
    matcher.received(volume5, now);
    EXPECT_EQ(ends(), "2 Unsupported");
}

TEST_F(MatcherTest, CountsARefusalOfAnEndedOneAsItsAnswer) {
    add(get({volume}));
    write();
    pass(100ms);
    ends();
    matcher.received(unsupported, now);
    EXPECT_EQ(matcher.counts().late, 1U);
    add(get({volume}));
    EXPECT_EQ(write(), 2U);
}

TEST_F(MatcherTest, SendsAgainWhatTheHostHasSupportedBefore) {
    hostHasAnsweredAGet();
    add(get({volume}, 2));
    write();
    matcher.received(unsupported, now);
    EXPECT_EQ(ends(), "");
    EXPECT_EQ(write(), 2U);
    matcher.received(unsupported, now);
    EXPECT_EQ(ends(), "2 Unsupported");
}

TEST_F(MatcherTest, RefusalThatComesLateLeavesTheNextSendingAlone) {
    hostHasAnsweredAGet();
    for (const bool isBeingWritten : {false, true}) {
        const Id id = add(get({volume}, 2));
        write();
        pass(100ms);
        if (isBeingWritten) matcher.nextToSend(now);
        matcher.received(unsupported, now);
        EXPECT_EQ(ends(), "");
        if (!isBeingWritten) matcher.nextToSend(now);
        matcher.lastPacketGoesOut();
        matcher.written(Written::Accepted, 0, now);
        matcher.received(volume5, now);
        EXPECT_EQ(ends(), std::to_string(id) + " Answered");
    }
}

TEST_F(MatcherTest, RefusalThatComesWhileItIsWrittenLeavesMoreSendings) {
    hostHasAnsweredAGet();
    add(get({volume}, 2));
    refuseWhileItIsWritten();
    matcher.written(Written::Accepted, 0, now);
    EXPECT_EQ(ends(), "");
    pass(100ms);
    refuseWhileItIsWritten(); // and there are no more
    EXPECT_EQ(ends(), "2 Unsupported");
}

TEST_F(MatcherTest, RefusalByHostAndByItsLinkIsOne) {
    hostHasAnsweredAGet();
    add(get({volume}, 2));
    refuseWhileItIsWritten();
    matcher.written(Written::Refused, 4, now);
    EXPECT_EQ(write(), 2U);
    matcher.received(volume5, now);
    EXPECT_EQ(ends(), "2 Answered");
}

TEST_F(MatcherTest, EndsWhatIsCancelled) {
    add(set(volume, 5));
    add(set(mute, 5));
    write();
    matcher.cancel(2, now);
    EXPECT_EQ(ends(), "2 Cancelled");
    EXPECT_FALSE(last.mayBeExecuted);
    matcher.cancel(1, now);
    EXPECT_EQ(ends(), "1 Cancelled");
    EXPECT_TRUE(last.mayBeExecuted);
    matcher.cancel(1, now);
    add(get({volume}));
    matcher.nextToSend(now);
    matcher.cancelAll(now);
    EXPECT_EQ(ends(), "3 Cancelled");
    EXPECT_TRUE(last.mayBeExecuted); // it may still go out
    EXPECT_FALSE(matcher.timeOf(3));
}

TEST_F(MatcherTest, EndsOrKeepsWhatIsAskedWhenTheLinkGoes) {
    Question patient = get({mute}, 3);
    patient.waitsForLink = true;
    Question commanding = set(mute, 1);
    commanding.waitsForLink = true;
    Question probe = patient;
    probe.isProbe = true;
    add(set(volume, 5));
    write();
    add(patient);
    write();
    add(get({volume}));
    add(commanding);
    add(probe);
    matcher.setLink(Matcher::Link::Down, now);
    EXPECT_EQ(ends(), "1 Unanswered, 3 LinkDown, 5 LinkDown");
    EXPECT_EQ(write(), 0U);
    add(get({volume}));
    EXPECT_EQ(ends(), "6 LinkDown");
    EXPECT_EQ(*matcher.timeOf(2), now + 1000ms);
    matcher.setLink(Matcher::Link::Probing, now);
    EXPECT_EQ(write(), 0U);
    matcher.setLink(Matcher::Link::Up, now);
    EXPECT_EQ(write(), 2U);
    EXPECT_EQ(*matcher.nextTime({2}), now + 1000ms);
}

TEST_F(MatcherTest, LetsProbesPassBeforeTheHostIsKnown) {
    matcher.setLink(Matcher::Link::Probing, now);
    Question probe = get({volume});
    probe.isProbe = true;
    add(get({mute}));
    add(probe);
    EXPECT_EQ(write(), 2U);
}

TEST_F(MatcherTest, LetsProbesPassThoseThatWereSentOverTheLinkBefore) {
    Question patient = get({volume}, 4);
    patient.waitsForLink = true;
    const Id asked = add(patient);
    EXPECT_EQ(write(), asked);
    matcher.setLink(Matcher::Link::Down, now);
    matcher.setLink(Matcher::Link::Probing, now);
    Question probe = get({mute});
    probe.isProbe = true;
    const Id probing = add(probe);
    EXPECT_EQ(write(), probing);
    EXPECT_TRUE(matcher.received(mute1, now));
    EXPECT_EQ(ends(), "2 Answered");
    matcher.setLink(Matcher::Link::Up, now);
    EXPECT_EQ(write(), asked);
}

TEST_F(MatcherTest, LetsProbesPassThoseThatWaitForThem) {
    matcher.setLink(Matcher::Link::Probing, now);
    Question probe = get({volume});
    probe.isProbe = true;
    add(set(volume, 5));
    add(probe);
    EXPECT_EQ(write(), 2U);
}

TEST_F(MatcherTest, CountsWhatSeveralCanHaveForNone) {
    add(get({volume, mute}));
    write();
    pass(100ms);
    ends();
    add(get({volume})); // a shorter answer to the first would be its whole answer
    EXPECT_EQ(write(), 0U);
    matcher.received(volume5, now);
    EXPECT_EQ(matcher.counts().late, 1U);
    EXPECT_EQ(write(), 0U); // it was less than the first one had asked for
}

TEST(Questions, HaveTheAnswersThatTheirMessagesAskFor) {
    const Question tunnel = rawQuestion(bytes("08 00 01 01 00 C5 00 00"));
    EXPECT_EQ(tunnel.answerId, MSG_TcpTunnelingResponse);
    EXPECT_EQ(tunnel.judge(bytes("09 80 01 01 00 CC 02")), Verdict::Answer);
    EXPECT_EQ(tunnel.judge(bytes("09 80 01 01 00 CC")), Verdict::Foreign);
    EXPECT_EQ(rawQuestion(bytes("06 00 01 01 00 CC 05")).answerId, MSG_Invalid);
    const Question subscribe = listQuestion(MSG_SubscribeState, {10, 9});
    EXPECT_EQ(subscribe.message, bytes("03 00 02 0A 00 09 00"));
    EXPECT_EQ(subscribe.key, (std::vector<uint16_t>{9, 10}));
    EXPECT_EQ(subscribe.judge(bytes("03 80 02 0A 00 09 00")), Verdict::Answer);
    EXPECT_EQ(subscribe.judge(bytes("03 80 01 0A 00")), Verdict::Part);
    EXPECT_EQ(subscribe.judge(bytes("03 80 01 0B 00")), Verdict::Foreign);
}

} // namespace
