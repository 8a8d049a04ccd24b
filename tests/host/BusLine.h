/// @file
/// A host on a bus with an interrupt line, with a clock that the test moves.
#pragma once

#include <utility>

#include <host/HostLinkHostBus.h>

#include "TestHost.h"

class BusLine : public TestHost {
public:
    explicit BusLine(const HostSizes& chosen = {}, uint16_t receivedSize = 64)
        : TestHost(chosen), receivedBlock(receivedSize) {
        hostLinkHostBusDefaults(&busSetup);
        busSetup.received = receivedBlock.data();
        busSetup.receivedSize = receivedSize;
        attach();
    }

    void attach() { hostLinkHostBusInit(&bus, &host, &busSetup); }

    void write(const ByteArray& content) {
        const ExactBytes exact(content);
        hostLinkHostBusWrite(&bus, exact.data(), static_cast<uint32_t>(exact.size()), now);
        look();
    }
    void write(const std::string& text) { write(bytes(text)); }

    ByteArray readBytes(uint32_t count) {
        ExactBytes block(count);
        hostLinkHostBusRead(&bus, block.data(), count, now);
        look();
        return block.copy();
    }
    std::string read(uint32_t count) { return hex(readBytes(count)); }

    std::string writeRead(const std::string& text, uint32_t count) {
        write(text);
        return read(count);
    }

    void advance(uint32_t to) {
        now = to;
        hostLinkHostBusAdvance(&bus, now);
        look();
    }
    /// What a port does after each of its handlers: sets the line.
    void look() {
        const bool asks = hostLinkHostBusLine(&bus, now) != 0;
        if (asks && !low) fell = true;
        low = asks;
    }
    bool isLow() {
        look();
        return low;
    }
    /// Whether the line has fallen since this was asked last.
    bool takeEdge() { return std::exchange(fell, false); }
    uint32_t wait() const { return hostLinkHostBusWait(&bus, now); }

    uint32_t now = 1000;
    HostLinkHostBus bus{};
    HostLinkHostBusSetup busSetup{};

private:
    ExactBytes receivedBlock;
    bool low = false;
    bool fell = false;
};

/// The bytes, and idle ones behind them up to `count`.
inline std::string padded(const std::string& text, size_t count) {
    ByteArray data = bytes(text);
    data.resize(count, HOSTLINK_HOST_IDLE_BYTE);
    return hex(data);
}
