/// @file
/// Reads pcapng, in whatever pieces it comes.
#pragma once

#include <optional>

#include "Pcapng.h"

namespace capture {

/// Takes the bytes of one file, or of several behind one another, in pieces of any size, and gives packets out as soon
/// as they are whole. Blocks that hold no packet are passed over. Both byte orders. What stands in a file is not
/// trusted: nothing is read beyond what a block holds, and no block may be longer than `longestBlock`.
class PcapngReader {
public:
    static constexpr std::size_t longestBlock = 1 << 24;

    /// Puts bytes behind those that are there.
    void append(const uint8_t* bytes, std::size_t size);

    /// The next packet; none when its bytes are not there yet, or when reading cannot go on.
    std::optional<Packet> next();

    /// All interfaces so far. One that comes again in a later section, with the same name and description, is the same.
    const std::vector<Interface>& interfaces() const { return known; }

    /// Why reading cannot go on, for people; empty when it can.
    const std::string& problem() const { return wrong; }
    /// Bytes that wait for the rest of their block: at the end of a file, a block that is cut off.
    std::size_t waiting() const { return buffer.size() - at; }

private:
    class Body;
    struct Clock {
        bool binary = false;
        unsigned exponent = 6; // microseconds, where nothing is said
        int64_t offset = 0;    // seconds
    };

    std::optional<Packet> fail(const std::string& what);
    uint32_t number32(std::size_t where) const;
    bool takeByteOrder();
    std::optional<Packet> take(uint32_t type, const Body& body);
    void takeInterface(Body body);
    std::optional<Packet> takePacket(Body body);
    std::optional<Packet> takeSimplePacket(Body body);
    static uint64_t nanoseconds(uint64_t ticks, const Clock& clock);

    Bytes buffer;
    std::size_t at = 0;  // in the buffer: the next block
    uint64_t passed = 0; // bytes of blocks that have been taken
    bool inSection = false;
    bool bigEndian = false;
    std::vector<Interface> known;
    std::vector<uint32_t> ofSection; // which of the known ones each interface of the section is
    std::vector<Clock> clocks;       // of the section's interfaces
    std::string wrong;
};

} // namespace capture
