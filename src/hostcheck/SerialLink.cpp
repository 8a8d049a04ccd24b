#include <algorithm>

#include <hostlink/HostLinkLib.h>

#include "Link.h"

namespace hostcheck {

namespace {

constexpr size_t startMarkSize = sizeof(uint16_t);

} // namespace

void SerialLink::put(const ByteArray& bytes, bool /*answered*/) {
    transcript.add(wire.now(), Direction::ToHost, bytes);
    wire.send(bytes);
}

std::optional<ByteArray> SerialLink::packet(Time until) {
    while (true) {
        if (auto whole = cutOne()) return whole;
        const ByteArray come = wire.receive(until);
        if (come.empty()) return std::nullopt;
        stream.insert(stream.end(), come.begin(), come.end());
    }
}

Time SerialLink::wireTime(size_t bytes) const {
    return wire.lineTime(bytes + HOSTLINK_RSP_FRAME_SIZE);
}

size_t SerialLink::takeSkipped() {
    const size_t count = skipped;
    skipped = 0;
    return count;
}

// None: more bytes are needed.
std::optional<ByteArray> SerialLink::cutOne() {
    while (!stream.empty()) {
        const auto available = static_cast<uint16_t>(std::min<size_t>(stream.size(), UINT16_MAX));
        const uint32_t mark = hostLinkPacketHasSop(stream.data(), available);
        if (mark == HOSTLINK_NO_SOP) {
            skip(stream.size() - (stream.back() == (HOSTLINK_SOP & 0xFF) ? 1 : 0));
            return std::nullopt;
        }
        skip(mark);
        const uint32_t code = hostLinkPacketVerify(stream.data(), static_cast<uint16_t>(available - mark));
        if (code == HOSTLINK_HEADER_TRUNCATED || code == HOSTLINK_TRUNCATED) return std::nullopt;
        if (code != HOSTLINK_SUCCESS) {
            skip(startMarkSize);
            continue;
        }
        const long length = hostLinkPacketGetLength(stream.data());
        ByteArray packet(stream.begin(), stream.begin() + length);
        stream.erase(stream.begin(), stream.begin() + length);
        transcript.add(wire.now(), Direction::FromHost, packet);
        return packet;
    }
    return std::nullopt;
}

void SerialLink::skip(size_t count) {
    if (count == 0) return;
    const auto end = stream.begin() + static_cast<long>(count);
    transcript.add(wire.now(), Direction::Skipped, ByteArray(stream.begin(), end));
    skipped += count;
    stream.erase(stream.begin(), end);
}

} // namespace hostcheck
