/// @file
/// Packets and messages in words.
#pragma once

#include <cstddef>
#include <map>
#include <string>

#include <hostlink/HostLinkFrame.h>

#include "PacketFinder.h"
#include "Piece.h"
#include "command/Output.h"

namespace command {

/// The lines of a text, each on one of its own behind `by`.
std::string indented(const std::string& text, const char* by = "\n    ");

/// Prints packets, what belongs to none, and messages behind their last packet. On one thread.
class Words {
public:
    explicit Words(Output& output) : out(output) {}

    /// All that is in a piece, in its order. Messages may go on from piece to piece of one direction.
    void tellAll(const Piece& piece);
    /// A message without a packet around it.
    void tellMessage(const ByteArray& message);
    /// Whether everything was packets.
    bool wereAllPackets() const { return clean; }

private:
    void tell(const Stretch& stretch);
    void tellPacket(const Stretch& packet);
    void gather(const Stretch& packet);
    json::Object objectOf(std::size_t at, const ByteArray& bytes) const;
    std::string head(const Stretch& stretch) const;

    Output& out;
    Piece from;                                               ///< what is told
    std::map<Direction, std::map<int, HostLinkFrame>> frames; ///< begun and not complete, by their ids
    bool clean = true;
};

} // namespace command
