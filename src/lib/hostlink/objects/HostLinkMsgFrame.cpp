#include "hostlink/HostLinkMsgFrame.h"

#include <cstddef>

namespace {

constexpr int defaultMaxPacketSize = 64;

} // namespace

HostLinkMsgFrame::HostLinkMsgFrame(const ByteArray& bytes, int id, int packetSizeLimit)
    : message(bytes), frameId(id), maxPacketSize(packetSizeLimit > 0 ? packetSizeLimit : defaultMaxPacketSize) {}

int HostLinkMsgFrame::packetCount() const {
    return static_cast<int>(
        hostLinkFramePacketCount(static_cast<uint32_t>(message.size()), static_cast<uint16_t>(maxPacketSize)));
}

ByteArray HostLinkMsgFrame::serializePacket(int index) const {
    ByteArray packet;
    uint16_t length = 0;
    const auto serialize = [&] {
        return hostLinkFrameMsgSerialize(packet.data(), static_cast<uint16_t>(packet.size()), &length,
                                         static_cast<uint8_t>(frameId), message.data(),
                                         static_cast<uint32_t>(message.size()), static_cast<uint16_t>(maxPacketSize),
                                         static_cast<uint8_t>(index), 0);
    };
    // The first call tells how many bytes the packet needs, the second writes it.
    const int32_t missing = serialize();
    if (missing <= 0) return {};
    packet.resize(static_cast<size_t>(missing));
    if (serialize() != 0) return {};
    return packet;
}
