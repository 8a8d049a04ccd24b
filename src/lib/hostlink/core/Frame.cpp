#include "Copy.h"
#include "Division.h"
#include "PacketLayout.h"

namespace {

// Payload bytes that fit a packet. 16-bit arithmetic: a maximum packet size below 10 wraps to a very large room.
uint16_t payloadRoom(uint16_t maxPacketSize) {
    return static_cast<uint16_t>(maxPacketSize - packetOverhead);
}

void writeHeader(uint8_t* buffer, uint16_t length, uint8_t frameId, uint8_t packetId, uint8_t flags) {
    store16le(buffer + sopAt, HOSTLINK_SOP);
    store16le(buffer + lengthAt, length);
    buffer[flagsAt] = flags;
    buffer[frameIdAt] = frameId;
    buffer[packetIdAt] = packetId;
    buffer[paddingAt] = 0;
}

// Flags of a frame in one packet.
uint8_t singlePacketFlags(LinkFrameFormat format) {
    return static_cast<uint8_t>(uint32_t{PKT_Last} | format);
}

// What a frame keeps of a packet's header.
void noteHeader(HostLinkFrameRecord* frame, const uint8_t* packet) {
    frame->complete = hostLinkPacketIsLast(packet);
    // Keyed on the payload, not on the number of packets: header-only packets never fix the frame's id.
    if (frame->size != 0) return;
    frame->frameId = packet[frameIdAt];
    frame->type = hostLinkPacketGetFrameType(packet);
}

// Adds a packet without a payload. Apart, since hardly any is one.
[[gnu::noinline]] uint32_t addHeader(HostLinkFrameRecord* frame, const uint8_t* packet, uint16_t available) {
    const uint32_t code = hostLinkPacketVerify(packet, available);
    if (code != HOSTLINK_SUCCESS) return code;
    if (frame->capacity < frame->size) return HOSTLINK_NO_ROOM;
    noteHeader(frame, packet);
    return HOSTLINK_SUCCESS;
}

} // namespace

void hostLinkFrameHeaderWrite(uint8_t* buffer, uint16_t length, uint8_t frameId, uint8_t packetId, uint8_t flags) {
    writeHeader(buffer, length, frameId, packetId, flags);
}

int32_t hostLinkFrameMsgSerialize(uint8_t* buffer, uint16_t bufferSize, uint16_t* packetLength, uint8_t frameId,
                                  const uint8_t* message, uint32_t messageLength, uint16_t maxPacketSize,
                                  uint8_t packetIndex, uint32_t ackRequest) {
    const uint16_t room = payloadRoom(maxPacketSize);
    const uint32_t offset = uint32_t{packetIndex} * room;
    if (unlikely(offset > messageLength)) return -1;

    const uint32_t left = messageLength - offset;
    const uint8_t* from = message + offset;
    uint32_t chunk = room;
    uint32_t flags = FMT_Message;
    if (left <= room) {
        chunk = left;
        flags |= PKT_Last;
    }
    const uint32_t needed = chunk + packetOverhead;
    const uint16_t length = static_cast<uint16_t>(needed);
    *packetLength = length;
    // The length field wraps for chunks above 65525 bytes, but the bytes to write do not become fewer.
    const uint32_t space = bufferSize;
    if (unlikely(needed > space)) {
        return static_cast<int32_t>((length > space ? length : needed) - space);
    }

    writeHeader(buffer, length, frameId, packetIndex, static_cast<uint8_t>(flags));
    uint8_t* payload = buffer + payloadAt;
    store16le(payload + chunk, 0); // before the payload, so that nothing has to be kept while that is copied
    if (unlikely(ackRequest != 0)) buffer[flagsAt] |= PKT_Ack;
    copyBytes(payload, from, chunk);
    return 0;
}

void hostLinkFrameIrqSerialize(uint8_t* buffer, uint8_t frameId, uint32_t value) {
    writeHeader(buffer, HOSTLINK_IRQ_FRAME_SIZE, frameId, 0, singlePacketFlags(FMT_Irq));
    store32le(buffer + payloadAt, value);
    store16le(buffer + payloadAt + 4, 0);
}

void hostLinkFrameRspSerialize(uint8_t* buffer, uint8_t frameId, AcknowledgeType type) {
    uint8_t flags = singlePacketFlags(FMT_Message);
    if (type <= AcknowledgeType::AckNack) flags |= static_cast<uint8_t>(static_cast<uint8_t>(type) << acknowledgeShift);
    writeHeader(buffer, HOSTLINK_RSP_FRAME_SIZE, frameId, 0, flags);
}

void hostLinkFrameRstSerialize(uint8_t* buffer, uint8_t frameId) {
    writeHeader(buffer, HOSTLINK_RST_FRAME_SIZE, frameId, 0, singlePacketFlags(FMT_Reset));
}

uint32_t hostLinkFrameIrqDeserialize(const uint8_t* packet, uint16_t count) {
    return count >= HOSTLINK_IRQ_FRAME_SIZE ? load32le(packet + payloadAt) : 0;
}

AcknowledgeType hostLinkFrameRspDeserialize(const uint8_t* packet) {
    return static_cast<AcknowledgeType>(packet[flagsAt] >> acknowledgeShift);
}

uint32_t hostLinkFramePacketCount(uint32_t messageLength, uint16_t maxPacketSize) {
    const uint16_t room = payloadRoom(maxPacketSize);
    if (room == 0) return messageLength != 0 ? 1 : 0;
    return dividedUp(messageLength, room);
}

void hostLinkFrameInit(HostLinkFrameRecord* frame, uint8_t* buffer, uint32_t capacity) {
    frame->data = buffer;
    frame->capacity = capacity;
    frame->size = 0;
    frame->frameId = 0;
    frame->complete = 0;
    frame->type = 0;
}

uint32_t hostLinkFrameAddPacket(HostLinkFrameRecord* frame, const uint8_t* packet, uint32_t count) {
    const uint16_t available = static_cast<uint16_t>(count);
    if (unlikely(available < HOSTLINK_PACKET_HEADER_SIZE)) return HOSTLINK_HEADER_TRUNCATED;
    const uint16_t length = load16le(packet + lengthAt);
    if (unlikely(length <= packetOverhead)) return addHeader(frame, packet, available);
    const uint32_t code = verifyBehindLength(packet, available, length);
    if (unlikely(code != HOSTLINK_SUCCESS)) return code;
    const uint32_t payloadLength = uint32_t{length} - packetOverhead;
    const uint32_t size = frame->size;
    if (unlikely(frame->capacity < size)) return HOSTLINK_NO_ROOM;
    if (unlikely(frame->capacity - size < payloadLength)) return HOSTLINK_NO_ROOM;
    noteHeader(frame, packet);
    frame->size = size + payloadLength;
    copyBytes(frame->data + size, packet + payloadAt, payloadLength);
    return HOSTLINK_SUCCESS;
}
