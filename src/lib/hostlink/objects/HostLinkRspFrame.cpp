#include "hostlink/HostLinkRspFrame.h"

#include "hostlink/HostLinkPacket.h"

ByteArray HostLinkRspFrame::create(unsigned char frameId, AcknowledgeType type) {
    ByteArray packet(HOSTLINK_RSP_FRAME_SIZE);
    hostLinkFrameRspSerialize(packet.data(), frameId, type);
    return packet;
}

AcknowledgeType HostLinkRspFrame::parse(const ByteArray& packet, bool* ok) {
    *ok = HostLinkPacket::verify(packet);
    return *ok ? hostLinkFrameRspDeserialize(packet.data()) : AcknowledgeType::None;
}

int HostLinkRspFrame::minFrameSize() {
    return HOSTLINK_RSP_FRAME_SIZE;
}
