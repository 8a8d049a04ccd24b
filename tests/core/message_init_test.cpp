// Ids of messages, and their beginning.
#include <string>

#include <gtest/gtest.h>

#include "MessageBuffers.h"

// ---- ids

TEST(MessageIdOfBytes, NeedsTwoBytes) {
    struct Row {
        const char* message;
        uint16_t id;
    };
    const Row rows[] = {{"", 0},          {"34", 0}, {"34 12", 0x1234}, {"34 12 56", 0x1234}, {"09 80 00", 0x8009},
                        {"FF FF", 0xFFFF}};
    for (const Row& row : rows) {
        const ExactBytes message{std::string(row.message)};
        EXPECT_EQ(hostLinkMessageId(message.data(), message.size16()), row.id) << row.message;
    }
}

TEST(IsResponseMessageId, IsBitFifteen) {
    struct Row {
        uint16_t id;
        uint8_t response;
    };
    const Row rows[] = {{0, 0}, {1, 0}, {0x7FFF, 0}, {0x8000, 1}, {0x8009, 1}, {0xFFFF, 1}};
    for (const Row& row : rows) EXPECT_EQ(hostLinkIsResponseMessageId(row.id), row.response) << row.id;
}

TEST(MessageIds, HaveTheirWireNumbers) {
    EXPECT_EQ(MSG_Invalid, 0);
    EXPECT_EQ(MSG_SetState, 1);
    EXPECT_EQ(MSG_GetState, 2);
    EXPECT_EQ(MSG_SubscribeState, 3);
    EXPECT_EQ(MSG_StateChanged, 4);
    EXPECT_EQ(MSG_UnsubscribeState, 5);
    EXPECT_EQ(MSG_InputEvent, 6);
    EXPECT_EQ(MSG_DataTransfer, 7);
    EXPECT_EQ(MSG_TcpTunneling, 8);
    EXPECT_EQ(MSG_SetLedApi, 9);
    EXPECT_EQ(MSG_UnsupportedMessageResponse, 0x8000);
    EXPECT_EQ(MSG_SetStateResponse, 0x8001);
    EXPECT_EQ(MSG_GetStateResponse, 0x8002);
    EXPECT_EQ(MSG_SubscribeStateResponse, 0x8003);
    EXPECT_EQ(MSG_UnsubscribeStateResponse, 0x8005);
    EXPECT_EQ(MSG_DataTransferResponse, 0x8007);
    EXPECT_EQ(MSG_TcpTunnelingResponse, 0x8009);
}

TEST(Encodings, HaveTheirWireNumbers) {
    EXPECT_EQ(ENC_Nil, 192);
    EXPECT_EQ(ENC_Bin16, 197);
    EXPECT_EQ(ENC_Uint8, 204);
    EXPECT_EQ(ENC_Uint16, 205);
    EXPECT_EQ(ENC_Uint32, 206);
    EXPECT_EQ(ENC_Uint64, 207);
    EXPECT_EQ(ENC_Int8, 208);
    EXPECT_EQ(ENC_Int16, 209);
    EXPECT_EQ(ENC_Int32, 210);
    EXPECT_EQ(ENC_Int64, 211);
}

// ---- Init

TEST(MessageInit, WritesIdAndCountZero) {
    Buffer variant(5);
    EXPECT_EQ(hostLinkMessageVariantInit(&variant.ll, 0x8002), 0u);
    EXPECT_EQ(variant.ll.used, 3u);
    EXPECT_EQ(variant.block.text(), "02 80 00 A5 A5");
    Buffer list(5);
    EXPECT_EQ(hostLinkMessageUint16Init(&list.ll, 0x8003), 0u);
    EXPECT_EQ(list.ll.used, 3u);
    EXPECT_EQ(list.block.text(), "03 80 00 A5 A5");
}

TEST(MessageInit, RefusesTheIdOfTheOtherKind) {
    Buffer buffer(3);
    EXPECT_EQ(hostLinkMessageVariantInit(&buffer.ll, 2), 19u);
    EXPECT_EQ(hostLinkMessageUint16Init(&buffer.ll, 1), 19u);
    EXPECT_EQ(hostLinkMessageUint16Init(&buffer.ll, 0x8002), 19u);
    EXPECT_EQ(hostLinkMessageVariantInit(&buffer.ll, 0x8003), 19u);
    EXPECT_EQ(buffer.ll.used, 0u);
    EXPECT_TRUE(buffer.block.isUntouched());
}

TEST(MessageInit, RefusesAnIdOutOfRange) {
    Buffer buffer(3);
    for (const int id : {64, 0x8040}) {
        EXPECT_EQ(hostLinkMessageVariantInit(&buffer.ll, static_cast<uint16_t>(id)), 18u) << id;
        EXPECT_EQ(hostLinkMessageUint16Init(&buffer.ll, static_cast<uint16_t>(id)), 18u) << id;
    }
    EXPECT_EQ(buffer.ll.used, 0u);
    EXPECT_TRUE(buffer.block.isUntouched());
}

TEST(MessageInit, TakesId34AsAList) {
    Buffer buffer(3);
    EXPECT_EQ(hostLinkMessageVariantInit(&buffer.ll, 34), 19u);
    EXPECT_EQ(hostLinkMessageUint16Init(&buffer.ll, 34), 0u);
    EXPECT_EQ(buffer.message(), "22 00 00");
}

TEST(MessageInit, DecidesTheKindOfEveryId) {
    for (unsigned id = 0; id <= 0xFFFF; ++id) {
        const bool inRange = id <= 63 || (id >= 0x8000 && id <= 0x803F);
        const uint32_t asList = !inRange ? 18u : isListNumber(id) ? 0u : 19u;
        const uint32_t asVariant = !inRange ? 18u : isListNumber(id) ? 19u : 0u;
        uint8_t storage[3];
        HostLinkLL list{storage, 3, 0};
        HostLinkLL variant{storage, 3, 0};
        ASSERT_EQ(hostLinkMessageUint16Init(&list, static_cast<uint16_t>(id)), asList) << id;
        ASSERT_EQ(hostLinkMessageVariantInit(&variant, static_cast<uint16_t>(id)), asVariant) << id;
    }
}

TEST(MessageInit, NeedsRoomForThreeBytes) {
    for (size_t capacity = 0; capacity <= 2; ++capacity) {
        Buffer buffer(capacity);
        EXPECT_EQ(hostLinkMessageVariantInit(&buffer.ll, variantId), 16u) << capacity;
        EXPECT_EQ(hostLinkMessageUint16Init(&buffer.ll, listId), 16u) << capacity;
        EXPECT_EQ(buffer.ll.used, 0u) << capacity;
        EXPECT_TRUE(buffer.block.isUntouched()) << capacity;
    }
}

TEST(MessageInit, LooksAtTheIdBeforeTheRoom) {
    Buffer buffer(size_t{0});
    EXPECT_EQ(hostLinkMessageVariantInit(&buffer.ll, 64), 18u);
    EXPECT_EQ(hostLinkMessageVariantInit(&buffer.ll, 2), 19u);
    EXPECT_EQ(hostLinkMessageUint16Init(&buffer.ll, 64), 18u);
    EXPECT_EQ(hostLinkMessageUint16Init(&buffer.ll, 1), 19u);
}

TEST(MessageInit, CountsItsRoomInThirtyTwoBits) {
    Buffer buffer(65536); // the space in 16 bits is 0
    EXPECT_EQ(hostLinkMessageVariantInit(&buffer.ll, variantId), 0u);
    EXPECT_EQ(buffer.message(), "01 00 00");
    Buffer other(65538);
    EXPECT_EQ(hostLinkMessageUint16Init(&other.ll, listId), 0u);
    EXPECT_EQ(other.message(), "02 00 00");
}

TEST(MessageInit, AppendsAtTheCurrentEnd) {
    Buffer buffer(bytes("AA BB"), 5);
    EXPECT_EQ(hostLinkMessageVariantInit(&buffer.ll, variantId), 0u);
    EXPECT_EQ(buffer.message(), "AA BB 01 00 00");
    EXPECT_EQ(hostLinkMessageVariantInit(&buffer.ll, variantId), 16u);
    EXPECT_EQ(buffer.ll.used, 5u);
}

TEST(MessageInit, RefusesABufferThatUsesMoreThanItHas) {
    Buffer buffer(5);
    buffer.ll.used = 6;
    EXPECT_EQ(hostLinkMessageVariantInit(&buffer.ll, variantId), 16u);
    EXPECT_EQ(hostLinkMessageUint16Init(&buffer.ll, listId), 16u);
    EXPECT_TRUE(buffer.block.isUntouched());
}
