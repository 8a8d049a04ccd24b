/// @file
/// Finds packets in the bytes of a serial line.
#pragma once

#include <cstdint>
#include <optional>

#include <hostlink/ByteArray.h>

#include "HostTime.h"

namespace hostsim {

/// Cuts a byte stream into packets. What stands before a start mark is skipped. A start mark whose length field is
/// impossible is reported as bad at once. A packet that stops in the middle, with no byte for a while, is given up:
/// what has come of it is searched for another packet, and reported as bad when there is none. One thread at a time.
class StreamReader {
public:
    /// @param timeout longest pause between two bytes of a packet
    explicit StreamReader(Time timeout) : packetTimeout(timeout) {}

    void add(const ByteArray& bytes, Time now);

    /// The next packet that is complete, or two bytes (a start mark) in place of one that is bad. Call until empty.
    std::optional<ByteArray> next();

    /// What the passing of time brings: like `next()`, and to be followed by calls of it.
    std::optional<ByteArray> expire(Time now);
    /// When `expire()` is due; none while no packet is half there.
    std::optional<Time> nextDeadline() const;

    /// Bytes that belonged to no packet.
    uint64_t skipped() const { return skippedBytes; }

private:
    void skip(size_t count);
    bool alignToStartMark();

    Time packetTimeout;
    ByteArray pending;
    Time lastByteAt{0};
    uint64_t skippedBytes = 0;
};

} // namespace hostsim
