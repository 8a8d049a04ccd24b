/// @file
/// Packets in bytes that nobody has cut.
#pragma once

#include <cstddef>
#include <vector>

#include <hostlink/ByteArray.h>

namespace command {

/// A stretch of bytes: a packet, or what belongs to none.
struct Stretch {
    enum class Kind {
        Packet,
        Lost,   ///< no start mark, or one that begins no packet
        CutOff, ///< the last packet, which is longer than what is there
    };
    Kind kind;
    std::size_t at; ///< of its first byte
    ByteArray bytes;
};

/// All bytes in their order, cut where packets begin and end. It finds the way back behind what is damaged: a header
/// whose packet would not end in its trailer, or reach past the end, counts for nothing where another packet begins
/// within its reach and is whole.
std::vector<Stretch> findPackets(const ByteArray& bytes);

} // namespace command
