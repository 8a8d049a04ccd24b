/// @file
/// Puts the module's messages together again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>

#include <hostlink/ByteArray.h>
#include <hostlink/HostLinkFrame.h>

#include "HostTime.h"

namespace hostsim {

/// Assembles message packets by frame id, strictly in the order of their packet ids. One thread at a time.
class IncomingFrames {
public:
    enum class Result {
        Added,     ///< more packets of this frame are to come
        Completed, ///< `message()` is there
        Duplicate, ///< the packet has been taken before: acknowledge it, nothing else happens
        Refused    ///< a packet without the ones before it, or beyond the size of a message
    };

    /// @param window how long after a packet the same bytes are taken for a repetition of it
    explicit IncomingFrames(Time window) : repeatWindow(window) {}

    /// Takes one message packet that verifies. Packet id 0 begins the frame anew, whatever has been there of it.
    Result take(const ByteArray& packet, Time now);

    /// The message that the packet taken last has completed.
    const ByteArray& message() const { return completed; }

    /// The module has sent a response frame, and so has used up a frame id.
    void responseSeen() { ++responsesSinceLast; }

    /// Frames that were begun and never completed, those still open not counted.
    uint64_t abandoned() const { return abandonedFrames; }

    /// Forgets all frames.
    void reset();

private:
    struct OpenFrame {
        HostLinkFrame frame;
        uint8_t nextPacketId = 0;
        size_t size = 0; // payload so far
    };

    Result refuse(uint8_t frameId);
    bool isRepetition(const ByteArray& packet, Time now) const;

    Time repeatWindow;
    std::map<uint8_t, OpenFrame> open; // by frame id
    ByteArray completed;
    ByteArray last; // the packet taken most recently
    Time lastAt{0};
    unsigned responsesSinceLast = 0;
    uint64_t abandonedFrames = 0;
};

} // namespace hostsim
