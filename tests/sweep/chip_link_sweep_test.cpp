// A link over a GPIO chip's character device, its set-up, traffic and end, while each of its system calls fails.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <hostlink/physicalLayers/I2cPhysicalLayer.h>

#include "PlayedChip.h"
#include "Sweep.h"
#include "support/LogCapture.h"
#include "support/Packets.h"

using namespace sweep;

namespace {

const ByteArray fromHost = messageEnd(7, 0, {0x15, 0x80, 0});
constexpr auto exchangeLeft = "Leave [HostLinkPhysicalLayer] void SyncSerialLayer::readFromSlave(int): readSize: 64";
constexpr auto watcherLeft = "Leave [HostLinkPhysicalLayer] void SyncSerialLayer::gpioIrqLoop(): ";

// One link for all runs: what a failure leaves behind shows in the next one.
class ChipLinkOnBoard {
public:
    ChipLinkOnBoard() {
        playKernel(&board);
        board.add("gpiochip0", {"expander", {"", ""}});
        board.add("gpiochip1", {"pinctrl", {"", "HOST_IRQ"}});
        HostLinkPhysicalLayer::Properties properties;
        properties.setString(DevicePath, PlayedBoard::i2cPath);
        properties.setInt(I2cSlaveAddress, 0x42);
        properties.setString(GpioChip, "/dev/gpiochip1");
        properties.setString(GpioLine, "HOST_IRQ");
        const UnderTest now;
        link = std::make_unique<I2cPhysicalLayer>(properties);
        link->addDataReceivedObserver([this](const ByteArray&) { ++delivered; });
    }
    ~ChipLinkOnBoard() {
        link.reset();
        playKernel(nullptr);
    }

    PlayedChip board;
    LogCapture log{"HostLinkPhysicalLayer"};
    std::unique_ptr<SyncSerialLayer> link;
    std::atomic<int> delivered{0};
};

// Started, asked to receive twice, stopped.
class ChipLinkInUse : public Scenario {
public:
    explicit ChipLinkInUse(ChipLinkOnBoard& shared) : on(shared) { on.log.clear(); }
    ~ChipLinkInUse() override { shutdown(); }

    std::vector<Step> steps() override {
        return {{"init", [this] { return init(); }},
                {"receive", [this] { return receive(); }},
                {"receive again", [this] { return receive(); }},
                {"shutdown", [this] { return shutdown(); }}};
    }

    Effect effectOf(const Call& call, const Failure& failure) const override {
        if (failure.isError(EINTR) || call.name == "close") return Effect::None;
        if (call.step == initStep && call.name != "poll")
            return failure.kind == Failure::Kind::Half ? Effect::None : Effect::StepFails;
        if (call.name == "poll") return Effect::LosesEvents;
        if (call.name == "read")
            return failure.isError(EAGAIN) || failure.kind == Failure::Kind::Half ? Effect::None : Effect::LosesEvents;
        return Effect::None; // the bus is read again
    }

    void recover() override {
        shutdown();
        on.board.quieten();
        on.log.clear();
        init();
    }

private:
    static constexpr std::size_t initStep = 0;

    bool init() {
        const UnderTest now;
        started = on.link->init() || started;
        return started;
    }

    // Until an exchange has ended, or the watcher.
    bool receive() {
        const int before = on.delivered;
        on.log.clear();
        on.board.queue(fromHost);
        if (!on.board.isLineOpen()) return false;
        on.board.pulse();
        on.log.waitUntil([](const std::vector<LogLine>& lines) {
            return std::any_of(lines.begin(), lines.end(), [](const LogLine& line) {
                return line.text == exchangeLeft || line.text == watcherLeft;
            });
        });
        return on.delivered == before + 1;
    }

    bool shutdown() {
        const UnderTest now;
        on.link->shutdown();
        started = false;
        return true;
    }

    ChipLinkOnBoard& on;
    bool started = false;
};

const std::vector<std::string> chipKinds = {"close", "eventfd", "ioctl", "open",          "pipe2",
                                            "poll",  "read",    "write", "pthread_create"};

class ChipLinkSweep : public testing::TestWithParam<std::string> {
protected:
    // The board's end of the line is made here, and stays: the runs compare descriptors.
    void SetUp() override {
        const UnderTest now;
        ASSERT_TRUE(on.link->init());
        on.link->shutdown();
    }

    ChipLinkOnBoard on;
    const ScenarioMaker inUse = [this] { return std::make_unique<ChipLinkInUse>(on); };
};

TEST_P(ChipLinkSweep, OfALink) {
    sweepOver(GetParam(), inUse);
    EXPECT_FALSE(on.board.isLineOpen());
}

INSTANTIATE_TEST_SUITE_P(Calls, ChipLinkSweep, testing::ValuesIn(chipKinds),
                         [](const auto& call) { return call.param; });

TEST(ChipLinkCalls, AreAllSwept) {
    ChipLinkOnBoard on;
    {
        const UnderTest now;
        ASSERT_TRUE(on.link->init());
        on.link->shutdown();
    }
    expectCallsOf([&] { return std::make_unique<ChipLinkInUse>(on); }, chipKinds);
}

} // namespace
