#include "UartStream.h"

#include <algorithm>
#include <utility>

#include "hostlink/HostLinkLib.h"
#include "hostlink/HostLinkRspFrame.h"

namespace {

constexpr size_t startMarkSize = 2;

// hostLink functions count in 16 bits; a stream buffer that grew past that is looked at in its first 64 KiB.
uint16_t countOf(const ByteArray& bytes) {
    return static_cast<uint16_t>(std::min<size_t>(bytes.size(), UINT16_MAX));
}

} // namespace

void UartStream::append(const ByteArray& bytes) {
    pending.insert(pending.end(), bytes.begin(), bytes.end());
}

UartStream::Step UartStream::next() {
    if (pending.size() < static_cast<size_t>(HostLinkRspFrame::minFrameSize())) return needBytes();

    const uint32_t start = hostLinkPacketHasSop(pending.data(), countOf(pending));
    if (start == HOSTLINK_NO_SOP) {
        const size_t dropped = pending.size();
        pending.clear();
        return {Event::NoStart, static_cast<int>(dropped), 0, {}};
    }
    if (start > 0) {
        pending.erase(pending.begin(), pending.begin() + start);
        return {Event::Skipped, static_cast<int>(start), 0, {}};
    }

    const uint32_t code = hostLinkPacketVerify(pending.data(), countOf(pending));
    if (code == HOSTLINK_HEADER_TRUNCATED) return needBytes();
    if (code == HOSTLINK_TRUNCATED) {
        want = hostLinkPacketGetLength(pending.data()) - static_cast<int>(pending.size());
        return needBytes();
    }
    return takePacket(code);
}

UartStream::Step UartStream::needBytes() const {
    return {Event::NeedBytes, want, 0, {}};
}

UartStream::Step UartStream::takePacket(unsigned int code) {
    size_t length = hostLinkPacketGetLength(pending.data());
    // A bad length still tells how much to take, within reason: a packet that declares nothing gives up its start mark,
    // or it would be found for ever, and none takes more than is there.
    if (length == 0) length = startMarkSize;
    length = std::min(length, pending.size());

    const auto end = pending.begin() + static_cast<std::ptrdiff_t>(length);
    ByteArray packet(pending.begin(), end);
    pending.erase(pending.begin(), end);
    want = wantAtOnce;
    return {code == HOSTLINK_SUCCESS ? Event::Packet : Event::BadPacket, 0, code, std::move(packet)};
}
