#include <cstring>

#include <hostlink/HostLinkLib.h>

#include "WholePath.h"
#include "WholePathValues.h"

namespace {

constexpr uint32_t messageCapacity = 1024;
constexpr uint32_t wireCapacity = 2048;
constexpr uint8_t frameId = 5;

bool buildTypical(HostLinkLL* message) {
    return hostLinkMessageVariantInit(message, MSG_SetState) == HOSTLINK_SUCCESS &&
           hostLinkMessageVariantAddValue(message, STA_PlayerVolume, &volume, ENC_Uint8) == HOSTLINK_SUCCESS &&
           hostLinkMessageVariantAddValue(message, STA_MetaBitrate, &bitrate, ENC_Uint16) == HOSTLINK_SUCCESS &&
           hostLinkMessageVariantAddValue(message, STA_PlayerPlayTime, &playTime, ENC_Uint32) == HOSTLINK_SUCCESS &&
           hostLinkMessageVariantAddValue(message, STA_AudioGain, &gain, ENC_Int32) == HOSTLINK_SUCCESS &&
           hostLinkMessageVariantAddBin16(message, STA_MetaTitle, reinterpret_cast<const uint8_t*>(title),
                                          titleLength) == HOSTLINK_SUCCESS;
}

bool buildItem900(HostLinkLL* message) {
    return hostLinkMessageVariantInit(message, MSG_DataTransfer) == HOSTLINK_SUCCESS &&
           hostLinkMessageVariantAddBin16(message, DTT_Data, chunk, chunkLength) == HOSTLINK_SUCCESS;
}

// The packets of the message one behind the other, as they go over the line; 0 when one does not fit.
uint32_t cut(const HostLinkLL& message, uint16_t maxPacketSize, uint8_t* wire) {
    const uint32_t packets = hostLinkFramePacketCount(message.used, maxPacketSize);
    uint32_t written = 0;
    for (uint32_t i = 0; i < packets; ++i) {
        uint16_t length = 0;
        if (hostLinkFrameMsgSerialize(wire + written, static_cast<uint16_t>(wireCapacity - written), &length, frameId,
                                      message.data, message.used, maxPacketSize, static_cast<uint8_t>(i), 0) != 0) {
            return 0;
        }
        written += length;
    }
    return written;
}

// What a program keeps of a serial line: the bytes that it has read and not yet used.
struct Reader {
    uint8_t bytes[messageCapacity];
    uint32_t held;

    void append(const uint8_t* from, uint32_t count) {
        std::memcpy(bytes + held, from, count);
        held += count;
    }

    void drop(uint32_t count) {
        held -= count;
        std::memmove(bytes, bytes + count, held);
    }
};

// Takes every packet that the reader holds; false when one is not as it was sent.
bool takePackets(Reader* reader, HostLinkFrameRecord* frame) {
    while (reader->held >= HOSTLINK_PACKET_HEADER_SIZE) {
        const uint32_t start = hostLinkPacketHasSop(reader->bytes, static_cast<uint16_t>(reader->held));
        if (start == HOSTLINK_NO_SOP) return true;
        if (start != 0) reader->drop(start);
        const uint32_t code = hostLinkPacketVerify(reader->bytes, static_cast<uint16_t>(reader->held));
        if (code == HOSTLINK_HEADER_TRUNCATED || code == HOSTLINK_TRUNCATED) return true;
        if (code != HOSTLINK_SUCCESS) return false;
        const uint16_t length = hostLinkPacketGetLength(reader->bytes);
        if (hostLinkPacketGetFrameType(reader->bytes) != FRT_Message) return false;
        if (hostLinkPacketGetFrameId(reader->bytes) != frameId) return false;
        if (hostLinkFrameAddPacket(frame, reader->bytes, length) != HOSTLINK_SUCCESS) return false;
        reader->drop(length);
    }
    return true;
}

bool receive(const uint8_t* wire, uint32_t wireSize, HostLinkFrameRecord* frame) {
    Reader reader;
    reader.held = 0;
    for (uint32_t at = 0; at < wireSize; at += readSize) {
        reader.append(wire + at, wireSize - at < readSize ? wireSize - at : readSize);
        if (!takePackets(&reader, frame)) return false;
    }
    return hostLinkFrameComplete(frame) == 1 && hostLinkFrameType(frame) == FRT_Message;
}

bool isNext(HostLinkVariantIter* items, uint16_t tag, uint8_t encoding, const void* value, size_t size) {
    HostLinkVariant item;
    return hostLinkVariantIteratorGetNext(items, &item) == HOSTLINK_SUCCESS && item.tag == tag &&
           item.encoding == encoding && std::memcmp(item.value.bytes, value, size) == 0;
}

bool isNextBin16(HostLinkVariantIter* items, uint16_t tag, const void* bytes, uint16_t length) {
    HostLinkVariant item;
    uint8_t copy[chunkLength];
    return hostLinkVariantIteratorGetNext(items, &item) == HOSTLINK_SUCCESS && item.tag == tag &&
           item.encoding == ENC_Bin16 && hostLinkBin16Copy(&item.value.bin16, copy, 0, sizeof copy) == length &&
           std::memcmp(copy, bytes, length) == 0;
}

bool readBack(Load load, const HostLinkLL& message) {
    HostLinkVariantIter items;
    if (hostLinkVariantIterator(&message, &items) != HOSTLINK_SUCCESS) return false;
    const bool same = load == Load::Item900
                          ? isNextBin16(&items, DTT_Data, chunk, chunkLength)
                          : isNext(&items, STA_PlayerVolume, ENC_Uint8, &volume, sizeof volume) &&
                                isNext(&items, STA_MetaBitrate, ENC_Uint16, &bitrate, sizeof bitrate) &&
                                isNext(&items, STA_PlayerPlayTime, ENC_Uint32, &playTime, sizeof playTime) &&
                                isNext(&items, STA_AudioGain, ENC_Int32, &gain, sizeof gain) &&
                                isNextBin16(&items, STA_MetaTitle, title, titleLength);
    HostLinkVariant none;
    return same && hostLinkVariantIteratorGetNext(&items, &none) == HOSTLINK_NO_MORE_ITEMS;
}

} // namespace

uint32_t programPathCore(Load load, uint16_t maxPacketSize) {
    uint8_t messageBytes[messageCapacity];
    uint8_t wire[wireCapacity];
    uint8_t assembled[messageCapacity];

    HostLinkLL message{messageBytes, sizeof messageBytes, 0};
    if (!(load == Load::Item900 ? buildItem900(&message) : buildTypical(&message))) return 0;
    const uint32_t wireSize = cut(message, maxPacketSize, wire);

    HostLinkFrameRecord frame;
    hostLinkFrameInit(&frame, assembled, sizeof assembled);
    if (!receive(wire, wireSize, &frame)) return 0;

    uint32_t size = 0;
    uint8_t* bytes = hostLinkFrameData(&frame, &size);
    return readBack(load, {bytes, size, size}) ? 1 : 0;
}
