#include "Ending.h"

#include <thread>

#include "LiveBytes.h"
#include "support/ProcessCounts.h"
#include "support/ProcessWatch.h"

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

namespace {

constexpr int rounds = 100;
constexpr int warmUpRounds = 5; // in which the libraries underneath take what they keep
constexpr seconds limit{1};
constexpr milliseconds observerWorksOn{5};

/// How long this process did not get to run: a thread that wants to run each millisecond notes how late it comes. An
/// end is measured in the time that the machine gave it.
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

private:
    void watch() {
        while (!stopped) {
            const auto due = steady_clock::now() + step;
            std::this_thread::sleep_until(due);
            late += (steady_clock::now() - due).count();
        }
    }

    static constexpr milliseconds step{1};
    std::atomic<bool> stopped{false};
    std::atomic<steady_clock::rep> late{0};
    std::thread watcher;
};

void endInTime(EndingStack& stack, const StallWatch& stalls, int round) {
    const auto stalledBefore = stalls.stalled();
    const auto begin = steady_clock::now();
    stack.end();
    const auto took = steady_clock::now() - begin - (stalls.stalled() - stalledBefore);
    EXPECT_LT(took, limit) << "round " << round;
}

void runRound(EndingStack& stack, At state, const StallWatch& stalls, int round) {
    stack.start();
    ASSERT_TRUE(stack.enter(state)) << "round " << round;
    endInTime(stack, stalls, round);
    ASSERT_TRUE(stack.leave()) << "round " << round;
}

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
    }
    return "?";
}

void EndingStack::start() {
    link = makeLink();
    transport = std::make_unique<HostLinkTransportLayer>(link.get());
    transport->addMessageReceivedObserver([this](const ByteArray&) { messageReceived(); });
    transport->initTransportLayer();
}

void EndingStack::end() {
    letGo();
    endBegins.raise();
    transport->shutdown();
    transport.reset();
    link.reset();
}

bool EndingStack::leave() {
    const bool wellEnded =
        !written.valid() || (written.wait_for(patience) == std::future_status::ready && written.get() == NoResponse);
    observersHeld = false;
    observerEntered.lower();
    endBegins.lower();
    clearUp();
    return wellEnded;
}

bool EndingStack::startWriter(const ByteArray& packet) {
    Signal started;
    written = std::async(std::launch::async, [this, &started, &packet, to = link.get()] {
        writerThread = currentThread();
        started.raise();
        return to->writeData(packet);
    });
    return started.wait(patience);
}

void EndingStack::messageReceived() {
    observerEntered.raise();
    if (!observersHeld) return;
    endBegins.wait(patience);
    std::this_thread::sleep_for(observerWorksOn);
}

Remains countRemains() {
    return {descriptorCount(), liveBytes()};
}

void endInState(EndingStack& stack, At state, const Remains& perRound) {
    const StallWatch stalls;
    const long threads = threadCount();
    Remains before;
    for (int round = -warmUpRounds; round < rounds; ++round) {
        if (round == 0) before = countRemains();
        ASSERT_NO_FATAL_FAILURE(runRound(stack, state, stalls, round));
        ASSERT_TRUE(waitForThreadCount(threads)) << "round " << round;
    }
    const Remains left = countRemains() - before;
    EXPECT_EQ(left.descriptors, rounds * perRound.descriptors);
    EXPECT_EQ(left.bytes, rounds * perRound.bytes);
}
