#include <array>
#include <cstring>

#include <hostlink/HostLinkLib.h>

#include "WholePath.h"

namespace {

constexpr size_t messageCapacity = 1024;
constexpr size_t wireCapacity = 2048;
constexpr uint16_t readSize = 64; // bytes that a read of the serial line brings

std::array<uint8_t, 900> item900{};
const char text24[25] = "A track title, 24 bytes ";

uint32_t buildMessage(Load load, HostLinkLL* message) {
    if (load == Load::Item900) {
        hostLinkMessageVariantInit(message, MSG_DataTransfer);
        return hostLinkMessageVariantAddBin16(message, 2, item900.data(), item900.size());
    }
    const uint8_t volume = 40;
    const uint16_t bitrate = 320;
    const uint32_t playTime = 123456;
    const int32_t gain = -7;
    hostLinkMessageVariantInit(message, MSG_SetState);
    hostLinkMessageVariantAddValue(message, 0x0009, &volume, ENC_Uint8);
    hostLinkMessageVariantAddValue(message, 0x0013, &bitrate, ENC_Uint16);
    hostLinkMessageVariantAddValue(message, 0x000A, &playTime, ENC_Uint32);
    hostLinkMessageVariantAddValue(message, 0x0018, &gain, ENC_Int32);
    return hostLinkMessageVariantAddBin16(message, 0x000C, reinterpret_cast<const uint8_t*>(text24), 24);
}

uint32_t cutMessage(const HostLinkLL& message, uint16_t maxPacketSize, uint8_t* wire) {
    const uint32_t count = hostLinkFramePacketCount(message.used, maxPacketSize);
    uint32_t at = 0;
    for (uint32_t i = 0; i < count; ++i) {
        uint16_t length = 0;
        hostLinkFrameMsgSerialize(wire + at, static_cast<uint16_t>(wireCapacity - at), &length, 5, message.data,
                                  message.used, maxPacketSize, static_cast<uint8_t>(i), 0);
        at += length;
    }
    return at;
}

void reassemble(const uint8_t* wire, uint32_t wireSize, HostLinkFrameRecord* frame) {
    uint32_t start = 0;
    for (uint32_t end = 0; hostLinkFrameComplete(frame) == 0;) {
        end = end + readSize < wireSize ? end + readSize : wireSize;
        for (;;) {
            const auto available = static_cast<uint16_t>(end - start);
            const uint32_t sop = hostLinkPacketHasSop(wire + start, available);
            if (sop == HOSTLINK_NO_SOP) break;
            start += sop;
            if (hostLinkPacketVerify(wire + start, static_cast<uint16_t>(end - start)) != HOSTLINK_SUCCESS) break;
            const uint16_t length = hostLinkPacketGetLength(wire + start);
            hostLinkFrameAddPacket(frame, wire + start, length);
            start += length;
        }
    }
}

uint32_t readValues(const HostLinkLL& message) {
    HostLinkVariantIter items;
    HostLinkVariant item;
    uint32_t sum = 0;
    hostLinkVariantIterator(&message, &items);
    while (hostLinkVariantIteratorGetNext(&items, &item) == HOSTLINK_SUCCESS) {
        sum += item.tag;
        if (item.encoding == ENC_Bin16) {
            uint8_t copy[900];
            const uint16_t count = hostLinkBin16Copy(&item.value.bin16, copy, 0, sizeof copy);
            sum += copy[count - 1u];
        } else {
            sum += item.value.bytes[0];
        }
    }
    return sum;
}

} // namespace

uint32_t wholePathCore(Load load, uint16_t maxPacketSize) {
    uint8_t messageBytes[messageCapacity];
    uint8_t wire[wireCapacity];
    uint8_t assembled[messageCapacity];

    HostLinkLL message{messageBytes, sizeof messageBytes, 0};
    buildMessage(load, &message);
    const uint32_t wireSize = cutMessage(message, maxPacketSize, wire);

    HostLinkFrameRecord frame;
    hostLinkFrameInit(&frame, assembled, sizeof assembled);
    reassemble(wire, wireSize, &frame);

    uint32_t size = 0;
    uint8_t* bytes = hostLinkFrameData(&frame, &size);
    return readValues({bytes, size, size});
}
