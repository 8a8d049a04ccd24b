// The I2C link's set-up, traffic and end, while each of its system calls fails.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <hostlink/physicalLayers/I2cPhysicalLayer.h>

#include "PlayedBoard.h"
#include "Sweep.h"
#include "support/LogCapture.h"
#include "support/Packets.h"

using namespace sweep;

namespace {

const ByteArray fromHost = messageEnd(7, 0, {0x15, 0x80, 0});
const ByteArray toHost = messageEnd(1, 0, {1, 2, 3});

// One link over a board, for all runs: what a failure leaves behind shows in the next one. It keeps its bus for good,
// so the bus is opened here, where no call fails.
class BusLinkOnBoard {
public:
    BusLinkOnBoard() {
        playKernel(&board);
        const UnderTest now;
        link = std::make_unique<I2cPhysicalLayer>(properties());
        link->addDataReceivedObserver([this](const ByteArray&) { ++delivered; });
    }
    ~BusLinkOnBoard() {
        link.reset();
        playKernel(nullptr);
    }

    // Every edge that the watcher saw has been served.
    bool waitUntilServed() {
        return board.waitUntilServed() && log.waitUntil([](const std::vector<LogLine>& lines) {
            return count(lines, "IRQ GPIO falling edge") == count(lines, "Leave [HostLinkPhysicalLayer] void "
                                                                         "SyncSerialLayer::readFromSlave(int)");
        });
    }

    PlayedBoard board;
    LogCapture log{"HostLinkPhysicalLayer"};
    std::unique_ptr<SyncSerialLayer> link;
    std::atomic<int> delivered{0};

private:
    static HostLinkPhysicalLayer::Properties properties() {
        HostLinkPhysicalLayer::Properties all;
        all.setString(DevicePath, PlayedBoard::i2cPath);
        all.setInt(GpioNumber, PlayedBoard::gpio);
        all.setInt(I2cSlaveAddress, 0x42);
        return all;
    }
    static long count(const std::vector<LogLine>& lines, const std::string& start) {
        return std::count_if(lines.begin(), lines.end(),
                             [&](const LogLine& line) { return line.text.compare(0, start.size(), start) == 0; });
    }
};

// Started, asked to receive and to send, stopped.
class BusLinkInUse : public Scenario {
public:
    explicit BusLinkInUse(BusLinkOnBoard& shared) : on(shared) { on.log.clear(); }
    ~BusLinkInUse() override { shutdown(); }

    std::vector<Step> steps() override {
        return {{"init", [this] { return init(); }},
                {"receive", [this] { return receive(); }},
                {"send", [this] { return send(); }},
                {"receive again", [this] { return receive(); }},
                {"shutdown", [this] { return shutdown(); }}};
    }

    Effect effectOf(const Call& call, const Failure& failure) const override {
        if (failure.isError(EINTR)) return Effect::None;
        if (call.name == "eventfd" || call.name == "pipe2" || call.name == "pthread_create") return Effect::StepFails;
        if (call.name == "open") // EACCES: tried again
            return endsWith(call.path, "/value") && !failure.isError(EACCES) ? Effect::StepFails : Effect::None;
        // The watcher ends, or misses the level.
        if (call.name == "poll" || call.name == "lseek") return Effect::LosesEvents;
        if (call.name == "read") return failure.kind == Failure::Kind::Error ? Effect::LosesEvents : Effect::None;
        // A packet that the host has for us is read again, one that it has not got is not.
        if (call.name == "ioctl" && call.step == sendStep)
            return failure.kind == Failure::Kind::Error ? Effect::StepFails : Effect::None;
        return Effect::None;
    }

    void recover() override {
        shutdown();
        on.board.quieten(); // or what was not served yet would be served as soon as the link runs again
        on.log.clear();
        init();
    }

private:
    static constexpr std::size_t sendStep = 2;

    static bool endsWith(const std::string& text, const std::string& end) {
        return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
    }

    bool init() {
        const UnderTest now;
        started = on.link->init() || started;
        return started;
    }

    bool receive() {
        const int before = on.delivered;
        on.board.queue(fromHost);
        on.board.signalLine();
        return on.waitUntilServed() && on.delivered == before + 1;
    }

    bool send() {
        const UnderTest now;
        return on.link->writeData(toHost) == Accepted;
    }

    bool shutdown() {
        const UnderTest now;
        on.link->shutdown();
        started = false;
        return true;
    }

    BusLinkOnBoard& on;
    bool started = false;
};

const std::vector<std::string> busKinds = {"close", "eventfd", "ioctl",          "lseek", "open",
                                           "pipe2", "poll",    "pthread_create", "read",  "write"};

class BusLinkSweep : public testing::TestWithParam<std::string> {
protected:
    BusLinkOnBoard on;
    const ScenarioMaker inUse = [this] { return std::make_unique<BusLinkInUse>(on); };
};

TEST_P(BusLinkSweep, OfALink) {
    sweepOver(GetParam(), inUse);
    EXPECT_EQ(on.board.content("export"), "17");
    EXPECT_EQ(on.board.content("direction"), "in");
    EXPECT_EQ(on.board.content("edge"), "falling");
}

INSTANTIATE_TEST_SUITE_P(Calls, BusLinkSweep, testing::ValuesIn(busKinds), [](const auto& call) { return call.param; });

TEST(BusLinkCalls, AreAllSwept) {
    BusLinkOnBoard on;
    expectCallsOf([&] { return std::make_unique<BusLinkInUse>(on); }, busKinds);
}

} // namespace
