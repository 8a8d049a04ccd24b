// Packet functions: what they read from any bytes, and what they write for any message.
#include <algorithm>
#include <cstring>
#include <iterator>

#include <hostlink/HostLinkLib.h>

#include "support/Input.h"
#include "support/Require.h"
#include "support/WireReference.h"

namespace {

constexpr size_t overhead = 10; // header and trailer

void checkMark(const ByteArray& bytes) {
    const unsigned char mark[] = {0xFF, 0xFE};
    const auto found = std::search(bytes.begin(), bytes.end(), std::begin(mark), std::end(mark));
    const uint32_t expected = found == bytes.end() ? HOSTLINK_NO_SOP : static_cast<uint32_t>(found - bytes.begin());
    const uint32_t told = hostLinkPacketHasSop(bytes.data(), static_cast<uint16_t>(bytes.size()));
    require(told == expected, "the start mark is found where it first stands");
}

void checkFields(const ByteArray& bytes, const reference::Packet& packet) {
    const uint8_t* at = bytes.data();
    require(hostLinkPacketGetSop(at) == 0xFEFF, "a verified packet has its mark");
    require(hostLinkPacketGetLength(at) == packet.length, "length");
    require(hostLinkPacketGetFlags(at) == packet.flags, "flags");
    require(hostLinkPacketGetFrameId(at) == packet.frameId, "frame id");
    require(hostLinkPacketGetPacketId(at) == packet.packetId, "packet id");
    require(hostLinkPacketGetFrameType(at) == packet.type(), "frame type");
    require(hostLinkPacketIsLast(at) == (packet.isLast() ? 1 : 0), "last flag");
    uint16_t payloadLength = 0xAAAA;
    const uint8_t* payload = hostLinkPacketGetData(at, &payloadLength);
    require(payloadLength == packet.payload.size(), "payload length");
    require(payload == (packet.length == 8 ? nullptr : at + 8), "payload position");
}

// Equal but for padding and trailer, which nobody reads, and those bits of the flags and the packet id that `mask` and
// `packetIdCounts` leave out.
bool sameOnTheWire(const ByteArray& left, const ByteArray& right, uint8_t mask, bool packetIdCounts) {
    if (left.size() != right.size()) return false;
    const size_t payloadEnd = left.size() == 8 ? 8 : left.size() - 2;
    return std::equal(left.begin(), left.begin() + 4, right.begin()) && ((left[4] ^ right[4]) & mask) == 0 &&
           left[5] == right[5] && (!packetIdCounts || left[6] == right[6]) &&
           slice(left, 8, payloadEnd) == slice(right, 8, payloadEnd);
}

void checkHeaderAgain(const ByteArray& bytes, const reference::Packet& packet) {
    ExactBytes header(8);
    hostLinkFrameHeaderWrite(header.data(), static_cast<uint16_t>(packet.length), packet.frameId, packet.packetId,
                             packet.flags);
    require(std::equal(header.data(), header.data() + 7, bytes.begin()), "a header is written as it was read");
    require(header[7] == 0, "padding is written as 0");
}

void checkResponseAgain(const ByteArray& bytes, const reference::Packet& packet) {
    const AcknowledgeType type = hostLinkFrameRspDeserialize(bytes.data());
    require(static_cast<unsigned>(type) == packet.acknowledgement(), "acknowledgement");
    ExactBytes again(HOSTLINK_RSP_FRAME_SIZE);
    hostLinkFrameRspSerialize(again.data(), packet.frameId, type);
    require(sameOnTheWire(again.copy(), bytes, 0xC7, false), "a response frame is written as it was read");
    require((again[4] & 0x38) == 0x20, "a response frame is the last packet of its frame");
}

void checkIrqAgain(const ByteArray& bytes, const reference::Packet& packet) {
    const uint32_t value = hostLinkFrameIrqDeserialize(bytes.data(), static_cast<uint16_t>(bytes.size()));
    if (bytes.size() < 14) return require(value == 0, "an IRQ frame that is cut short says 0");
    ExactBytes again(HOSTLINK_IRQ_FRAME_SIZE);
    hostLinkFrameIrqSerialize(again.data(), packet.frameId, value);
    require(packet.length != 14 || sameOnTheWire(again.copy(), slice(bytes, 0, 14), 0x07, false),
            "an IRQ frame is written as it was read");
}

// The packet as number `packetId` of a message: those before it as long as itself, and one byte more when it is not the
// last.
void checkMessageAgain(const ByteArray& bytes, const reference::Packet& packet) {
    const size_t before = packet.packetId * packet.payload.size();
    if (before > 65536 || (packet.flags & 0x58) != 0) return;
    ByteArray message(before);
    message.insert(message.end(), packet.payload.begin(), packet.payload.end());
    if (!packet.isLast()) message.push_back(0);
    ExactBytes again(packet.length);
    uint16_t length = 0;
    const int32_t result = hostLinkFrameMsgSerialize(
        again.data(), again.size16(), &length, packet.frameId, message.data(), static_cast<uint32_t>(message.size()),
        static_cast<uint16_t>(packet.length), packet.packetId, packet.flags & 0x80U);
    require(result == 0 && length == packet.length, "a message packet can be written again");
    require(sameOnTheWire(again.copy(), bytes, 0xFF, true), "a message packet is written as it was read");
}

void readBytes(Input& input) {
    const ByteArray bytes = input.bytes(reference::longestPacket);
    checkMark(bytes);
    const uint32_t code = hostLinkPacketVerify(bytes.data(), static_cast<uint16_t>(bytes.size()));
    require(code == reference::packetCode(bytes), "a packet is judged by the order of its checks");
    if (code != HOSTLINK_SUCCESS) return;
    const reference::Packet packet(bytes);
    checkFields(bytes, packet);
    checkHeaderAgain(bytes, packet);
    const ByteArray exact = slice(bytes, 0, packet.length);
    if (packet.isResponse() && packet.format() == 3) checkResponseAgain(exact, packet);
    if (packet.type() == 2) checkIrqAgain(exact, packet);
    if (packet.isMessage()) checkMessageAgain(exact, packet);
}

// Each packet into a block of its exact size, and into one that is one byte short.
void cutMessage(Input& input) {
    const size_t room = size_t{1} + input.below(256);
    const uint8_t frameId = input.byte();
    const ByteArray message = input.bytes(255 * room);
    const auto total = static_cast<uint32_t>(message.size());
    const auto size = static_cast<uint16_t>(room + overhead);
    const std::vector<ByteArray> packets = reference::packetsOf(message, room, frameId);
    require(hostLinkFramePacketCount(total, size) == packets.size(), "a message needs as many packets as it fills");
    for (size_t i = 0; i < packets.size(); ++i) {
        uint16_t length = 0;
        ExactBytes packet(packets[i].size());
        const auto index = static_cast<uint8_t>(i);
        require(hostLinkFrameMsgSerialize(packet.data(), packet.size16(), &length, frameId, message.data(), total, size,
                                          index, 0) == 0,
                "a packet fits a block of its size");
        require(length == packets[i].size() && packet.copy() == packets[i], "packets carry slices of the message");
        ExactBytes tight(packets[i].size() - 1);
        require(hostLinkFrameMsgSerialize(tight.data(), tight.size16(), &length, frameId, message.data(), total, size,
                                          index, 0) == 1,
                "one byte is told to be missing");
        require(tight.isUntouched(), "nothing is written where the packet does not fit");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    if (input.flag()) {
        cutMessage(input);
    } else {
        readBytes(input);
    }
    return 0;
}
