/// @file
/// A recording, read and cut into packets of the link.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <capture/Pcapng.h>
#include <capture/RecordedWire.h>

#include "command/decode/PacketFinder.h"

namespace command {

struct Recording {
    std::vector<capture::Interface> interfaces;
    std::vector<capture::Packet> packets;
    std::size_t cutOff = 0; ///< bytes of a last block that is not whole, as a program that was killed may leave it
};

/// Whether this is pcapng.
bool isRecording(const std::string& content);
/// @throw UsageError it cannot be read; the text says where
Recording recordingOf(const std::string& content);

/// A stretch of what one side has said.
struct Said {
    std::size_t order; ///< of the captured packet in which it ends
    uint64_t time;     ///< of that, in nanoseconds since 1970
    uint32_t interface;
    capture::Direction direction;
    Stretch stretch;
};

/// Everything that was said, in the order in which it was complete: on serial lines out of each direction's bytes, else
/// out of each captured packet, without the filler behind it.
std::vector<Said> saidIn(const Recording& recording);

} // namespace command
