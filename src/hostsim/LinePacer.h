/// @file
/// How fast bytes travel on a serial line.
#pragma once

#include <cstddef>
#include <deque>
#include <optional>

#include <hostlink/ByteArray.h>

#include "HostTime.h"

namespace hostsim {

/// One direction of a serial line: bytes go in at once and come out when a line of this speed would have carried them.
/// Each byte takes ten bits (start bit, eight data bits, stop bit) and arrives when its last bit has. Moments are
/// counted from the beginning of a run of bytes without a pause, so rounding does not add up. One thread at a time.
class LinePacer {
public:
    /// @param bitsPerSecond 0: no line, bytes come out at once
    explicit LinePacer(unsigned long bitsPerSecond) : baud(bitsPerSecond) {}

    void push(const ByteArray& bytes, Time now);

    /// The bytes that have arrived by now, and not been taken before.
    ByteArray take(Time now);

    /// When more bytes are worth taking: when the next sixteen have arrived (what a UART gathers before it wakes the
    /// processor), or all of them; none when the line is empty.
    std::optional<Time> nextDeadline() const;

    bool empty() const { return line.empty(); }
    size_t size() const { return line.size(); }

    /// How long so many bytes take.
    Time duration(uint64_t bytes) const;

private:
    size_t arrivedBy(Time now) const;

    unsigned long baud;
    std::deque<unsigned char> line; // bytes that have not been taken
    Time runBegan{0};
    uint64_t taken = 0; // of this run
};

} // namespace hostsim
