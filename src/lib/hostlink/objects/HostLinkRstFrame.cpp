#include "hostlink/HostLinkRstFrame.h"

#include "hostlink/HostLinkLib.h"

ByteArray HostLinkRstFrame::create(unsigned char frameId) {
    ByteArray packet(HOSTLINK_RST_FRAME_SIZE);
    hostLinkFrameRstSerialize(packet.data(), frameId);
    return packet;
}
