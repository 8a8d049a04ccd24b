/// @file
/// A bus link on the rig, over either wire.
#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <hostlink/physicalLayers/SyncSerialLayer.h>

#include "rig/RigControl.h"
#include "support/Bytes.h"
#include "support/LinkThreads.h"
#include "support/LogCapture.h"
#include "support/Packets.h"
#include "support/TraceLine.h"

enum class Wire { I2c, Spi };

inline std::string nameOf(Wire wire) {
    return wire == Wire::I2c ? "i2c" : "spi";
}

inline std::string devicePathOf(Wire wire, const busrig::RigBoard& board = busrig::firstBoard) {
    return wire == Wire::I2c ? board.i2cPath : board.spiPath;
}

/// Everything that a link over this wire needs.
HostLinkPhysicalLayer::Properties propertiesOf(Wire wire, const busrig::RigBoard& board = busrig::firstBoard);

/// What a link has delivered, or a transport. Any thread.
class Received {
public:
    void add(ByteArray bytes);
    std::vector<ByteArray> all() const;
    size_t count() const;
    /// Until there are so many; false when a very generous time is over.
    bool waitForCount(size_t minimum) const;
    /// Until these bytes are among them.
    bool waitFor(const ByteArray& bytes) const;

private:
    static constexpr std::chrono::seconds patience{60};

    mutable std::mutex mutex; // guards received
    mutable std::condition_variable grown;
    std::vector<ByteArray> received;
};

/// The rig as freshly started for each test, and a link on its first board.
class BusRigTest : public testing::TestWithParam<Wire> {
protected:
    static constexpr int gpio = busrig::firstBoard.gpio;
    static constexpr auto linkLogger = "HostLinkPhysicalLayer";

    ~BusRigTest() override;
    void SetUp() override {
        rig.reset();
        newHost();
    }

    /// A host as freshly switched on that has patience: it pulls its line once for a packet, and waits a minute for the
    /// acknowledgement. A usual one pulls again after 250 ms and gives a message up after a second: where a busy
    /// machine holds the link up for that long, there would be an interrupt more than the test has caused, with an
    /// ERROR line about it, or a message less that counts as sent.
    static constexpr auto patientHost = "host-options interruptRepeatMs=0,responseTimeoutMs=60000";

    /// That host, on the first board. What is among the options goes first.
    void newHost(const std::string& options = "") { rig.command(patientHost + ("," + options)); }

    HostLinkPhysicalLayer::Properties properties() const { return propertiesOf(GetParam()); }

    /// Made, not started.
    void make(const HostLinkPhysicalLayer::Properties& all);
    void make() { make(properties()); }
    /// Started, and the watcher asleep. A value file that was just opened reports an event although nothing has
    /// happened; an edge that comes in the middle of the read that takes it back is seen twice.
    void init();
    /// Made and started.
    void start() { start(properties()); }
    void start(const HostLinkPhysicalLayer::Properties& all);
    /// The same, with a bus whose answers the test scripts and a line that only the test pulls.
    void startManual();

    /// One falling edge while the watcher sleeps, queued by it, and the line high again.
    void edge();
    /// Until the reader has ended so many exchanges since the start of the test.
    bool waitForExchanges(size_t count) const;

    std::vector<std::string> errors() const { return log.texts(log4cplus::ERROR_LOG_LEVEL); }
    /// What was on the bus, without the name of the wire: "w fffe...", "r fffe...", "! ENXIO".
    std::vector<std::string> busTexts();
    /// The IRQ frames among it.
    size_t irqFrames();

    const NewThreads linkThreads; // and whatever other threads the test has started
    busrig::RigControl rig;
    LogCapture log{linkLogger};
    size_t edges = 0;
    Received delivered;
    std::unique_ptr<SyncSerialLayer> link; // goes first
};

/// The suite over both wires.
#define OVER_BOTH_WIRES(Suite)                                                                                         \
    INSTANTIATE_TEST_SUITE_P(Wires, Suite, testing::Values(Wire::I2c, Wire::Spi),                                      \
                             [](const auto& wire) { return wire.param == Wire::I2c ? "I2c" : "Spi"; })

/// A message packet, from either side, that carries `number`. The host does not answer this message: it is a response.
inline ByteArray numberedMessage(unsigned number) {
    return messageEnd(7, 0,
                      {0x3F, 0x80, 0, static_cast<unsigned char>(number), static_cast<unsigned char>(number >> 8)});
}

/// `packet` as a read of `size` bytes returns it: idle bytes behind it.
inline ByteArray asRead(ByteArray packet, size_t size = 64) {
    packet.resize(size, 0xFF);
    return packet;
}

/// The IRQ frame with that id and value, below 65536.
inline ByteArray irqFrame(unsigned frameId, unsigned value) {
    const auto byte = [](unsigned number) { return static_cast<unsigned char>(number & 0xFF); };
    return {0xFF, 0xFE, 14, 0, 0x22, byte(frameId), 0, 0, byte(value), byte(value >> 8), 0, 0, 0, 0};
}
