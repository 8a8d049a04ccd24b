#include "PcapngWriter.h"

#include <cstring>
#include <limits>

namespace capture {

namespace {

using namespace pcapng;

constexpr uint8_t nanoseconds = 9; // the exponent of a resolution
constexpr std::size_t packetHead = 20;
constexpr std::size_t optionHead = 4;
constexpr std::size_t flagsSize = 4;

std::size_t padded(std::size_t size) {
    return (size + 3) & ~std::size_t{3};
}

// Writes into room that is there: a packet is written for each call of a link that is recorded.
class Pen {
public:
    explicit Pen(uint8_t* where) : at(where) {}

    void put16(uint16_t number) {
        at[0] = static_cast<uint8_t>(number);
        at[1] = static_cast<uint8_t>(number >> 8);
        at += 2;
    }
    void put32(uint32_t number) {
        put16(static_cast<uint16_t>(number));
        put16(static_cast<uint16_t>(number >> 16));
    }
    void putPadded(const void* bytes, std::size_t size) {
        if (size > 0) std::memcpy(at, bytes, size);
        at += padded(size);
    }
    void putOptionHead(uint16_t code, std::size_t size) {
        put16(code);
        put16(static_cast<uint16_t>(size));
    }

private:
    uint8_t* at;
};

void append16(Bytes& to, uint16_t number) {
    to.push_back(static_cast<uint8_t>(number));
    to.push_back(static_cast<uint8_t>(number >> 8));
}

void append32(Bytes& to, uint32_t number) {
    append16(to, static_cast<uint16_t>(number));
    append16(to, static_cast<uint16_t>(number >> 16));
}

void appendPadded(Bytes& to, const uint8_t* bytes, std::size_t size) {
    if (size > 0) to.insert(to.end(), bytes, bytes + size);
    to.insert(to.end(), padded(size) - size, 0);
}

std::string_view cut(std::string_view text) {
    return text.substr(0, std::numeric_limits<uint16_t>::max());
}

void appendOption(Bytes& to, uint16_t code, std::string_view value) {
    value = cut(value);
    append16(to, code);
    append16(to, static_cast<uint16_t>(value.size()));
    appendPadded(to, reinterpret_cast<const uint8_t*>(value.data()), value.size());
}

void appendEndOfOptions(Bytes& to) {
    append16(to, optionEnd);
    append16(to, 0);
}

// The length stands at both ends of a block; at its beginning it is written when the end is known.
std::size_t beginBlock(Bytes& to, uint32_t type) {
    const std::size_t begin = to.size();
    append32(to, type);
    append32(to, 0);
    return begin;
}

void endBlock(Bytes& to, std::size_t begin) {
    constexpr std::size_t lengthAt = 4;
    const auto length = static_cast<uint32_t>(to.size() - begin + sizeof(uint32_t));
    for (std::size_t i = 0; i < sizeof length; ++i) to[begin + lengthAt + i] = static_cast<uint8_t>(length >> (8 * i));
    append32(to, length);
}

} // namespace

void appendSection(Bytes& to, std::string_view application) {
    const std::size_t begin = beginBlock(to, sectionBlock);
    append32(to, byteOrderMagic);
    append16(to, 1); // version 1.0
    append16(to, 0);
    append32(to, 0xFFFFFFFF); // nobody knows yet how long the section will be
    append32(to, 0xFFFFFFFF);
    appendOption(to, optionApplication, application);
    appendEndOfOptions(to);
    endBlock(to, begin);
}

void appendInterface(Bytes& to, const Interface& interface) {
    const std::size_t begin = beginBlock(to, interfaceBlock);
    append16(to, interface.linkType);
    append16(to, 0);
    append32(to, 0); // packets of any length
    appendOption(to, optionName, interface.name);
    appendOption(to, optionDescription, interface.description);
    const char resolution = nanoseconds;
    appendOption(to, optionResolution, {&resolution, 1});
    appendEndOfOptions(to);
    endBlock(to, begin);
}

std::size_t sizeOf(const PacketView& packet) {
    std::size_t size = blockOverhead + packetHead + padded(packet.size) + optionHead; // with the end of the options
    if (packet.direction != Direction::Unknown) size += optionHead + flagsSize;
    if (!packet.comment.empty()) size += optionHead + padded(cut(packet.comment).size());
    return size;
}

void appendPacket(Bytes& to, const PacketView& packet) {
    const std::size_t size = sizeOf(packet);
    const std::size_t begin = to.size();
    to.resize(begin + size); // zeros, of which the padding and the end of the options stay
    Pen pen(to.data() + begin);
    pen.put32(packetBlock);
    pen.put32(static_cast<uint32_t>(size));
    pen.put32(packet.interface);
    pen.put32(static_cast<uint32_t>(packet.time >> 32));
    pen.put32(static_cast<uint32_t>(packet.time));
    pen.put32(static_cast<uint32_t>(packet.size));
    pen.put32(static_cast<uint32_t>(packet.size));
    pen.putPadded(packet.bytes, packet.size);
    if (packet.direction != Direction::Unknown) {
        pen.putOptionHead(optionFlags, flagsSize);
        pen.put32(static_cast<uint32_t>(packet.direction));
    }
    if (!packet.comment.empty()) {
        const std::string_view comment = cut(packet.comment);
        pen.putOptionHead(optionComment, comment.size());
        pen.putPadded(comment.data(), comment.size());
    }
    pen.putOptionHead(optionEnd, 0);
    pen.put32(static_cast<uint32_t>(size));
}

} // namespace capture
