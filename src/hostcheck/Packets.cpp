#include "Packets.h"

#include <algorithm>

#include <exchange/MessageItems.h>
#include <hostlink/HostLinkVocabulary.h>

#include "Text.h"

namespace hostcheck {

namespace {

constexpr size_t headerBytes = 3;

void append16(ByteArray& bytes, size_t number) {
    bytes.push_back(static_cast<unsigned char>(number));
    bytes.push_back(static_cast<unsigned char>(number >> 8));
}

std::string messageInWords(const ByteArray& packet) {
    uint16_t size = 0;
    const uint8_t* payload = hostLinkPacketGetData(packet.data(), &size);
    std::string text = "message, frame " + std::to_string(hostLinkPacketGetFrameId(packet.data())) + ", packet " +
                       std::to_string(hostLinkPacketGetPacketId(packet.data()));
    if (hostLinkPacketIsLast(packet.data()) != 0) text += ", last";
    if (hostLinkPacketGetPacketId(packet.data()) == 0 && payload != nullptr)
        text += ": " + nameOfMessage(hostLinkMessageId(payload, size));
    return text;
}

} // namespace

ByteArray headerOf(uint8_t frameId, uint8_t flags, uint16_t length) {
    ByteArray packet(HOSTLINK_PACKET_HEADER_SIZE);
    hostLinkFrameHeaderWrite(packet.data(), length, frameId, 0, flags);
    return packet;
}

ByteArray messagePacket(uint8_t frameId, uint8_t packetId, bool last, const ByteArray& payload) {
    const size_t length = HOSTLINK_PACKET_HEADER_SIZE + payload.size() + HOSTLINK_PACKET_TRAILER_SIZE;
    const auto flags = static_cast<uint8_t>(FMT_Message | (last ? PKT_Last : 0));
    ByteArray packet(HOSTLINK_PACKET_HEADER_SIZE);
    hostLinkFrameHeaderWrite(packet.data(), static_cast<uint16_t>(length), frameId, packetId, flags);
    packet.insert(packet.end(), payload.begin(), payload.end());
    packet.resize(length);
    return packet;
}

std::vector<ByteArray> cut(uint8_t frameId, const ByteArray& message, uint16_t size) {
    const size_t room = size - (HOSTLINK_PACKET_HEADER_SIZE + HOSTLINK_PACKET_TRAILER_SIZE);
    std::vector<ByteArray> packets;
    for (size_t at = 0; at < message.size(); at += room) {
        const size_t end = std::min(at + room, message.size());
        const ByteArray part(message.begin() + static_cast<long>(at), message.begin() + static_cast<long>(end));
        packets.push_back(messagePacket(frameId, static_cast<uint8_t>(packets.size()), end == message.size(), part));
    }
    return packets;
}

ByteArray resetPacket(uint8_t frameId) {
    ByteArray packet(HOSTLINK_RST_FRAME_SIZE);
    hostLinkFrameRstSerialize(packet.data(), frameId);
    return packet;
}

ByteArray irqPacket(uint8_t frameId, uint32_t value) {
    ByteArray packet(HOSTLINK_IRQ_FRAME_SIZE);
    hostLinkFrameIrqSerialize(packet.data(), frameId, value);
    return packet;
}

ByteArray responsePacket(uint8_t frameId, AcknowledgeType type) {
    ByteArray packet(HOSTLINK_RSP_FRAME_SIZE);
    hostLinkFrameRspSerialize(packet.data(), frameId, type);
    return packet;
}

ByteArray listMessage(uint16_t id, const std::vector<uint16_t>& items) {
    ByteArray message;
    append16(message, id);
    message.push_back(static_cast<unsigned char>(items.size()));
    for (const uint16_t item : items) append16(message, item);
    return message;
}

ByteArray emptyMessage(uint16_t id) {
    return listMessage(id, {});
}

ByteArray binaryMessage(uint16_t id, uint16_t tag, size_t bytes) {
    ByteArray message;
    append16(message, id);
    message.push_back(1);
    append16(message, tag);
    message.push_back(ENC_Bin16);
    append16(message, bytes);
    for (size_t i = 0; i < bytes; ++i) message.push_back(static_cast<unsigned char>(i * 7));
    return message;
}

uint16_t idOf(const ByteArray& message) {
    return hostLinkMessageId(message.data(), static_cast<uint16_t>(message.size()));
}

bool isReadable(const ByteArray& message) {
    return hostlink::exchange::itemsOf(message).has_value();
}

std::vector<ByteArray> rawItems(const ByteArray& message) {
    const auto items = hostlink::exchange::itemsOf(message);
    if (!items) return {};
    std::vector<ByteArray> raw;
    for (const auto& item : *items) {
        hostlink::exchange::MessageWriter writer(MSG_SetState);
        if (item.isNil()) writer.nil(item.tag);
        if (item.isBinary()) writer.binary(item.tag, item.data, item.size);
        if (item.isNumber()) writer.number(item.tag, item.encoding, item.number);
        raw.emplace_back(writer.message().begin() + static_cast<long>(headerBytes), writer.message().end());
    }
    return raw;
}

std::vector<uint16_t> listItems(const ByteArray& message) {
    std::vector<uint16_t> items;
    if (message.size() < headerBytes) return items;
    for (size_t i = 0; i < message[2] && headerBytes + 2 * i + 1 < message.size(); ++i) {
        const size_t at = headerBytes + 2 * i;
        items.push_back(static_cast<uint16_t>(message[at] | message[at + 1] << 8));
    }
    return items;
}

ByteArray joined(const std::vector<ByteArray>& parts) {
    ByteArray all;
    for (const ByteArray& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}

std::string hex(const ByteArray& bytes, size_t longest) {
    std::string text;
    for (size_t i = 0; i < bytes.size() && i < longest; ++i) {
        if (i != 0) text += ' ';
        text += hexadecimal(bytes[i], 2);
    }
    if (bytes.size() > longest) text += " ... (" + std::to_string(bytes.size()) + " bytes)";
    return text;
}

std::string nameOfMessage(uint16_t id) {
    const auto found = messageIdToString.find(static_cast<MessageId>(id));
    return found == messageIdToString.end() ? "message 0x" + hexadecimal(id, 4) : found->second;
}

std::string nameOf(AcknowledgeType type) {
    switch (type) {
    case AcknowledgeType::Ack: return "ack";
    case AcknowledgeType::Nack: return "nack";
    case AcknowledgeType::AckNack: return "both ack and nack";
    default: return "neither ack nor nack";
    }
}

std::string inWords(const ByteArray& packet) {
    if (hostLinkPacketVerify(packet.data(), static_cast<uint16_t>(packet.size())) != HOSTLINK_SUCCESS)
        return "no packet";
    const std::string frame = ", frame " + std::to_string(hostLinkPacketGetFrameId(packet.data()));
    switch (hostLinkPacketGetFrameType(packet.data())) {
    case FRT_Response: return "response: " + nameOf(hostLinkFrameRspDeserialize(packet.data())) + frame;
    case FRT_Reset: return "reset" + frame;
    case FRT_Irq:
        return "IRQ, value " +
               std::to_string(hostLinkFrameIrqDeserialize(packet.data(), static_cast<uint16_t>(packet.size()))) + frame;
    case FRT_Message: return messageInWords(packet);
    default: return "packet of an unknown format" + frame;
    }
}

} // namespace hostcheck
