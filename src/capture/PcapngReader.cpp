#include "PcapngReader.h"

#include <algorithm>
#include <limits>

namespace capture {

using namespace pcapng;

namespace {

// More are no recording of a link, and a file shall not make us keep any number of them.
constexpr std::size_t mostInterfaces = 4096;

uint64_t saturated(uint64_t number, uint64_t factor) {
    constexpr uint64_t most = std::numeric_limits<uint64_t>::max();
    return factor != 0 && number > most / factor ? most : number * factor;
}

uint64_t powerOfTen(unsigned exponent) {
    uint64_t power = 1;
    for (; exponent > 0; --exponent) power = saturated(power, 10);
    return power;
}

} // namespace

/// What stands between a block's head and its end, in the section's byte order. Reading past the end gives zeros and
/// leaves a mark.
class PcapngReader::Body {
public:
    Body(const uint8_t* bytes, std::size_t size, bool isBigEndian) : from(bytes), left(size), bigEndian(isBigEndian) {}

    bool isGood() const { return good; }
    std::size_t size() const { return left; }

    uint32_t number(std::size_t width) {
        const uint8_t* bytes = take(width);
        uint32_t value = 0;
        for (std::size_t i = 0; bytes != nullptr && i < width; ++i)
            value |= static_cast<uint32_t>(bytes[i]) << (8 * (bigEndian ? width - 1 - i : i));
        return value;
    }
    uint64_t number64() {
        const uint32_t first = number(4);
        const uint32_t second = number(4);
        return static_cast<uint64_t>(bigEndian ? first : second) << 32 | (bigEndian ? second : first);
    }
    Bytes data(std::size_t count) {
        const uint8_t* bytes = take(count);
        if (bytes == nullptr) return {};
        Bytes result(bytes, bytes + count);
        take(std::min(left, (4 - count % 4) % 4)); // some writers leave out the padding at the end
        return result;
    }

    /// The next option: its code, and its value as a body; false behind the last one.
    bool option(uint16_t* code, Bytes* value) {
        if (left < 4) return false;
        *code = static_cast<uint16_t>(number(2));
        const std::size_t length = number(2);
        if (*code == optionEnd) return false;
        *value = data(length);
        return good;
    }

private:
    const uint8_t* take(std::size_t count) {
        if (count > left) {
            good = false;
            left = 0;
            return nullptr;
        }
        const uint8_t* bytes = from;
        from += count;
        left -= count;
        return bytes;
    }

    const uint8_t* from;
    std::size_t left;
    bool bigEndian;
    bool good = true;
};

void PcapngReader::append(const uint8_t* bytes, std::size_t size) {
    if (at > 0) {
        buffer.erase(buffer.begin(), buffer.begin() + static_cast<Bytes::difference_type>(at));
        at = 0;
    }
    if (size > 0) buffer.insert(buffer.end(), bytes, bytes + size);
}

std::optional<Packet> PcapngReader::fail(const std::string& what) {
    wrong = "at byte " + std::to_string(passed) + ": " + what;
    return {};
}

uint32_t PcapngReader::number32(std::size_t where) const {
    return Body(buffer.data() + at + where, sizeof(uint32_t), bigEndian).number(sizeof(uint32_t));
}

// A section says in its first field in which order the bytes of all its numbers stand, its own length included.
bool PcapngReader::takeByteOrder() {
    for (const bool order : {false, true}) {
        bigEndian = order;
        if (number32(8) == byteOrderMagic) return true;
    }
    return false;
}

std::optional<Packet> PcapngReader::next() {
    while (wrong.empty() && waiting() >= blockOverhead) {
        const uint32_t type = number32(0); // a section's reads the same both ways
        if (type == sectionBlock) {
            if (!takeByteOrder()) return fail("a section in no known order of bytes");
            inSection = true;
            ofSection.clear();
            clocks.clear();
        } else if (!inSection) {
            return fail("this is no pcapng file");
        }
        const std::size_t length = number32(4);
        if (length < blockOverhead || length % 4 != 0 || length > longestBlock) {
            return fail("a block of " + std::to_string(length) + " bytes");
        }
        if (waiting() < length) return {};
        if (number32(length - 4) != length) return fail("a block with two lengths");
        const Body body(buffer.data() + at + 8, length - blockOverhead, bigEndian);
        std::optional<Packet> packet = take(type, body);
        if (!wrong.empty()) return {};
        at += length;
        passed += length;
        if (packet) return packet;
    }
    return {};
}

std::optional<Packet> PcapngReader::take(uint32_t type, const Body& body) {
    switch (type) {
    case interfaceBlock: takeInterface(body); return {};
    case packetBlock: return takePacket(body);
    case simplePacketBlock: return takeSimplePacket(body);
    default: return {};
    }
}

void PcapngReader::takeInterface(Body body) {
    Interface interface;
    Clock clock;
    interface.linkType = static_cast<uint16_t>(body.number(2));
    body.number(2);
    body.number(4);
    uint16_t code = 0;
    for (Bytes value; body.option(&code, &value);) {
        const std::string text(value.begin(), value.end());
        if (code == optionName) interface.name = text;
        if (code == optionDescription) interface.description = text;
        if (code == optionResolution && !value.empty()) {
            clock.binary = (value[0] & 0x80) != 0;
            clock.exponent = value[0] & 0x7F;
        }
        if (code == optionTimeOffset && value.size() == 8)
            clock.offset = static_cast<int64_t>(Body(value.data(), value.size(), bigEndian).number64());
    }
    if (!body.isGood()) {
        fail("an interface that ends early");
        return;
    }
    const auto same = [&](const Interface& other) {
        return other.name == interface.name && other.description == interface.description &&
               other.linkType == interface.linkType;
    };
    const auto found = std::find_if(known.begin(), known.end(), same);
    if (ofSection.size() == mostInterfaces || (found == known.end() && known.size() == mostInterfaces)) {
        fail("too many interfaces");
        return;
    }
    ofSection.push_back(static_cast<uint32_t>(found - known.begin()));
    clocks.push_back(clock);
    if (found == known.end()) known.push_back(std::move(interface));
}

std::optional<Packet> PcapngReader::takePacket(Body body) {
    Packet packet;
    const uint32_t id = body.number(4);
    const uint64_t high = body.number(4);
    const uint64_t ticks = high << 32 | body.number(4);
    const uint32_t captured = body.number(4);
    body.number(4);
    packet.bytes = body.data(captured);
    uint16_t code = 0;
    for (Bytes value; body.option(&code, &value);) {
        if (code == optionComment) packet.comments.emplace_back(value.begin(), value.end());
        if (code == optionFlags && value.size() == 4)
            packet.direction = static_cast<Direction>(Body(value.data(), 4, bigEndian).number(4) & 3);
    }
    if (!body.isGood()) return fail("a packet that ends early");
    if (id >= ofSection.size()) return fail("a packet of interface " + std::to_string(id) + ", which is not there");
    if (packet.direction > Direction::Outbound) packet.direction = Direction::Unknown;
    packet.interface = ofSection[id];
    packet.time = nanoseconds(ticks, clocks[id]);
    return packet;
}

// It has no time and no options.
std::optional<Packet> PcapngReader::takeSimplePacket(Body body) {
    Packet packet;
    const std::size_t original = body.number(4);
    if (!body.isGood() || ofSection.empty()) return fail("a packet that ends early");
    packet.bytes = body.data(std::min(original, body.size()));
    packet.interface = ofSection[0];
    return packet;
}

uint64_t PcapngReader::nanoseconds(uint64_t ticks, const Clock& clock) {
    constexpr unsigned nano = 9;
    constexpr uint64_t perSecond = 1'000'000'000;
    uint64_t time = 0;
    if (!clock.binary) {
        const uint64_t factor = powerOfTen(clock.exponent < nano ? nano - clock.exponent : clock.exponent - nano);
        time = clock.exponent < nano ? saturated(ticks, factor) : ticks / factor;
    } else if (clock.exponent < 64) {
        // Of the fraction 32 bits are a quarter of a nanosecond and more than enough.
        const unsigned bits = clock.exponent;
        const uint64_t fraction = bits == 0 ? 0 : ticks << (64 - bits) >> 32;
        time = saturated(ticks >> bits, perSecond) + (fraction * perSecond >> 32);
    }
    const uint64_t seconds = static_cast<uint64_t>(clock.offset);
    const uint64_t offset = saturated(clock.offset < 0 ? 0 - seconds : seconds, perSecond);
    if (clock.offset < 0) return time > offset ? time - offset : 0;
    return time > std::numeric_limits<uint64_t>::max() - offset ? std::numeric_limits<uint64_t>::max() : time + offset;
}

} // namespace capture
