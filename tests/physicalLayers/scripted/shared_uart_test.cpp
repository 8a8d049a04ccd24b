// How the port that threads share goes: each thread held between its announcement and the port.
#include <chrono>
#include <deque>
#include <future>
#include <memory>
#include <optional>
#include <thread>

#include <gtest/gtest.h>

#include <hostlink/physicalLayers/SharedUart.h>

#include "support/MustEnd.h"
#include "support/ProcessWatch.h"
#include "support/Signal.h"
#include "support/scripted/ScriptedPort.h"

using Use = SharedUart::Use;
using Purpose = SharedUart::Purpose;

namespace {

constexpr auto path = "/dev/shared";
constexpr std::chrono::seconds patience{20};
constexpr std::chrono::seconds never{30}; // longer than anything here waits, and yet an end

std::unique_ptr<Uart> makePort() {
    return std::make_unique<Uart>(path, 115200, 0, "none", true);
}

// A thread that has announced itself and stays there.
class Announced {
public:
    Announced(SharedUart& shared, Purpose purpose)
        : thread([this, &shared, purpose] {
              const Use use(shared, purpose);
              id = currentThread();
              announced.raise();
              released.wait(patience);
          }) {
        announced.wait(patience);
    }
    ~Announced() {
        release();
        if (thread.joinable()) thread.join();
    }
    void release() { released.raise(); }
    pid_t threadId() const { return id; }

private:
    Signal announced;
    Signal released;
    pid_t id = -1;
    std::thread thread; // goes first
};

// --- With a serial library that cannot end a port ---

class SharedUartThatLooks : public testing::Test {
protected:
    // Goes through `answers`, then says yes.
    SharedUart::Look scripted(std::deque<bool> answers) {
        return [this, answers](pid_t) mutable {
            EXPECT_EQ(port.destructions(), 0) << "look " << looks;
            ++looks;
            if (answers.empty()) return true;
            const bool answer = answers.front();
            answers.pop_front();
            return answer;
        };
    }

    ScriptedPort port{path};
    int looks = 0;
};

TEST_F(SharedUartThatLooks, PortWithoutUsersGoesAtOnce) {
    SharedUart shared({}, scripted({}), never);
    shared.set(makePort());
    shared.destroy();
    EXPECT_EQ(looks, 0);
    EXPECT_EQ(port.destructions(), 1);
    EXPECT_FALSE(shared.isPresent());
}

TEST_F(SharedUartThatLooks, ReaderThatRunsIsWaitedForUntilItSleepsInTwoLooks) {
    SharedUart shared({}, scripted({false, false, false}), never);
    shared.set(makePort());
    const Announced reader(shared, Purpose::Read);
    shared.destroy();
    EXPECT_EQ(looks, 5);
    EXPECT_EQ(port.destructions(), 1);
}

TEST_F(SharedUartThatLooks, SleepBetweenTwoRunsDoesNotCount) {
    SharedUart shared({}, scripted({true, false, true, false}), never);
    shared.set(makePort());
    const Announced reader(shared, Purpose::Read);
    shared.destroy();
    EXPECT_EQ(looks, 6);
}

TEST_F(SharedUartThatLooks, OneThatSleepsDoesNotSpeakForAnother) {
    std::optional<Announced> first;
    int looksAtOther = 0;
    SharedUart shared(
        {},
        [&](pid_t thread) {
            EXPECT_EQ(port.destructions(), 0);
            return thread == first->threadId() || ++looksAtOther > 3;
        },
        never);
    shared.set(makePort());
    first.emplace(shared, Purpose::Read);
    const Announced second(shared, Purpose::Read);
    shared.destroy();
    EXPECT_EQ(looksAtOther, 5);
    first.reset();
}

TEST_F(SharedUartThatLooks, WriterThatSleepsIsWaitedForUntilItHasLeft) {
    std::optional<Announced> writer;
    SharedUart shared(
        {},
        [&](pid_t) {
            EXPECT_EQ(port.destructions(), 0);
            if (++looks == 4) writer->release();
            return true;
        },
        never);
    shared.set(makePort());
    const Announced reader(shared, Purpose::Read);
    writer.emplace(shared, Purpose::Other);
    shared.destroy();
    EXPECT_GE(looks, 6); // four beside the writer, two without it
    writer.reset();
}

TEST_F(SharedUartThatLooks, LastUserThatLeavesEndsTheWait) {
    std::optional<Announced> reader;
    SharedUart shared(
        {},
        [&](pid_t) {
            reader->release();
            return false;
        },
        never);
    shared.set(makePort());
    reader.emplace(shared, Purpose::Read);
    std::future<void> going = std::async(std::launch::async, [&] { shared.destroy(); });
    mustEnd(going, "destroying the port");
    EXPECT_EQ(port.destructions(), 1);
    reader.reset();
}

// Each look costs a millisecond at least: so many looks, then, bound the time whatever the machine does meanwhile.
TEST_F(SharedUartThatLooks, ThreadThatNeverSleepsIsGivenHalfASecond) {
    SharedUart shared({}, [this](pid_t) { return ++looks > 1000; });
    shared.set(makePort());
    const Announced reader(shared, Purpose::Read);
    const auto begin = std::chrono::steady_clock::now();
    shared.destroy();
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(500));
    EXPECT_GT(looks, 1);
    EXPECT_LT(looks, 600);
    EXPECT_EQ(port.destructions(), 1);
}

// On a machine that has stood still meanwhile the time says nothing.
TEST_F(SharedUartThatLooks, ThreadThatNeverSleepsIsGivenFiftyLooksHoweverLateItIs) {
    SharedUart shared({}, scripted(std::deque<bool>(1000, false)), std::chrono::milliseconds(0));
    shared.set(makePort());
    const Announced reader(shared, Purpose::Read);
    shared.destroy();
    EXPECT_EQ(looks, 50);
    EXPECT_EQ(port.destructions(), 1);
}

// The port takes its time to go. Whoever asks meanwhile is not kept waiting.
TEST_F(SharedUartThatLooks, PortThatIsGoingReadsAsAbsentAtOnce) {
    SharedUart shared({}, scripted({}), never);
    std::unique_ptr<Uart> made = makePort();
    Uart* const uart = made.get();
    shared.set(std::move(made));
    Signal inside;
    Signal mayLeave;
    port.onWrite([&](const ByteArray&) {
        inside.raise();
        mayLeave.wait(patience);
    });
    std::future<bool> written = std::async(std::launch::async, [&] { return uart->write({1}); });
    ASSERT_TRUE(inside.wait(patience));
    std::future<void> going = std::async(std::launch::async, [&] { shared.destroy(); });
    ASSERT_TRUE(port.waitForDestructions(1));
    std::future<bool> present = std::async(std::launch::async, [&] { return shared.isPresent(); });
    EXPECT_EQ(present.wait_for(patience / 2), std::future_status::ready);
    EXPECT_EQ(going.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    mayLeave.raise();
    EXPECT_FALSE(present.get());
    mustEnd(going, "destroying the port");
}

TEST_F(SharedUartThatLooks, NobodyGetsInBehindTheDetaching) {
    SharedUart shared({}, scripted({}), never);
    shared.set(makePort());
    const Announced reader(shared, Purpose::Read);
    shared.destroy();
    EXPECT_FALSE(shared.isPresent());
    EXPECT_FALSE(static_cast<bool>(Use(shared)));
}

// --- With one that can ---

class SharedUartThatEnds : public testing::Test {
protected:
    SharedUart::Look noLook() {
        return [](pid_t) {
            ADD_FAILURE() << "there is no need to look at threads";
            return true;
        };
    }

    ScriptedPort port{path};
};

TEST_F(SharedUartThatEnds, PortIsEndedAliveAndDestroyedOnlyWhenEveryThreadHasLeft) {
    Signal ended;
    SharedUart shared(
        [&](Uart&) {
            EXPECT_EQ(port.destructions(), 0);
            ended.raise();
        },
        noLook(), std::chrono::milliseconds(0));
    shared.set(makePort());
    Announced reader(shared, Purpose::Read);
    Announced writer(shared, Purpose::Other);
    std::promise<pid_t> destroyer;
    std::future<void> going = std::async(std::launch::async, [&] {
        destroyer.set_value(currentThread());
        shared.destroy();
    });
    const pid_t thread = destroyer.get_future().get();
    ASSERT_TRUE(ended.wait(patience));
    const auto waitsOrIsThrough = [&] {
        return sleepsOnFutex(thread) || going.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    };
    mustBecomeTrue(waitsOrIsThrough, "the destroying thread waits or is through");
    EXPECT_EQ(port.destructions(), 0);
    EXPECT_FALSE(shared.isPresent());
    writer.release();
    mustBecomeTrue(waitsOrIsThrough, "the destroying thread waits or is through");
    EXPECT_EQ(port.destructions(), 0);
    reader.release();
    mustEnd(going, "destroying the port");
    EXPECT_EQ(port.destructions(), 1);
}

TEST_F(SharedUartThatEnds, PortIsEndedBeforeAnotherTakesItsPlace) {
    int ends = 0;
    SharedUart shared(
        [&](Uart&) {
            ++ends;
            EXPECT_EQ(port.destructions(), 0);
        },
        noLook());
    shared.set(makePort());
    EXPECT_EQ(ends, 0);
    shared.set(makePort());
    EXPECT_EQ(ends, 1);
    EXPECT_EQ(port.destructions(), 1);
    EXPECT_TRUE(shared.isPresent());
}

TEST_F(SharedUartThatEnds, ThreadsCanLeaveWhileThePortEnds) {
    std::optional<Announced> reader;
    std::future<void> left;
    std::future_status leftInTime = std::future_status::deferred;
    SharedUart shared(
        [&](Uart&) {
            left = std::async(std::launch::async, [&] { reader.reset(); });
            leftInTime = left.wait_for(patience);
        },
        noLook());
    shared.set(makePort());
    reader.emplace(shared, Purpose::Read);
    shared.destroy();
    EXPECT_EQ(leftInTime, std::future_status::ready);
    EXPECT_EQ(port.destructions(), 1);
}

} // namespace
