/// @file
/// What stands in a pcapng file, as far as recordings of the link need it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace capture {

using Bytes = std::vector<uint8_t>;

/// Where packets were captured.
struct Interface {
    std::string name;
    std::string description;
    uint16_t linkType = 147; ///< USER0
};

/// The first two bits of a packet's flags.
enum class Direction : uint8_t { Unknown = 0, Inbound = 1, Outbound = 2 };

/// A captured packet.
struct Packet {
    uint32_t interface = 0;
    uint64_t time = 0; ///< nanoseconds since 1970
    Direction direction = Direction::Unknown;
    Bytes bytes;
    std::vector<std::string> comments;
};

/// Numbers of the format.
namespace pcapng {
constexpr uint32_t sectionBlock = 0x0A0D0D0A;
constexpr uint32_t interfaceBlock = 1;
constexpr uint32_t simplePacketBlock = 3;
constexpr uint32_t packetBlock = 6;
constexpr uint32_t byteOrderMagic = 0x1A2B3C4D;
constexpr std::size_t blockOverhead = 12; // type, length, length
constexpr uint16_t optionEnd = 0;
constexpr uint16_t optionComment = 1;
constexpr uint16_t optionApplication = 4; // of a section
constexpr uint16_t optionName = 2;        // of an interface
constexpr uint16_t optionDescription = 3;
constexpr uint16_t optionResolution = 9;
constexpr uint16_t optionTimeOffset = 14;
constexpr uint16_t optionFlags = 2; // of a packet
} // namespace pcapng

} // namespace capture
