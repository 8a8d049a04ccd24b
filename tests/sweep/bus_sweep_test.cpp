// The I2C and the SPI bus, while each of their system calls fails.
#include <cerrno>
#include <memory>
#include <string>

#include <linux/i2c-dev.h>

#include <gtest/gtest.h>

#include <serialcomm/I2c.h>
#include <serialcomm/Spi.h>

#include "PlayedBoard.h"
#include "Sweep.h"
#include "support/Packets.h"

using namespace sweep;

namespace {

const ByteArray packet = messageEnd(1, 0, {1, 2, 3});
const ByteArray acceptance = responseFrame(0xA3, 0);

enum class Wire { I2c, Spi };

// Of these tests alone: a link of another test keeps its bus open.
std::string pathOf(Wire wire) {
    return (wire == Wire::I2c ? PlayedBoard::i2cPath : PlayedBoard::spiPath) + std::string("-swept");
}

std::unique_ptr<SerialBus> busOver(Wire wire) {
    if (wire == Wire::I2c) return std::make_unique<I2c>(pathOf(wire), 0x42);
    return std::make_unique<Spi>(pathOf(wire), 1000000, 0);
}

// Opened, by a second object too, written to, read from, both at once, and destroyed.
class BusInUse : public Scenario {
public:
    explicit BusInUse(Wire over) : wire(over), bus(busOver(over)), another(busOver(over)) { playKernel(&board); }
    ~BusInUse() override { playKernel(nullptr); }

    std::vector<Step> steps() override {
        return {{"open", [this] { return open(*bus); }},
                {"open another", [this] { return open(*another); }},
                {"write", [this] { return write(); }},
                {"read", [this] { return read(); }},
                {"write and read", [this] { return writeRead(); }},
                {"end", [this] { return end(); }}};
    }

    Effect effectOf(const Call& call, const Failure& failure) const override {
        if (failure.isError(EINTR) || call.name == "close" || call.request == I2C_FUNCS) return Effect::None;
        if (call.step == openAnotherStep) return Effect::None; // what cannot be shared is opened anew
        if (call.step != openStep) return Effect::StepFails;   // half a transfer is none
        // The driver's buffer size can do without its file.
        if (call.name == "read" || (call.name == "open" && call.path != pathOf(wire))) return Effect::None;
        return failure.kind == Failure::Kind::Half ? Effect::None : Effect::StepFails;
    }

private:
    static constexpr std::size_t openStep = 0;
    static constexpr std::size_t openAnotherStep = 1;

    static bool open(SerialBus& opened) {
        const UnderTest now;
        return opened.open();
    }

    bool write() {
        board.forgetWritten();
        const UnderTest now;
        return bus->write(packet) && board.written() == std::vector<ByteArray>{packet};
    }

    bool read() {
        const UnderTest now;
        return bus->read(8) == acceptance;
    }

    bool writeRead() {
        board.forgetWritten();
        const UnderTest now;
        return bus->writeRead(packet, 8) == acceptance && board.written() == std::vector<ByteArray>{packet};
    }

    bool end() {
        const UnderTest now;
        bus.reset();
        another.reset();
        return true;
    }

    PlayedBoard board;
    const Wire wire;
    std::unique_ptr<SerialBus> bus;
    std::unique_ptr<SerialBus> another;
};

std::unique_ptr<Scenario> i2cBus() {
    return std::make_unique<BusInUse>(Wire::I2c);
}

std::unique_ptr<Scenario> spiBus() {
    return std::make_unique<BusInUse>(Wire::Spi);
}

const std::vector<std::string> i2cKinds = {"close", "ioctl", "open", "read", "stat", "write"};
const std::vector<std::string> spiKinds = {"close", "ioctl", "open", "read", "stat"};

class I2cSweep : public testing::TestWithParam<std::string> {};
class SpiSweep : public testing::TestWithParam<std::string> {};

TEST_P(I2cSweep, OfABus) {
    sweepOver(GetParam(), i2cBus);
}

TEST_P(SpiSweep, OfABus) {
    sweepOver(GetParam(), spiBus);
}

INSTANTIATE_TEST_SUITE_P(Calls, I2cSweep, testing::ValuesIn(i2cKinds), [](const auto& call) { return call.param; });
INSTANTIATE_TEST_SUITE_P(Calls, SpiSweep, testing::ValuesIn(spiKinds), [](const auto& call) { return call.param; });

TEST(BusCalls, AreAllSwept) {
    expectCallsOf(i2cBus, i2cKinds);
    expectCallsOf(spiBus, spiKinds);
}

} // namespace
