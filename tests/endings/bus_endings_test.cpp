// Ending an I2C or SPI link and a transport above it, in the rig.
#include <string>
#include <tuple>

#include <gtest/gtest.h>

#include "Ending.h"
#include "rig/RigControl.h"
#include "support/Bytes.h"
#include "support/LinkThreads.h"
#include "support/LogCapture.h"
#include "support/Packets.h"
#include "support/ProcessCounts.h"
#include "support/ProcessWatch.h"

using busrig::firstBoard;

namespace {

// A response of the host's application, to which it expects nothing.
const ByteArray incoming = messageEnd(7, 0, bytes("3F 80 00 01 00"));

class BusStack : public EndingStack {
public:
    explicit BusStack(std::string wire) : name(std::move(wire)) {}

    bool enter(At state) override {
        switch (state) {
        case At::Idle:
        case At::NeverStarted:
        case At::Stopped: return true; // `start` has seen to it
        case At::BlockedRead: return threads.polling() != -1 && threads.waiting() != -1;
        case At::WaitingForAnAnswer: return holdTransaction() && startWriter(shortPacket) && transactionHeld();
        case At::InsideAnObserver: holdObservers(); return send(incoming) && observerEntered.wait(patience);
        // The transaction comes back without a start mark, and the reader goes on asking.
        case At::InTheMiddleOfAPacket: return holdTransaction() && send(bytes("00 00")) && transactionHeld();
        case At::FloodedWithInput: rig.burst(100); return observerEntered.wait(patience);
        case At::DeviceGone: return takeDeviceAway();
        case At::FarSideNotReading: return startUnheardWriter();
        case At::WritersQueued:
            return holdTransaction() && startWriter(shortPacket) && transactionHeld() && queueWriters();
        case At::InitFailed: return waitUntilNoMoreThreadsThan(threadsBeforeStart);
        case At::WatcherGone: return makeWatcherLeave();
        case At::AnObserverWaitsForAWriter: return false; // it has the bus that the writer needs
        }
        return false;
    }

protected:
    std::unique_ptr<HostLinkPhysicalLayer> makeLink() override {
        rig.reset();
        HostLinkPhysicalLayer::Properties properties;
        properties.setString(DevicePath, name == "i2c" ? firstBoard.i2cPath : firstBoard.spiPath);
        properties.setInt(GpioNumber, firstBoard.gpio);
        properties.setInt(I2cSlaveAddress, firstBoard.i2cAddress);
        properties.setInt(SpiSpeed, 1000000);
        return std::unique_ptr<HostLinkPhysicalLayer>(HostLinkPhysicalLayer::create(name.c_str(), properties));
    }

    void spoilStart() override {
        threadsBeforeStart = threadCount();
        rig.fault("no-value-file");
    }
    /// A bus transaction in the kernel cannot be called off: it ends, and what follows it is part of the end.
    void letGo() override { rig.release(); }

private:
    /// The host offers these bytes and pulls the line.
    bool send(const ByteArray& reply) {
        rig.slaveManual();
        rig.reply(reply);
        rig.line(firstBoard.gpio, false);
        return true;
    }
    bool holdTransaction() {
        rig.slaveManual();
        rig.hold();
        return true;
    }
    bool transactionHeld() { return rig.waitForCount("waiting", 1); }

    /// Lines and slave at once, as when a board is unplugged: a writer meets it, and the watcher.
    bool takeDeviceAway() {
        rig.fault("bus-nack all ENODEV");
        rig.fault("value-vanishes");
        return startWriter(shortPacket) && rig.waitForCount("transactions", 1);
    }
    bool makeWatcherLeave() {
        const long running = threadCount();
        rig.fault("value-vanishes");
        return rig.waitForCount("valueFilesClosed", 1) && waitUntilNoMoreThreadsThan(running - 1) &&
               threads.waiting() != -1;
    }
    bool startUnheardWriter() {
        rig.fault("bus-nack all ENXIO");
        return startWriter(shortPacket) && rig.waitForCount("transactions", 1);
    }

    /// Two: when the first of them has the bus, the other still waits.
    bool queueWriters() {
        for (int i = 0; i < 2; ++i)
            if (!startWriter(shortPacket) || !waitUntilOnFutex(writerThread)) return false;
        return true;
    }

    const ByteArray shortPacket = messageEnd(1, 0, {1});
    const std::string name;
    busrig::RigControl rig;
    const NewThreads threads;
    long threadsBeforeStart = 0;
};

class BusEnding : public testing::TestWithParam<std::tuple<std::string, At>> {
protected:
    void SetUp() override {
        for (const char* name : {"HostLinkPhysicalLayer", "HostLinkTransportLayer", "SerialComm"})
            log4cplus::Logger::getInstance(name).setLogLevel(log4cplus::OFF_LOG_LEVEL);
    }

    /// A link keeps its bus for the rest of the process, and shares the descriptor with the links before: what one
    /// leaves that was made and never started.
    static Remains oneBus(BusStack& stack) {
        stack.makeAndDrop(); // what the libraries underneath take and keep, once
        const Remains before = countRemains();
        stack.makeAndDrop();
        return countRemains() - before;
    }
};

std::string nameOfCase(const testing::TestParamInfo<std::tuple<std::string, At>>& info) {
    return std::get<0>(info.param) + "_" + nameOf(std::get<1>(info.param));
}
INSTANTIATE_TEST_SUITE_P(In, BusEnding, testing::Combine(testing::Values("i2c", "spi"), everyState), nameOfCase);
INSTANTIATE_TEST_SUITE_P(With, BusEnding, testing::Combine(testing::Values("i2c", "spi"), busState), nameOfCase);

TEST_P(BusEnding, ComesWithinASecondAndLeavesOnlyTheBus) {
    BusStack stack(std::get<0>(GetParam()));
    const Remains bus = oneBus(stack);
    EXPECT_EQ(bus.descriptors, 0);
    endInState(stack, std::get<1>(GetParam()), bus);
}

} // namespace
