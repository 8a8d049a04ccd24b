#include "hostlink/HostLinkIrqFrame.h"

#include "hostlink/HostLinkLib.h"
#include "hostlink/HostLinkPacket.h"

ByteArray HostLinkIrqFrame::create(unsigned char frameId, unsigned int value) {
    ByteArray packet(HOSTLINK_IRQ_FRAME_SIZE);
    hostLinkFrameIrqSerialize(packet.data(), frameId, value);
    return packet;
}

unsigned int HostLinkIrqFrame::parse(const ByteArray& packet, bool* ok) {
    if (!HostLinkPacket::verify(packet)) {
        *ok = false;
        return 0;
    }
    const uint32_t value = hostLinkFrameIrqDeserialize(packet.data(), static_cast<uint16_t>(packet.size()));
    *ok = value != 0;
    return value;
}
