/// @file
/// Finds packets in a byte stream before the engine sees them.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include <host/StreamCutter.h>
#include <hostlink/ByteArray.h>

#include "HostTime.h"

namespace hostsim {

/// The engine's own cutter over storage of its own: for faults that hit packets, and for those who look on. One thread
/// at a time.
class PacketCutter {
public:
    /// Gets the packets in their order; no bytes in place of one that is bad.
    using Take = std::function<void(const ByteArray&)>;

    /// @param timeout longest pause between two bytes of a packet
    explicit PacketCutter(Time timeout);

    void add(const ByteArray& bytes, Time now, const Take& take);

    /// What the passing of time brings: packets that stop in the middle are given up.
    void expire(Time now, const Take& take);
    /// When `expire()` is due; none while no packet is half there.
    std::optional<Time> nextDeadline(Time now) const;

    /// Bytes that belonged to no packet.
    uint32_t skipped() const { return stream.skipped; }

private:
    void takeAll(hostlink::Cut cut, const Take& take);

    std::unique_ptr<uint8_t[]> storage;
    HostLinkHostStream stream{};
};

} // namespace hostsim
