#include <cstring>
#include <string>

#include <hostlink/HostLinkFrame.h>
#include <hostlink/HostLinkLib.h>
#include <hostlink/HostLinkMsgFrame.h>
#include <hostlink/HostLinkPacket.h>
#include <hostlink/HostLinkValueMessage.h>

#include "WholePath.h"
#include "WholePathValues.h"

namespace {

constexpr int frameId = 5;

ByteArray build(Load load) {
    if (load == Load::Item900) {
        return HostLinkValueMessage(MSG_DataTransfer)
            .addValueBin16(DTT_Data, ByteArray(chunk, chunk + chunkLength))
            .serialize();
    }
    return HostLinkValueMessage(MSG_SetState)
        .addValueUint8(STA_PlayerVolume, volume)
        .addValueUint16(STA_MetaBitrate, bitrate)
        .addValueUint32(STA_PlayerPlayTime, playTime)
        .addValueInt32(STA_AudioGain, gain)
        .addValueString(STA_MetaTitle, title)
        .serialize();
}

// The packets of the message one behind the other, as they go over the line; empty when one is missing.
ByteArray cut(Load load, uint16_t maxPacketSize) {
    const HostLinkMsgFrame frame(build(load), frameId, maxPacketSize);
    const int packets = frame.packetCount();
    ByteArray wire;
    for (int i = 0; i < packets; ++i) {
        const ByteArray packet = frame.serializePacket(i);
        if (packet.empty()) return {};
        wire.insert(wire.end(), packet.begin(), packet.end());
    }
    return wire;
}

// Takes every packet that stands in `held`; false when one is not as it was sent.
bool takePackets(ByteArray& held, HostLinkFrame& frame) {
    while (held.size() >= HOSTLINK_PACKET_HEADER_SIZE) {
        const uint32_t start = hostLinkPacketHasSop(held.data(), static_cast<uint16_t>(held.size()));
        if (start == HOSTLINK_NO_SOP) return true;
        if (start != 0) held.erase(held.begin(), held.begin() + start);
        const uint32_t code = hostLinkPacketVerify(held.data(), static_cast<uint16_t>(held.size()));
        if (code == HOSTLINK_HEADER_TRUNCATED || code == HOSTLINK_TRUNCATED) return true;
        if (code != HOSTLINK_SUCCESS) return false;
        const auto end = held.begin() + hostLinkPacketGetLength(held.data());
        const ByteArray packet(held.begin(), end);
        held.erase(held.begin(), end);
        bool ok = false;
        if (HostLinkPacket::frameType(packet, &ok) != FRT_Message || !ok) return false;
        if (frame.addPacket(packet) != HOSTLINK_SUCCESS) return false;
    }
    return true;
}

bool receive(const ByteArray& wire, HostLinkFrame& frame) {
    ByteArray held;
    for (size_t at = 0; at < wire.size(); at += readSize) {
        const size_t count = wire.size() - at < readSize ? wire.size() - at : readSize;
        held.insert(held.end(), wire.data() + at, wire.data() + at + count);
        if (!takePackets(held, frame)) return false;
    }
    return frame.complete();
}

bool readBack(Load load, const HostLinkValueMessage& message) {
    bool ok = false;
    if (load == Load::Item900) {
        if (message.size() != 1 || message.getTag(0, &ok) != DTT_Data || !ok) return false;
        const ByteArray data = message.getBin16(0, &ok);
        return ok && data.size() == chunkLength && std::memcmp(data.data(), chunk, chunkLength) == 0;
    }
    return message.size() == 5 && message.getTag(0, &ok) == STA_PlayerVolume && ok &&
           message.getUint8(0, &ok) == volume && ok && message.getTag(1, &ok) == STA_MetaBitrate && ok &&
           message.getUint16(1, &ok) == bitrate && ok && message.getTag(2, &ok) == STA_PlayerPlayTime && ok &&
           message.getUint32(2, &ok) == playTime && ok && message.getTag(3, &ok) == STA_AudioGain && ok &&
           message.getInt32(3, &ok) == gain && ok && message.getTag(4, &ok) == STA_MetaTitle && ok &&
           message.getString(4, &ok) == title && ok;
}

} // namespace

uint32_t programPathClasses(Load load, uint16_t maxPacketSize) {
    HostLinkFrame frame;
    if (!receive(cut(load, maxPacketSize), frame)) return 0;
    return readBack(load, HostLinkValueMessage(frame.data())) ? 1 : 0;
}
