#include "StreamCutter.h"

#include <string.h>

#include "Clock.h"

namespace hostlink {

namespace {

constexpr uint16_t startMarkSize = 2;
constexpr uint8_t startMarkFirst = HOSTLINK_SOP & 0xFF;

void drop(HostLinkHostStream& stream, uint16_t count) {
    stream.used = static_cast<uint16_t>(stream.used - count);
    if (count != 0 && stream.used != 0) memmove(stream.bytes, stream.bytes + count, stream.used);
}

void skip(HostLinkHostStream& stream, uint16_t count) {
    stream.skipped += count;
    drop(stream, count);
}

// The packet that was handed out is no longer looked at.
void dropTaken(HostLinkHostStream& stream) {
    drop(stream, stream.taken);
    stream.taken = 0;
}

// Afterwards the stream is empty, or begins with a start mark, or is the first byte of one.
bool alignToStartMark(HostLinkHostStream& stream) {
    const uint32_t mark = hostLinkPacketHasSop(stream.bytes, stream.used);
    if (mark != HOSTLINK_NO_SOP) {
        skip(stream, static_cast<uint16_t>(mark));
        return true;
    }
    const bool halfMark = stream.used != 0 && stream.bytes[stream.used - 1] == startMarkFirst;
    skip(stream, static_cast<uint16_t>(stream.used - (halfMark ? 1 : 0)));
    return false;
}

// Whether the rest of the packet is to be waited for.
bool isIncomplete(const HostLinkHostStream& stream, uint32_t code) {
    if (code == HOSTLINK_HEADER_TRUNCATED) return true;
    return code == HOSTLINK_TRUNCATED && hostLinkPacketGetLength(stream.bytes) <= stream.size;
}

bool isHalfThere(const HostLinkHostStream& stream) {
    return stream.used - stream.taken >= startMarkSize;
}

} // namespace

uint16_t addBytes(HostLinkHostStream& stream, const uint8_t* bytes, uint32_t count, uint32_t now) {
    dropTaken(stream);
    const uint16_t room = static_cast<uint16_t>(stream.size - stream.used);
    const uint16_t added = count < room ? static_cast<uint16_t>(count) : room;
    if (added == 0) return 0;
    memcpy(stream.bytes + stream.used, bytes, added);
    stream.used = static_cast<uint16_t>(stream.used + added);
    stream.lastByteAt = now;
    return added;
}

Cut nextCut(HostLinkHostStream& stream) {
    dropTaken(stream);
    if (!alignToStartMark(stream)) return {nullptr, 0, Cut::Nothing};
    const uint32_t code = hostLinkPacketVerify(stream.bytes, stream.used);
    if (isIncomplete(stream, code)) return {nullptr, 0, Cut::Nothing};
    if (code != HOSTLINK_SUCCESS) {
        skip(stream, startMarkSize);
        return {nullptr, 0, Cut::Bad};
    }
    stream.taken = hostLinkPacketGetLength(stream.bytes);
    return {stream.bytes, stream.taken, Cut::Packet};
}

Cut expireCut(HostLinkHostStream& stream, uint32_t now) {
    if (streamWait(stream, now) != 0) return {nullptr, 0, Cut::Nothing};
    dropTaken(stream);
    while (stream.used >= startMarkSize) {
        skip(stream, startMarkSize);
        const Cut cut = nextCut(stream);
        if (cut.kind != Cut::Nothing) return cut;
    }
    return {nullptr, 0, Cut::Bad};
}

uint32_t streamWait(const HostLinkHostStream& stream, uint32_t now) {
    if (!isHalfThere(stream)) return HOSTLINK_HOST_NEVER;
    return timeUntil(stream.lastByteAt + stream.timeout, now);
}

} // namespace hostlink
