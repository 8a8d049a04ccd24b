#include "Ending.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

#include "LiveBytes.h"
#include "support/LinkThreads.h"
#include "support/ProcessCounts.h"
#include "support/ProcessWatch.h"
#include "support/Watchdog.h"
#include "support/schedule/Hunt.h"

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

namespace {

/// HOSTLINK_ENDING_ROUNDS is for a machine that takes too long for so many.
int roundsOf(int usual) {
    if (schedule::isHunt()) return 1; // a hunt repeats the whole test
    const char* given = std::getenv("HOSTLINK_ENDING_ROUNDS");
    return given != nullptr ? std::min(usual, std::atoi(given)) : usual;
}

constexpr int warmUpRounds = 5; // in which the libraries underneath take what they keep
constexpr seconds limit{1};
constexpr milliseconds observerWorksOn{5};
constexpr seconds observerWaitsAtMost{3}; // longer than an end may take

/// How long this process did not get to run: a thread that wants to run each millisecond notes how late it comes. An
/// end is measured in the time that the machine gave it. The kernel favours a thread that sleeps most of the time over
/// those that have something to do; where an end takes long the watcher wants to run all the time, as they do.
class StallWatch {
public:
    StallWatch() : watcher([this] { watch(); }) {}
    ~StallWatch() {
        stopped = true;
        watcher.join();
    }
    StallWatch(const StallWatch&) = delete;
    StallWatch& operator=(const StallWatch&) = delete;
    steady_clock::duration stalled() const { return steady_clock::duration(late); }
    /// With all that has been until now: the watcher, too, may have yet to run.
    steady_clock::duration stalledUntilNow() const {
        const unsigned before = steps;
        while (steps - before < 2) std::this_thread::sleep_for(step); // the step that it is in, and a whole one
        return stalled();
    }
    void endBegins() { endsSince = steady_clock::now().time_since_epoch().count(); }
    void endIsOver() { endsSince = 0; }

private:
    void watch() {
        while (!stopped) {
            if (endTakesLong())
                competeForAStep();
            else
                sleepForAStep();
            ++steps;
        }
    }
    bool endTakesLong() const {
        const steady_clock::duration since(endsSince);
        return since != steady_clock::duration::zero() && steady_clock::now().time_since_epoch() - since > usualOfAnEnd;
    }
    void sleepForAStep() {
        const auto due = steady_clock::now() + step;
        std::this_thread::sleep_until(due);
        late += (steady_clock::now() - due).count();
    }
    // Whoever looks at the clock without a pause sees in it when others ran in his place.
    void competeForAStep() {
        const auto end = steady_clock::now() + step;
        for (auto last = steady_clock::now(); last < end;) {
            const auto now = steady_clock::now();
            if (now - last > lookingAtTheClock) late += (now - last).count();
            last = now;
        }
    }

    static constexpr milliseconds step{1};
    static constexpr milliseconds usualOfAnEnd{200};
    static constexpr std::chrono::microseconds lookingAtTheClock{100};
    std::atomic<bool> stopped{false};
    std::atomic<steady_clock::rep> endsSince{0}; // 0: nothing ends
    std::atomic<steady_clock::rep> late{0};
    std::atomic<unsigned> steps{0};
    std::thread watcher;
};

/// How long the rig, another process in whose calls the end of a bus link waits, did not get to run.
steady_clock::duration rigStalled() {
    constexpr pid_t rig = 2; // in its namespace, see src/rig/RigSandbox.cpp
    std::string name;
    std::ifstream("/proc/" + std::to_string(rig) + "/comm") >> name;
    return name == "zent-busrig" ? waitedForProcessor(rig) : std::chrono::nanoseconds(0);
}

void endInTime(EndingSubject& subject, StallWatch& stalls, int round) {
    const auto stalledBefore = stalls.stalled() + rigStalled();
    const auto begin = steady_clock::now();
    stalls.endBegins();
    subject.end(round % 2 == 0);
    stalls.endIsOver();
    auto took = steady_clock::now() - begin;
    if (took >= limit) took -= stalls.stalledUntilNow() + rigStalled() - stalledBefore;
    EXPECT_LT(took.count(), steady_clock::duration(limit).count()) << "ns in round " << round;
    EXPECT_EQ(subject.observersInside(), 0) << "round " << round;
}

void runRound(EndingSubject& subject, const std::string& state, StallWatch& stalls, int round) {
    const auto at = [&](const char* step) { testIsAt(state + ", round " + std::to_string(round) + ": " + step); };
    at("start");
    subject.start();
    at("enter");
    ASSERT_TRUE(subject.enter()) << "round " << round;
    at("end");
    endInTime(subject, stalls, round);
    at("leave");
    ASSERT_TRUE(subject.leave()) << "round " << round;
}

class StackInState : public EndingSubject {
public:
    StackInState(EndingStack& ended, At wanted) : stack(ended), state(wanted) {}
    void start() override { stack.start(state); }
    bool enter() override { return stack.enter(state); }
    void end(bool withShutdown) override { stack.end(withShutdown); }
    int observersInside() const override { return stack.observersInside(); }
    bool leave() override { return stack.leave(); }

private:
    EndingStack& stack;
    const At state;
};

} // namespace

std::string nameOf(At state) {
    switch (state) {
    case At::Idle: return "Idle";
    case At::BlockedRead: return "BlockedRead";
    case At::WaitingForAnAnswer: return "WaitingForAnAnswer";
    case At::InsideAnObserver: return "InsideAnObserver";
    case At::InTheMiddleOfAPacket: return "InTheMiddleOfAPacket";
    case At::FloodedWithInput: return "FloodedWithInput";
    case At::DeviceGone: return "DeviceGone";
    case At::FarSideNotReading: return "FarSideNotReading";
    case At::NeverStarted: return "NeverStarted";
    case At::Stopped: return "Stopped";
    case At::InitFailed: return "InitFailed";
    case At::WatcherGone: return "WatcherGone";
    case At::WritersQueued: return "WritersQueued";
    case At::AnObserverWaitsForAWriter: return "AnObserverWaitsForAWriter";
    }
    return "?";
}

void EndingStack::start(At state) {
    link = makeLink();
    link->addDataReceivedObserver([this](const ByteArray&) { packetReceived(); });
    transport = std::make_unique<HostLinkTransportLayer>(link.get());
    transport->addMessageReceivedObserver([this](const ByteArray&) { messageReceived(); });
    if (state == At::NeverStarted) return;
    if (state == At::InitFailed) spoilStart();
    transport->initTransportLayer();
    if (state == At::Stopped) transport->shutdown();
}

void EndingStack::end(bool withShutdown) {
    letGo();
    endBegins.raise();
    if (withShutdown) transport->shutdown();
    transport.reset();
    link.reset();
}

bool EndingStack::leave() {
    bool wellEnded = true;
    for (auto& one : written)
        if (one.wait_for(patience) != std::future_status::ready || one.get() != NoResponse) wellEnded = false;
    std::vector<std::future<WriteDataResponse>>().swap(written); // its memory as well
    observersHeld = false;
    observersWaitForWriters = false;
    for (Signal* const signal : {&observerEntered, &endBegins, &writerReturned}) signal->lower();
    clearUp();
    return wellEnded;
}

bool EndingStack::startWriter(const ByteArray& packet) {
    Signal started;
    written.push_back(std::async(std::launch::async, [this, &started, &packet, to = link.get()] {
        writerThread = currentThread();
        started.raise();
        const WriteDataResponse response = to->writeData(packet);
        writerReturned.raise();
        return response;
    }));
    return started.wait(patience);
}

// Before the transport has the packet: its end waits for a delivery under way.
void EndingStack::packetReceived() {
    if (!observersWaitForWriters) return;
    ++inside;
    observerEntered.raise();
    writerReturned.wait(observerWaitsAtMost);
    --inside;
}

void EndingStack::messageReceived() {
    ++inside;
    observerEntered.raise();
    if (observersHeld) {
        endBegins.wait(patience);
        std::this_thread::sleep_for(observerWorksOn);
    }
    --inside;
}

Remains countRemains() {
    return {descriptorCount(), liveBytes()};
}

void endInState(EndingSubject& subject, const std::string& state, const Remains& perRound, int usualRounds) {
    const int rounds = roundsOf(usualRounds);
    StallWatch stalls;
    const NewThreads threads;
    Remains before;
    for (int round = -warmUpRounds; round < rounds; ++round) {
        if (round == 0) before = countRemains();
        ASSERT_NO_FATAL_FAILURE(runRound(subject, state, stalls, round));
        ASSERT_TRUE(threads.haveGone()) << "round " << round;
    }
    const Remains left = countRemains() - before;
    EXPECT_EQ(left.descriptors, rounds * perRound.descriptors);
    EXPECT_EQ(left.bytes, rounds * perRound.bytes);
}

void endInState(EndingStack& stack, At state, const Remains& perRound) {
    StackInState subject(stack, state);
    endInState(subject, nameOf(state), perRound);
}
