/* The function core, used from C99. Each function says what went wrong; the C++ side of the test runs them. */
#include "c99_header_test.h"

#include <string.h>

#include <hostlink/HostLinkLib.h>

const char* c99WritesAResponseFrame(void) {
    static const uint8_t expected[8] = {0xFF, 0xFE, 0x08, 0x00, 0xA3, 0x05, 0x00, 0x00};
    uint8_t frame[8];
    hostLinkFrameRspSerialize(frame, 5, AcknowledgeType_Ack);
    if (memcmp(frame, expected, sizeof expected) != 0) return "the response frame differs";
    if (hostLinkPacketVerify(frame, sizeof frame) != HOSTLINK_SUCCESS) return "the response frame does not verify";
    if (hostLinkPacketGetFrameType(frame) != FRT_Response) return "it is no response";
    if (hostLinkFrameRspDeserialize(frame) != AcknowledgeType_Ack) return "it is no ack";
    if ((hostLinkPacketGetFlags(frame) & PKT_Last) == 0) return "it is not the last packet of its frame";
    return NULL;
}

const char* c99BuildsAndReadsAMessage(void) {
    static const uint8_t expected[7] = {0x01, 0x00, 0x01, 0x02, 0x01, 0xCC, 0x05};
    const uint8_t five = 5;
    uint8_t storage[7];
    HostLinkLL buffer = {storage, sizeof storage, 0};
    HostLinkVariantIter iterator;
    HostLinkVariant item;
    MessageId id = MSG_SetState;
    Encoding encoding = ENC_Uint8;
    if (hostLinkMessageVariantInit(&buffer, id) != HOSTLINK_SUCCESS) return "the header was not written";
    if (hostLinkMessageVariantAddValue(&buffer, 0x0102, &five, encoding) != HOSTLINK_SUCCESS)
        return "nothing was added";
    if (buffer.used != sizeof expected || memcmp(storage, expected, sizeof expected) != 0) return "the message differs";
    if (hostLinkMessageVariantAddValue(&buffer, 1, NULL, ENC_Nil) != HOSTLINK_NO_ROOM) return "there was room";
    if (hostLinkVariantIterator(&buffer, &iterator) != HOSTLINK_SUCCESS) return "the message does not verify";
    if (hostLinkVariantIteratorGetNext(&iterator, &item) != HOSTLINK_SUCCESS) return "the item cannot be read";
    if (item.tag != 0x0102 || item.encoding != ENC_Uint8 || item.value.bytes[0] != 5) return "the item differs";
    if (hostLinkVariantIteratorNext(&iterator) != HOSTLINK_NO_MORE_ITEMS) return "there is another item";
    return NULL;
}

const char* c99GathersAFrame(void) {
    static const uint8_t message[3] = {0x11, 0x22, 0x33};
    uint8_t packet[13];
    uint8_t gathered[3];
    uint16_t packetLength = 0;
    uint32_t size = 0;
    HostLinkFrameRecord record;
    if (hostLinkFrameMsgSerialize(packet, sizeof packet, &packetLength, 9, message, sizeof message, 64, 0, 0) != 0) {
        return "the packet was not written";
    }
    if (packetLength != sizeof packet) return "the packet has another length";
    hostLinkFrameInit(&record, gathered, sizeof gathered);
    if (hostLinkFrameAddPacket(&record, packet, packetLength) != HOSTLINK_SUCCESS) return "the packet was not added";
    if (hostLinkFrameComplete(&record) != 1 || hostLinkFrameType(&record) != FRT_Message) return "the record differs";
    if (hostLinkFrameData(&record, &size) != gathered || size != 3) return "the payload has another length";
    if (memcmp(gathered, message, sizeof message) != 0) return "the payload differs";
    if (hostLinkPacketHasSop(message, sizeof message) != HOSTLINK_NO_SOP) return "a start mark was found";
    return NULL;
}

const char* c99ComputesAChecksum(void) {
    static const uint8_t data[4] = {1, 2, 3, 4};
    uint32_t table[256];
    if (dataTransferCrc32TableSize() != 256) return "the table has another size";
    if (genDataTransferCrc32Table(table, 256) != 1) return "the table was not filled";
    if (dataTransferCalcCrc32(table, 256, data, 4) != UINT32_C(0x1DABE74F)) return "the checksum differs";
    return NULL;
}

/* The names of the enumerations are integers of the wire's widths in C. */
typedef char messageIdHasTwoBytes[sizeof(MessageId) == 2 ? 1 : -1];
typedef char encodingHasOneByte[sizeof(Encoding) == 1 ? 1 : -1];
typedef char acknowledgeTypeHasOneByte[sizeof(AcknowledgeType) == 1 ? 1 : -1];
typedef char flagsHaveOneByte[sizeof(LinkPacketCtrlFlags) == 1 ? 1 : -1];
