/// @file
/// Writes pcapng, block by block.
#pragma once

#include "Pcapng.h"

namespace capture {

/// The beginning of a file. What stands before it is over.
/// @param application who writes; for people
void appendSection(Bytes& to, std::string_view application);

/// An interface whose times are in nanoseconds. Within a section they are numbered from 0 in the order in which they
/// are written, before the first of their packets.
void appendInterface(Bytes& to, const Interface& interface);

/// A packet that is to be written, without a copy.
struct PacketView {
    uint32_t interface = 0;
    uint64_t time = 0; ///< nanoseconds since 1970
    Direction direction = Direction::Unknown;
    const uint8_t* bytes = nullptr;
    std::size_t size = 0;       ///< at most `longestPacket`
    std::string_view comment{}; ///< none when it is empty; at most 65535 bytes
};

/// More than a serial library reads or writes at once.
constexpr std::size_t longestPacket = 1 << 18;

/// How long its block is.
std::size_t sizeOf(const PacketView& packet);
/// Where `to` has room for `sizeOf(packet)` more, no memory is asked for.
void appendPacket(Bytes& to, const PacketView& packet);

} // namespace capture
