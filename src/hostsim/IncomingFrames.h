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
///
/// The module sends a packet again, same bytes, when it believes that it was refused; a host that has taken it must not
/// take it twice. The same bytes are a repetition of the packet taken most recently when all of this holds:
///
/// - They are not packet 0 of frame 0: with that begins a module that starts over, and a restart must be heard.
/// - Since that packet, the module has sent none with a frame id from before that packet's. It draws one id after
///   another, so such an id means that it has started over, or drawn all the others. The id right before does not
///   count, unless it is 0: two threads of the module may send the ids that they have drawn in the other order.
/// - They come within the window.
///
/// Anything else is a new packet.
class IncomingFrames {
public:
    enum class Result {
        Added,     ///< more packets of this frame are to come
        Completed, ///< `message()` is there
        Duplicate, ///< the packet has been taken before: acknowledge it, nothing else happens
        Refused    ///< a packet without the ones before it, or beyond the size of a message
    };

    /// @param window how long after a packet the same bytes may be a repetition of it
    explicit IncomingFrames(Time window) : repeatWindow(window) {}

    /// Takes one message packet that verifies. Packet id 0 begins the frame anew, whatever has been there of it.
    Result take(const ByteArray& packet, Time now);

    /// The message that the packet taken last has completed.
    const ByteArray& message() const { return completed; }

    /// The module has sent this packet, of whatever kind. Before `take()` where that is called with it.
    void heard(const ByteArray& packet);

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
    ByteArray last; // the packet taken most recently; empty when the next one cannot repeat it
    Time lastAt{0};
    uint64_t abandonedFrames = 0;
};

} // namespace hostsim
