#include <hostlink/HostLinkFrame.h>
#include <hostlink/HostLinkLib.h>
#include <hostlink/HostLinkMsgFrame.h>
#include <hostlink/HostLinkPacket.h>
#include <hostlink/HostLinkValueMessage.h>

#include "WholePath.h"

namespace {

const ByteArray item900(900, 0x5A);

ByteArray build(Load load) {
    if (load == Load::Item900) return HostLinkValueMessage(MSG_DataTransfer).addValueBin16(2, item900).serialize();
    return HostLinkValueMessage(MSG_SetState)
        .addValueUint8(0x0009, 40)
        .addValueUint16(0x0013, 320)
        .addValueUint32(0x000A, 123456)
        .addValueInt32(0x0018, -7)
        .addValueString(0x000C, "A track title, 24 bytes ")
        .serialize();
}

uint32_t readBack(Load load, const ByteArray& bytes) {
    const HostLinkValueMessage message(bytes);
    bool ok = false;
    if (load == Load::Item900) return message.getBin16(0, &ok).back();
    return message.getUint8(0, &ok) + message.getUint16(1, &ok) + message.getUint32(2, &ok) +
           static_cast<uint32_t>(message.getInt32(3, &ok)) + static_cast<uint32_t>(message.getString(4, &ok).size());
}

} // namespace

uint32_t wholePathClasses(Load load, uint16_t maxPacketSize) {
    const HostLinkMsgFrame outgoing(build(load), 5, maxPacketSize);
    HostLinkFrame incoming;
    for (int i = 0; i < outgoing.packetCount(); ++i) {
        const ByteArray packet = outgoing.serializePacket(i);
        bool ok = false;
        if (HostLinkPacket::frameType(packet, &ok) == FRT_Message && ok) incoming.addPacket(packet);
    }
    return incoming.complete() ? readBack(load, incoming.data()) : 0;
}
