#include <string.h>

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
void noteHeader(HostLinkFrameRecord* frame, const uint8_t* packet, uint16_t length) {
    const uint8_t flags = packet[flagsAt];
    frame->complete = isLast(flags) ? 1 : 0;
    // Keyed on the payload, not on the number of packets: header-only packets never fix the frame's id.
    if (frame->size != 0) return;
    frame->frameId = packet[frameIdAt];
    frame->type = frameTypeFrom(flags, length);
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
    uint32_t chunk = room;
    uint8_t flags = static_cast<uint8_t>(FMT_Message);
    if (left <= room) {
        chunk = left;
        flags |= PKT_Last;
    }
    const uint32_t needed = chunk + packetOverhead;
    const uint16_t length = static_cast<uint16_t>(needed);
    *packetLength = length;
    // The length field wraps for chunks above 65525 bytes, but the bytes to write do not become fewer.
    if (unlikely(needed > bufferSize)) {
        return static_cast<int32_t>((length > bufferSize ? length : needed) - bufferSize);
    }

    writeHeader(buffer, length, frameId, packetIndex, flags);
    if (unlikely(ackRequest != 0)) buffer[flagsAt] |= PKT_Ack;
    uint8_t* payload = buffer + payloadAt;
    uint8_t* trailer = payload + chunk;
    if (!unlikely(chunk == 0)) memcpy(payload, message + offset, chunk);
    store16le(trailer, 0);
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
    const uint32_t code = verifyPacket(packet, static_cast<uint16_t>(count));
    if (unlikely(code != HOSTLINK_SUCCESS)) return code;
    const uint32_t size = frame->size;
    if (unlikely(frame->capacity < size)) return HOSTLINK_NO_ROOM;
    const uint32_t room = frame->capacity - size;
    const uint16_t length = load16le(packet + lengthAt);
    if (unlikely(length == HOSTLINK_PACKET_HEADER_SIZE)) {
        noteHeader(frame, packet, length);
        return HOSTLINK_SUCCESS;
    }
    const uint32_t payloadLength = uint32_t{length} - packetOverhead;
    if (unlikely(room < payloadLength)) return HOSTLINK_NO_ROOM;
    noteHeader(frame, packet, length);
    frame->size = size + payloadLength;
    memcpy(frame->data + size, packet + payloadAt, payloadLength);
    return HOSTLINK_SUCCESS;
}

uint8_t hostLinkFrameComplete(const HostLinkFrameRecord* frame) {
    return frame->complete;
}

uint32_t hostLinkFrameType(const HostLinkFrameRecord* frame) {
    return frame->type;
}

uint8_t* hostLinkFrameData(const HostLinkFrameRecord* frame, uint32_t* size) {
    *size = frame->size;
    return frame->data;
}
