// How checks are made: again where the checker itself could not run, and with the same bytes from the same seed.
#include <gtest/gtest.h>

#include <hostcheck/Runner.h>
#include <hostsim/StateText.h>

#include "Checker.h"
#include "LineWorld.h"

using hostcheck::Outcome;
using hostcheck::Result;

namespace {

// A machine on which the checker is held up: each time the host's bytes are waited for, or not at all.
class BusyWorld : public LineWorld {
public:
    BusyWorld(const hostsim::HostOptions& options, Wrongs wrongs, Time eachTime)
        : LineWorld(options, std::move(wrongs)), delay(eachTime) {}

    Time heldUp() const override { return sum; }
    ByteArray receive(Time until) override {
        sum += delay;
        return LineWorld::receive(until);
    }

private:
    Time delay;
    Time sum{0};
};

Result resultOf(const char* check, const hostsim::HostOptions& options, const Wrongs& wrongs, hostcheck::Time delay,
                uint64_t seed = 1) {
    BusyWorld world(options, wrongs, delay);
    hostcheck::Transcript transcript;
    hostcheck::SerialLink link(world, transcript);
    hostcheck::Setup setup = everything();
    setup.seed = seed;
    hostcheck::Bench bench(link, &world, nullptr, nullptr, setup);
    return hostcheck::Runner(bench, transcript).run(checkNamed(check));
}

// The host's response to the third packet after the first reset does not come: that of the check, the first time.
Wrongs silentOnce() {
    Wrongs wrongs;
    wrongs.toModule = [responses = 0](const ByteArray& bytes) mutable {
        const bool isResponse = bytes.size() == 8 && (bytes[4] & 7) == 3;
        return isResponse && ++responses == 3 ? ByteArray() : bytes;
    };
    return wrongs;
}

bool hasNote(const Result& result, const std::string& text) {
    for (const std::string& note : result.notes) {
        if (note.find(text) != std::string::npos) return true;
    }
    return false;
}

constexpr hostcheck::Time notAtAll{0};
constexpr hostcheck::Time much = hostcheck::milliseconds(30);

// What the checker sends in this check.
ByteArray bytesSent(const char* check, uint64_t seed) {
    ByteArray all;
    Wrongs wrongs;
    wrongs.toHost = [&all](const ByteArray& bytes) {
        all.insert(all.end(), bytes.begin(), bytes.end());
        return bytes;
    };
    EXPECT_EQ(resultOf(check, {}, wrongs, notAtAll, seed).outcome, Outcome::Passed);
    return all;
}

} // namespace

TEST(HeldUpChecker, BelievesAFailureOfATimeInWhichItRan) {
    const Result result = resultOf("response-form", {}, silentOnce(), notAtAll);
    EXPECT_EQ(result.outcome, Outcome::Failed);
    EXPECT_TRUE(result.notes.empty());
}

TEST(HeldUpChecker, MakesACheckAgainThatFailedMeanwhile) {
    const Result result = resultOf("response-form", {}, silentOnce(), much);
    EXPECT_EQ(result.outcome, Outcome::Passed);
    EXPECT_TRUE(result.text.empty()) << result.text;
    EXPECT_TRUE(hasNote(result, "made 2 times"));
    EXPECT_TRUE(hasNote(result, "the checker itself was held up for"));
}

TEST(HeldUpChecker, FailsAHostThatIsWrongEachTime) {
    Wrongs silent;
    silent.toModule = [](const ByteArray&) { return ByteArray(); };
    const Result result = resultOf("response-form", {}, silent, much);
    EXPECT_EQ(result.outcome, Outcome::Failed);
    EXPECT_TRUE(hasNote(result, "made 3 times"));
}

TEST(HeldUpChecker, TellsItAlsoOfACheckThatPassed) {
    const Result result = resultOf("response-form", {}, {}, much);
    EXPECT_EQ(result.outcome, Outcome::Passed);
    EXPECT_FALSE(hasNote(result, "times"));
    EXPECT_TRUE(hasNote(result, "the checker itself was held up for"));
}

// At each moment of the check, and of what comes before and behind it.
TEST(InterruptedChecker, PutsBackWhatItHasChanged) {
    const hostcheck::Time moment = hostcheck::milliseconds(3);
    unsigned changed = 0;
    bool isInterrupted = true;
    for (hostcheck::Time at = moment; isInterrupted; at += moment) {
        LineWorld world({}, {});
        hostcheck::Transcript transcript;
        hostcheck::SerialLink link(world, transcript);
        const hostcheck::Setup setup = everything();
        hostcheck::Bench bench(link, &world, nullptr, nullptr, setup);
        hostcheck::Runner runner(bench, transcript);
        const auto held = [&] { return world.host().application().states().get(setup.state).print(); };
        const std::string before = held();
        world.interruptAt = at;
        try {
            isInterrupted = false;
            runner.run(checkNamed("set-other"));
        } catch (const hostcheck::Interrupted&) {
            isInterrupted = true;
        }
        world.interruptAt.reset();
        changed += held() != before ? 1 : 0;
        EXPECT_TRUE(runner.leaveInOrder()) << at.count();
        EXPECT_EQ(held(), before) << at.count();
    }
    EXPECT_GT(changed, 0U);
}

TEST(Seed, GivesTheSameBytesAgainAndAnotherOneOthers) {
    const ByteArray first = bytesSent("noise-before", 7);
    EXPECT_GT(first.size(), 56u); // 1 + 7 + 8 + 40 bytes of noise alone
    EXPECT_EQ(bytesSent("noise-before", 7), first);
    EXPECT_NE(bytesSent("noise-before", 8), first);
}
