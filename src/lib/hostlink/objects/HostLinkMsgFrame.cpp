#include "hostlink/HostLinkMsgFrame.h"

#include <cstddef>
#include <utility>

namespace {

constexpr int defaultMaxPacketSize = 64;
constexpr size_t usualPacketSize = 256;

} // namespace

HostLinkMsgFrame::HostLinkMsgFrame(const ByteArray& bytes, int id, int packetSizeLimit)
    : HostLinkMsgFrame(ByteArray(bytes), id, packetSizeLimit) {}

HostLinkMsgFrame::HostLinkMsgFrame(ByteArray&& bytes, int id, int packetSizeLimit)
    : message(std::move(bytes)),
      frameId(id),
      maxPacketSize(packetSizeLimit > 0 ? packetSizeLimit : defaultMaxPacketSize) {}

int HostLinkMsgFrame::packetCount() const {
    return static_cast<int>(
        hostLinkFramePacketCount(static_cast<uint32_t>(message.size()), static_cast<uint16_t>(maxPacketSize)));
}

ByteArray HostLinkMsgFrame::serializePacket(int index) const {
    uint16_t length = 0;
    const auto serialize = [&](unsigned char* buffer, size_t size) {
        return hostLinkFrameMsgSerialize(buffer, static_cast<uint16_t>(size), &length, static_cast<uint8_t>(frameId),
                                         message.data(), static_cast<uint32_t>(message.size()),
                                         static_cast<uint16_t>(maxPacketSize), static_cast<uint8_t>(index), 0);
    };
    // Where most packets fit, so that the one that is returned has its size from the start.
    unsigned char usual[usualPacketSize];
    const int32_t missing = serialize(usual, sizeof usual);
    if (missing == 0) return {usual, usual + length};
    if (missing < 0) return {};
    ByteArray packet(sizeof usual + static_cast<size_t>(missing));
    if (serialize(packet.data(), packet.size()) != 0) return {};
    return packet;
}
