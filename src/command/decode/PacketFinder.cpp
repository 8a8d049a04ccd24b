#include "PacketFinder.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include <hostlink/HostLinkLib.h>

namespace command {

namespace {

constexpr std::size_t headerSize = 8;
constexpr std::size_t trailerSize = 2;

// A view of bytes from a place on.
class Rest {
public:
    Rest(const ByteArray& all, std::size_t from) : bytes(all), begin(from) {}

    const uint8_t* data() const { return reinterpret_cast<const uint8_t*>(bytes.data()) + begin; }
    std::size_t size() const { return bytes.size() - begin; }
    // What one packet can be told from: a packet is no longer.
    uint16_t available() const {
        return static_cast<uint16_t>(std::min<std::size_t>(size(), std::numeric_limits<uint16_t>::max()));
    }
    uint32_t verify() const { return hostLinkPacketVerify(data(), available()); }
    std::size_t length() const { return hostLinkPacketGetLength(data()); }

private:
    const ByteArray& bytes;
    std::size_t begin;
};

std::size_t nextStart(const ByteArray& bytes, std::size_t from) {
    for (std::size_t at = from; at + 1 < bytes.size(); ++at) {
        const Rest rest(bytes, at);
        if (rest.data()[0] == 0xFF && rest.data()[1] == 0xFE) return at;
    }
    return bytes.size();
}

bool isWhole(const Rest& rest) {
    if (rest.size() < headerSize || rest.verify() != 0) return false;
    const std::size_t length = rest.length();
    if (length == headerSize) return true;
    const uint8_t* trailer = rest.data() + length - trailerSize;
    return trailer[0] == 0 && trailer[1] == 0;
}

bool wholePacketWithin(const ByteArray& bytes, std::size_t from, std::size_t to) {
    for (std::size_t at = nextStart(bytes, from); at < to; at = nextStart(bytes, at + 1)) {
        if (isWhole(Rest(bytes, at))) return true;
    }
    return false;
}

} // namespace

std::vector<Stretch> findPackets(const ByteArray& bytes) {
    std::vector<Stretch> found;
    const auto add = [&](Stretch::Kind kind, std::size_t from, std::size_t to) {
        if (from == to) return;
        const auto begin = bytes.begin();
        found.push_back({kind, from,
                         ByteArray(begin + static_cast<ByteArray::difference_type>(from),
                                   begin + static_cast<ByteArray::difference_type>(to))});
    };
    std::size_t lost = 0; // from here to where we look, nothing is a packet
    for (std::size_t at = nextStart(bytes, 0); at < bytes.size();) {
        const Rest rest(bytes, at);
        const bool header = rest.size() >= headerSize;
        const uint32_t verdict = rest.verify();
        const bool cutOff = !header || verdict == HOSTLINK_TRUNCATED;
        const std::size_t reach = header && !cutOff ? at + rest.length() : bytes.size();
        const bool good = header && verdict == 0 && (isWhole(rest) || !wholePacketWithin(bytes, at + 1, reach));
        if (good) {
            add(Stretch::Kind::Lost, lost, at);
            add(Stretch::Kind::Packet, at, reach);
            lost = reach;
            at = nextStart(bytes, reach);
        } else if (cutOff && !wholePacketWithin(bytes, at + 1, bytes.size())) {
            add(Stretch::Kind::Lost, lost, at);
            add(Stretch::Kind::CutOff, at, bytes.size());
            return found;
        } else {
            at = nextStart(bytes, at + 1);
        }
    }
    add(Stretch::Kind::Lost, lost, bytes.size());
    return found;
}

} // namespace command
