#include "StreamReader.h"

#include <algorithm>

#include <hostlink/HostLinkLib.h>

namespace hostsim {

namespace {

constexpr unsigned char startMark[] = {HOSTLINK_SOP & 0xFF, HOSTLINK_SOP >> 8};
constexpr size_t startMarkSize = sizeof startMark;
constexpr size_t maxPacketSize = 65535;

} // namespace

void StreamReader::add(const ByteArray& bytes, Time now) {
    pending.insert(pending.end(), bytes.begin(), bytes.end());
    lastByteAt = now;
}

void StreamReader::skip(size_t count) {
    pending.erase(pending.begin(), pending.begin() + static_cast<long>(count));
    skippedBytes += count;
}

// Afterwards `pending` is empty, or begins with a start mark, or is the first byte of one.
bool StreamReader::alignToStartMark() {
    const auto mark = std::search(pending.begin(), pending.end(), std::begin(startMark), std::end(startMark));
    if (mark != pending.end()) {
        skip(static_cast<size_t>(mark - pending.begin()));
        return true;
    }
    const bool halfMark = !pending.empty() && pending.back() == startMark[0];
    skip(pending.size() - (halfMark ? 1 : 0));
    return false;
}

std::optional<ByteArray> StreamReader::next() {
    if (!alignToStartMark()) return std::nullopt;
    const auto available = static_cast<uint16_t>(std::min(pending.size(), maxPacketSize));
    const uint32_t code = hostLinkPacketVerify(pending.data(), available);
    if (code == HOSTLINK_HEADER_TRUNCATED || code == HOSTLINK_TRUNCATED) return std::nullopt;
    if (code != HOSTLINK_SUCCESS) {
        skip(startMarkSize);
        return ByteArray(std::begin(startMark), std::end(startMark));
    }
    const auto end = pending.begin() + hostLinkPacketGetLength(pending.data());
    ByteArray packet(pending.begin(), end);
    pending.erase(pending.begin(), end);
    return packet;
}

std::optional<ByteArray> StreamReader::expire(Time now) {
    const std::optional<Time> deadline = nextDeadline();
    if (!deadline || now < *deadline) return std::nullopt;
    while (pending.size() >= startMarkSize) {
        skip(startMarkSize);
        if (auto packet = next()) return packet;
    }
    return ByteArray(std::begin(startMark), std::end(startMark));
}

std::optional<Time> StreamReader::nextDeadline() const {
    if (pending.size() < startMarkSize) return std::nullopt;
    return lastByteAt + packetTimeout;
}

} // namespace hostsim
