// The message buffer, building and reading messages, and views of binary values.
#include <hostlink/HostLinkLib.h>

#include <climits>
#include <cstring>
#include <memory>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/Bytes.h"

namespace {

#include "vectors/fixed_values.inc"

constexpr uint16_t listId = MSG_GetState;
constexpr uint16_t variantId = MSG_SetState;

/// A message buffer over a block of exactly its capacity.
struct Buffer {
    ExactBytes block;
    HostLinkLL ll{};

    /// An empty buffer.
    explicit Buffer(size_t capacity) : block(capacity) { attach(0); }
    /// A received message: capacity and used are its size.
    explicit Buffer(const ByteArray& message) : block(message) { attach(message.size()); }
    explicit Buffer(const char* message) : Buffer(bytes(message)) {}
    /// A message with room to spare.
    Buffer(const ByteArray& message, size_t capacity) : block(capacity) {
        std::copy(message.begin(), message.end(), block.data());
        attach(message.size());
    }

    std::string message() const { return hex(ll.data, ll.used); }

private:
    void attach(size_t used) {
        ll.data = block.data();
        ll.capacity = static_cast<uint32_t>(block.size());
        ll.used = static_cast<uint32_t>(used);
    }
};

/// Calls that append one item of a given size, so that the order of their checks can be compared.
uint32_t addUint8(HostLinkLL* buffer, uint16_t tag, uint8_t value) {
    return hostLinkMessageVariantAddValue(buffer, tag, &value, ENC_Uint8);
}

uint32_t addNil(HostLinkLL* buffer) {
    return hostLinkMessageVariantAddValue(buffer, 7, nullptr, ENC_Nil);
}

/// A variant message of `count` "Nil" items with tag 0.
ByteArray nilMessage(size_t count) {
    ByteArray message = bytes("01 00");
    message.push_back(static_cast<unsigned char>(count));
    for (size_t i = 0; i < count; ++i) message = message + bytes("00 00 C0");
    return message;
}

/// A list message of `count` items, item i having the value i.
ByteArray listMessage(size_t count) {
    ByteArray message = bytes("02 00");
    message.push_back(static_cast<unsigned char>(count));
    for (size_t i = 0; i < count; ++i) {
        message.push_back(static_cast<unsigned char>(i));
        message.push_back(0);
    }
    return message;
}

bool isListNumber(unsigned id) {
    const unsigned low = id % 32;
    if (id >= 0x8000) return low == 3 || low == 5;
    return low == 2 || low == 3 || low == 5;
}

} // namespace

// ---- the buffer's helpers

TEST(BufferSpaceAvailable, IsCapacityMinusUsedInSixteenBits) {
    struct Row {
        uint32_t capacity;
        uint32_t used;
        uint16_t space;
    };
    const Row rows[] = {
        {0, 0, 0},          {50, 0, 50},
        {50, 3, 47},        {50, 50, 0},
        {50, 51, 0},        {0, 0xFFFFFFFF, 0},
        {65535, 0, 65535},  {65536, 0, 0},
        {65537, 0, 1},      {65539, 3, 0},
        {65540, 3, 1},      {131072, 0, 0},
        {131071, 0, 65535}, {0xFFFFFFFF, 0, 65535},
    };
    for (const Row& row : rows) {
        const HostLinkLL buffer{nullptr, row.capacity, row.used};
        EXPECT_EQ(hostLinkLLSpaceAvailable(&buffer), row.space) << row.capacity << " − " << row.used;
    }
}

TEST(BufferAddData, CopiesToTheEndAndCountsIt) {
    Buffer buffer(5);
    const ExactBytes first("11 22"), second("33 44 55");
    hostLinkLLAddData(&buffer.ll, first.data(), 2);
    EXPECT_EQ(buffer.ll.used, 2u);
    EXPECT_EQ(buffer.block.text(), "11 22 A5 A5 A5");
    hostLinkLLAddData(&buffer.ll, second.data(), 3);
    EXPECT_EQ(buffer.message(), "11 22 33 44 55");
    hostLinkLLAddData(&buffer.ll, first.data(), 0);
    EXPECT_EQ(buffer.ll.used, 5u);
}

TEST(BufferAddData, DoesNothingWhenTheBytesDoNotFit) {
    Buffer buffer(4);
    const ExactBytes three("11 22 33");
    hostLinkLLAddData(&buffer.ll, three.data(), 3);
    hostLinkLLAddData(&buffer.ll, three.data(), 2);
    EXPECT_EQ(buffer.ll.used, 3u);
    EXPECT_EQ(buffer.block.text(), "11 22 33 A5");
    buffer.ll.used = 9; // more used than there is
    hostLinkLLAddData(&buffer.ll, three.data(), 1);
    EXPECT_EQ(buffer.ll.used, 9u);
    EXPECT_EQ(buffer.block.text(), "11 22 33 A5");
}

TEST(BufferAddData, UsesTheWholeOfALargeBuffer) {
    Buffer buffer(65536 + 2);
    const ExactBytes source(patternBytes(65535));
    hostLinkLLAddData(&buffer.ll, source.data(), 65535);
    hostLinkLLAddData(&buffer.ll, source.data(), 3);
    EXPECT_EQ(buffer.ll.used, 65538u);
    EXPECT_TRUE(buffer.block.copy() == source.copy() + bytes("03 0A 11"));
}

TEST(BufferGetCountPtr, IsTwoBytesIn) {
    Buffer buffer("01 00 07");
    EXPECT_EQ(hostLinkLLGetCountPtr(&buffer.ll), buffer.block.data() + 2);
}

TEST(BufferGetCountPtr, IsNullWithoutStorage) {
    const HostLinkLL buffer{nullptr, 10, 3};
    EXPECT_EQ(hostLinkLLGetCountPtr(&buffer), nullptr);
}

TEST(BufferIsInitialized, NeedsThreeBytesUsed) {
    for (const uint32_t used : {0u, 1u, 2u}) {
        const HostLinkLL buffer{nullptr, 10, used};
        EXPECT_EQ(hostLinkLLIsInitialized(&buffer), 13u) << used;
    }
    for (const uint32_t used : {3u, 4u, 65535u, 65536u, 65538u, 0xFFFFFFFFu}) {
        const HostLinkLL buffer{nullptr, 10, used};
        EXPECT_EQ(hostLinkLLIsInitialized(&buffer), 0u) << used;
    }
}

TEST(BufferMsgSize, IsUsedInSixteenBits) {
    struct Row {
        uint32_t used;
        uint16_t size;
    };
    const Row rows[] = {{0, 0}, {3, 3}, {65535, 65535}, {65536, 0}, {65539, 3}, {0xFFFFFFFF, 65535}};
    for (const Row& row : rows) {
        const HostLinkLL buffer{nullptr, 0xFFFFFFFF, row.used};
        EXPECT_EQ(hostLinkLLMsgSize(&buffer), row.size) << row.used;
        EXPECT_EQ(hostLinkMessageDataLen(&buffer), row.size) << row.used;
    }
}

TEST(BufferCpy, CopiesFromTheOffset) {
    const Buffer buffer("11 22 33 44 55");
    ExactBytes destination(3);
    hostLinkLLCpy(&buffer.ll, destination.data(), 1, 3);
    EXPECT_EQ(destination.text(), "22 33 44");
    hostLinkLLCpy(&buffer.ll, destination.data(), 4, 1);
    EXPECT_EQ(destination.text(), "55 33 44");
    hostLinkLLCpy(&buffer.ll, destination.data(), 0, 0);
    EXPECT_EQ(destination.text(), "55 33 44");
}

TEST(BufferCpy, CopiesOnlyWhatTheStorageHolds) {
    const Buffer buffer("11 22 33 44 55");
    ExactBytes destination(4);
    hostLinkLLCpy(&buffer.ll, destination.data(), 3, 4);
    EXPECT_EQ(destination.text(), "44 55 A5 A5");
    for (const int offset : {5, 6, 255, 65535}) {
        ExactBytes untouched(4);
        hostLinkLLCpy(&buffer.ll, untouched.data(), static_cast<uint16_t>(offset), 4);
        EXPECT_TRUE(untouched.isUntouched()) << offset;
    }
}

TEST(BufferCpy, ReachesStorageBehindTheMessage) {
    const Buffer buffer(bytes("11 22"), 4);
    ExactBytes destination(2, 0);
    hostLinkLLCpy(&buffer.ll, destination.data(), 1, 2);
    EXPECT_EQ(destination.text(), "22 A5");
}

TEST(BufferGetData, MakesAViewInOnePiece) {
    const Buffer buffer("11 22 33 44 55");
    HostLinkBin16 view{buffer.block.data(), buffer.block.data(), 77, 88};
    hostLinkLLGetData(&buffer.ll, 3, 2, &view);
    EXPECT_EQ(view.first, buffer.block.data() + 2);
    EXPECT_EQ(view.firstLength, 3);
    EXPECT_EQ(view.second, nullptr);
    EXPECT_EQ(view.secondLength, 0);
}

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

// ---- list appender

TEST(ListAddItem, BuildsTheGetStateMessage) {
    Buffer buffer(7);
    ASSERT_EQ(hostLinkMessageUint16Init(&buffer.ll, 2), 0u);
    EXPECT_EQ(hostLinkMessageUint16AddItem(&buffer.ll, 0x0010), 0u);
    EXPECT_EQ(hostLinkMessageUint16AddItem(&buffer.ll, 0x0020), 0u);
    EXPECT_EQ(buffer.message(), "02 00 02 10 00 20 00");
    EXPECT_EQ(hostLinkMessageDataLen(&buffer.ll), 7);
    EXPECT_EQ(hostLinkMessageUint16ItemsCount(&buffer.ll), 2);
}

TEST(ListAddItem, WritesItemsLittleEndian) {
    Buffer buffer(bytes("02 00 00"), 7);
    EXPECT_EQ(hostLinkMessageUint16AddItem(&buffer.ll, 0x1234), 0u);
    EXPECT_EQ(hostLinkMessageUint16AddItem(&buffer.ll, 0xFF01), 0u);
    EXPECT_EQ(buffer.message(), "02 00 02 34 12 01 FF");
}

TEST(ListAddItem, NeedsAHeader) {
    for (size_t used = 0; used <= 2; ++used) {
        Buffer buffer(slice(bytes("02 00 00"), 0, used), 20);
        EXPECT_EQ(hostLinkMessageUint16AddItem(&buffer.ll, 1), 13u) << used;
        EXPECT_EQ(buffer.ll.used, used);
    }
}

TEST(ListAddItem, NeedsRoomForTwoBytes) {
    for (size_t spare = 0; spare <= 1; ++spare) {
        Buffer buffer(bytes("02 00 01 10 00"), 5 + spare);
        EXPECT_EQ(hostLinkMessageUint16AddItem(&buffer.ll, 1), 16u) << spare;
        EXPECT_EQ(buffer.message(), "02 00 01 10 00");
        EXPECT_TRUE(buffer.block.isUntouched(5));
    }
    Buffer buffer(bytes("02 00 01 10 00"), 7);
    EXPECT_EQ(hostLinkMessageUint16AddItem(&buffer.ll, 1), 0u);
}

TEST(ListAddItem, ReportsTheFirstCheckThatFails) {
    HostLinkLL noHeaderNoStorage{nullptr, 0, 2};
    EXPECT_EQ(hostLinkMessageUint16AddItem(&noHeaderNoStorage, 1), 13u);
    HostLinkLL noStorageNoRoom{nullptr, 3, 3};
    EXPECT_EQ(hostLinkMessageUint16AddItem(&noStorageNoRoom, 1), 24u);
    HostLinkLL noStorage{nullptr, 50, 3};
    EXPECT_EQ(hostLinkMessageUint16AddItem(&noStorage, 1), 24u);
    EXPECT_EQ(noStorage.used, 3u);
    Buffer fullNoRoom(listMessage(255));
    EXPECT_EQ(hostLinkMessageUint16AddItem(&fullNoRoom.ll, 1), 17u);
}

TEST(ListAddItem, NeverReadsACountBehindTheStorage) {
    for (size_t capacity = 0; capacity <= 2; ++capacity) {
        Buffer buffer(capacity);
        buffer.ll.used = 3;
        EXPECT_EQ(hostLinkMessageUint16AddItem(&buffer.ll, 1), 16u) << capacity;
        EXPECT_EQ(buffer.ll.used, 3u) << capacity;
        EXPECT_TRUE(buffer.block.isUntouched()) << capacity;
    }
}

TEST(ListAddItem, RefusesA256thItemAndLeavesTheBufferAsItWas) {
    Buffer buffer(listMessage(254), 3 + 256 * 2);
    EXPECT_EQ(hostLinkMessageUint16AddItem(&buffer.ll, 254), 0u);
    EXPECT_TRUE(slice(buffer.block.copy(), 0, 513) == listMessage(255));
    EXPECT_EQ(hostLinkMessageUint16AddItem(&buffer.ll, 255), 17u);
    EXPECT_EQ(buffer.ll.used, 513u);
    EXPECT_TRUE(slice(buffer.block.copy(), 0, 513) == listMessage(255));
    EXPECT_TRUE(buffer.block.isUntouched(513));
}

TEST(ListAddItem, CountsItsRoomInSixteenBits) {
    Buffer none(bytes("02 00 00"), 3 + 65536);
    EXPECT_EQ(hostLinkMessageUint16AddItem(&none.ll, 1), 16u);
    Buffer one(bytes("02 00 00"), 3 + 65537);
    EXPECT_EQ(hostLinkMessageUint16AddItem(&one.ll, 1), 16u);
    Buffer two(bytes("02 00 00"), 3 + 65538);
    EXPECT_EQ(hostLinkMessageUint16AddItem(&two.ll, 1), 0u);
    EXPECT_EQ(two.message(), "02 00 01 01 00");
}

TEST(ListAddItem, DoesNotLookAtTheIdOrTheItemsBefore) {
    Buffer buffer(bytes("01 00 07"), 5);
    EXPECT_EQ(hostLinkMessageUint16AddItem(&buffer.ll, 0x1234), 0u);
    EXPECT_EQ(buffer.message(), "01 00 08 34 12");
}

TEST(ListAddItemDeathTest, StopsTheProcessWhenTheBufferIsNull) {
    using ::testing::AllOf;
    using ::testing::HasSubstr;
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // the logging library's threads must not be forked
    EXPECT_DEATH(hostLinkMessageUint16AddItem(nullptr, 1),
                 AllOf(HasSubstr("self"), HasSubstr("hostLinkMessageUint16AddItem")));
}

// ---- fixed-length appender

TEST(VariantAddValue, BuildsTheSetStateMessage) {
    Buffer buffer(7);
    ASSERT_EQ(hostLinkMessageVariantInit(&buffer.ll, 1), 0u);
    EXPECT_EQ(addUint8(&buffer.ll, 0x0102, 5), 0u);
    EXPECT_EQ(buffer.message(), "01 00 01 02 01 CC 05");
    EXPECT_EQ(hostLinkMessageVariantItemsCount(&buffer.ll), 1);
    EXPECT_EQ(hostLinkMessageDataLen(&buffer.ll), 7);
}

TEST(VariantAddValue, WritesEveryEncodingAsAnIndependentProgramDoes) {
    for (const FixedValueVector& row : fixedValueVectors) {
        const ByteArray expected = bytes(row.message);
        const ExactBytes value(slice(expected, 6, expected.size()));
        Buffer buffer(expected.size());
        ASSERT_EQ(hostLinkMessageVariantInit(&buffer.ll, 1), 0u);
        EXPECT_EQ(hostLinkMessageVariantAddValue(&buffer.ll, row.tag, value.data(), row.encoding), 0u) << row.message;
        EXPECT_EQ(buffer.message(), row.message);
    }
}

TEST(VariantAddValue, ReadsNoMoreValueBytesThanTheEncodingHas) {
    struct Row {
        int encoding;
        size_t length;
    };
    const Row rows[] = {{204, 1}, {205, 2}, {206, 4}, {207, 8}, {208, 1}, {209, 2}, {210, 4}, {211, 8}};
    for (const Row& row : rows) {
        const ExactBytes value(patternBytes(row.length));
        Buffer buffer(bytes("01 00 00"), 6 + row.length);
        EXPECT_EQ(hostLinkMessageVariantAddValue(&buffer.ll, 0x0807, value.data(), row.encoding), 0u) << row.encoding;
        EXPECT_EQ(buffer.ll.used, 6 + row.length) << row.encoding;
        EXPECT_EQ(slice(buffer.block.copy(), 6, 6 + row.length), patternBytes(row.length)) << row.encoding;
    }
}

TEST(VariantAddValue, AppendsThreeBytesForNil) {
    Buffer buffer(bytes("01 00 00"), 6);
    EXPECT_EQ(hostLinkMessageVariantAddValue(&buffer.ll, 0x0007, nullptr, 192), 0u);
    EXPECT_EQ(buffer.message(), "01 00 01 07 00 C0");
}

TEST(VariantAddValue, RefusesEveryEncodingWithoutAFixedLength) {
    const ExactBytes value(patternBytes(8));
    std::vector<int> bad = {INT_MIN, INT_MIN + 191, INT_MIN + 192, -1,          0,           191,
                            212,     255,           256 + 204,     65536 + 204, INT_MAX - 1, INT_MAX};
    for (int encoding = 193; encoding <= 203; ++encoding) bad.push_back(encoding); // 197 and 200 among them
    for (const int encoding : bad) {
        Buffer buffer(bytes("01 00 00"), 50);
        EXPECT_EQ(hostLinkMessageVariantAddValue(&buffer.ll, 1, value.data(), encoding), 20u) << encoding;
        EXPECT_EQ(buffer.message(), "01 00 00") << encoding;
        EXPECT_TRUE(buffer.block.isUntouched(3)) << encoding;
    }
}

TEST(VariantAddValue, NeedsAHeader) {
    for (size_t used = 0; used <= 2; ++used) {
        Buffer buffer(slice(bytes("01 00 00"), 0, used), 20);
        EXPECT_EQ(addUint8(&buffer.ll, 1, 1), 13u) << used;
        EXPECT_EQ(buffer.ll.used, used);
    }
}

TEST(VariantAddValue, NeedsRoomForTheWholeItem) {
    struct Row {
        int encoding;
        size_t item;
    };
    const Row rows[] = {{192, 3}, {204, 4}, {205, 5}, {206, 7}, {207, 11}, {208, 4}, {209, 5}, {210, 7}, {211, 11}};
    const ExactBytes value(patternBytes(8));
    for (const Row& row : rows) {
        Buffer tooSmall(bytes("01 00 00"), 3 + row.item - 1);
        EXPECT_EQ(hostLinkMessageVariantAddValue(&tooSmall.ll, 1, value.data(), row.encoding), 16u) << row.encoding;
        EXPECT_EQ(tooSmall.message(), "01 00 00") << row.encoding;
        EXPECT_TRUE(tooSmall.block.isUntouched(3)) << row.encoding;
        Buffer exact(bytes("01 00 00"), 3 + row.item);
        EXPECT_EQ(hostLinkMessageVariantAddValue(&exact.ll, 1, value.data(), row.encoding), 0u) << row.encoding;
        EXPECT_EQ(exact.ll.used, 3 + row.item) << row.encoding;
    }
}

TEST(VariantAddValue, ReportsTheFirstCheckThatFails) {
    const uint8_t value = 1;
    HostLinkLL noHeader{nullptr, 0, 2};
    EXPECT_EQ(hostLinkMessageVariantAddValue(&noHeader, 1, &value, 200), 13u) << "header before encoding";
    HostLinkLL badEncoding{nullptr, 3, 3};
    EXPECT_EQ(hostLinkMessageVariantAddValue(&badEncoding, 1, &value, 200), 20u) << "encoding before room";
    EXPECT_EQ(hostLinkMessageVariantAddValue(&badEncoding, 1, &value, 212), 20u) << "encoding before room";
    HostLinkLL noRoom{nullptr, 6, 3};
    EXPECT_EQ(hostLinkMessageVariantAddValue(&noRoom, 1, &value, 204), 16u) << "room before storage";
    HostLinkLL noStorage{nullptr, 7, 3};
    EXPECT_EQ(hostLinkMessageVariantAddValue(&noStorage, 1, &value, 204), 24u);
    EXPECT_EQ(noStorage.used, 3u);
    Buffer fullNoRoom(nilMessage(255));
    EXPECT_EQ(addUint8(&fullNoRoom.ll, 1, 1), 16u) << "room before count, unlike the list appender";
    Buffer full(nilMessage(255), 1000);
    EXPECT_EQ(addUint8(&full.ll, 1, 1), 17u);
    EXPECT_EQ(hostLinkMessageVariantAddValue(&full.ll, 1, &value, 200), 20u) << "encoding before count";
}

TEST(VariantAddValue, RefusesA256thItemAndLeavesTheBufferAsItWas) {
    Buffer buffer(nilMessage(254), 1000);
    EXPECT_EQ(hostLinkMessageVariantAddValue(&buffer.ll, 0, nullptr, ENC_Nil), 0u);
    EXPECT_TRUE(slice(buffer.block.copy(), 0, 768) == nilMessage(255));
    EXPECT_EQ(addNil(&buffer.ll), 17u);
    EXPECT_EQ(buffer.ll.used, 768u);
    EXPECT_TRUE(slice(buffer.block.copy(), 0, 768) == nilMessage(255));
    EXPECT_TRUE(buffer.block.isUntouched(768));
}

TEST(VariantAddValue, CountsItsRoomInSixteenBits) {
    Buffer none(bytes("01 00 00"), 3 + 65536);
    EXPECT_EQ(addNil(&none.ll), 16u);
    Buffer three(bytes("01 00 00"), 3 + 65536 + 3);
    EXPECT_EQ(addUint8(&three.ll, 7, 9), 16u);
    EXPECT_EQ(addNil(&three.ll), 0u);
    EXPECT_EQ(three.message(), "01 00 01 07 00 C0");
}

// ---- binary appender

TEST(VariantAddBin16, WritesTagEncodingLengthAndBytes) {
    Buffer buffer(bytes("01 00 00"), 11);
    const ExactBytes value("AA BB CC");
    EXPECT_EQ(hostLinkMessageVariantAddBin16(&buffer.ll, 0x0102, value.data(), 3), 0u);
    EXPECT_EQ(buffer.message(), "01 00 01 02 01 C5 03 00 AA BB CC");
}

TEST(VariantAddBin16, WritesAnEmptyValueOfFiveBytes) {
    Buffer buffer(bytes("01 00 00"), 8);
    EXPECT_EQ(hostLinkMessageVariantAddBin16(&buffer.ll, 0x0102, nullptr, 0), 0u);
    EXPECT_EQ(buffer.message(), "01 00 01 02 01 C5 00 00");
}

TEST(VariantAddBin16, WritesTheLengthLittleEndian) {
    for (const size_t length : {255u, 256u, 300u}) {
        Buffer buffer(bytes("01 00 00"), 8 + length);
        const ExactBytes value(patternBytes(length));
        EXPECT_EQ(hostLinkMessageVariantAddBin16(&buffer.ll, 1, value.data(), value.size16()), 0u);
        EXPECT_EQ(buffer.block[6], length & 0xFF);
        EXPECT_EQ(buffer.block[7], length >> 8);
        EXPECT_EQ(slice(buffer.block.copy(), 8, 8 + length), patternBytes(length));
    }
}

TEST(VariantAddBin16, NeedsRoomForTheWholeItem) {
    const ExactBytes value("AA BB CC");
    for (size_t spare = 0; spare < 8; ++spare) {
        Buffer buffer(bytes("01 00 00"), 3 + spare);
        EXPECT_EQ(hostLinkMessageVariantAddBin16(&buffer.ll, 1, value.data(), 3), 16u) << spare;
        EXPECT_EQ(buffer.message(), "01 00 00") << spare;
        EXPECT_TRUE(buffer.block.isUntouched(3)) << spare;
    }
}

TEST(VariantAddBin16, ReportsTheFirstCheckThatFails) {
    const ExactBytes value("AA BB CC");
    HostLinkLL noHeader{nullptr, 0, 2};
    EXPECT_EQ(hostLinkMessageVariantAddBin16(&noHeader, 1, value.data(), 3), 13u);
    HostLinkLL noRoom{nullptr, 10, 3};
    EXPECT_EQ(hostLinkMessageVariantAddBin16(&noRoom, 1, value.data(), 3), 16u) << "room before storage";
    HostLinkLL noStorage{nullptr, 11, 3};
    EXPECT_EQ(hostLinkMessageVariantAddBin16(&noStorage, 1, value.data(), 3), 24u);
    EXPECT_EQ(noStorage.used, 3u);
    Buffer fullNoRoom(nilMessage(255));
    EXPECT_EQ(hostLinkMessageVariantAddBin16(&fullNoRoom.ll, 1, value.data(), 3), 16u) << "room before count";
    Buffer full(nilMessage(255), 1000);
    EXPECT_EQ(hostLinkMessageVariantAddBin16(&full.ll, 1, value.data(), 3), 17u);
    EXPECT_EQ(full.ll.used, 768u);
    EXPECT_TRUE(full.block.isUntouched(768));
}

TEST(VariantAddBin16, DoesNotWrapTheItemSize) {
    // Length + 5 would be 0 to 4 in 16 bits; there is room for 30 bytes.
    const ExactBytes value(patternBytes(65535));
    for (unsigned length = 65531; length <= 65535; ++length) {
        Buffer buffer(bytes("01 00 00"), 33);
        EXPECT_EQ(hostLinkMessageVariantAddBin16(&buffer.ll, 1, value.data(), static_cast<uint16_t>(length)), 16u);
        EXPECT_EQ(buffer.ll.used, 3u);
    }
}

TEST(VariantAddBin16, WritesTheLargestValueThatAMessageHolds) {
    Buffer buffer(bytes("01 00 00"), 65535);
    const ExactBytes value(patternBytes(65527));
    EXPECT_EQ(hostLinkMessageVariantAddBin16(&buffer.ll, 1, value.data(), 65527), 0u);
    EXPECT_EQ(buffer.ll.used, 65535u);
    HostLinkVariant item{};
    EXPECT_EQ(hostLinkMessageVariantGetItem(&buffer.ll, 0, &item), 0u);
    EXPECT_EQ(item.value.bin16.firstLength, 65527);
    EXPECT_EQ(item.value.bin16.first, buffer.block.data() + 8);
}

TEST(VariantAddBin16, CountsItsRoomInSixteenBits) {
    const ExactBytes value("AA BB CC");
    Buffer tooFew(bytes("01 00 00"), 3 + 65536 + 7);
    EXPECT_EQ(hostLinkMessageVariantAddBin16(&tooFew.ll, 1, value.data(), 3), 16u);
    Buffer enough(bytes("01 00 00"), 3 + 65536 + 8);
    EXPECT_EQ(hostLinkMessageVariantAddBin16(&enough.ll, 1, value.data(), 3), 0u);
}

// ---- verification of headers

namespace {

struct VerifyRow {
    const char* name;
    const char* message;
    uint32_t asList;
    uint32_t asVariant;
};

const VerifyRow verifyRows[] = {
    {"nothing", "", 13, 13},
    {"one byte", "01", 13, 13},
    {"two bytes", "01 00", 13, 13},
    {"empty variant", "01 00 00", 19, 0},
    {"empty list", "02 00 00", 0, 19},
    {"empty response variant", "02 80 00", 19, 0},
    {"empty response list", "03 80 00", 0, 19},
    {"id 34", "22 00 00", 0, 19},
    {"id 63", "3F 00 00", 19, 0},
    {"id 64", "40 00 00", 18, 18},
    {"id 66, a list by its low bits", "42 00 00", 18, 18},
    {"id 0x8040", "40 80 00", 18, 18},
    {"id 0x7FFF", "FF 7F 00", 18, 18},
    {"id out of range before items missing", "40 00 FF", 18, 18},
    {"list of one", "02 00 01 10 00", 0, 19},
    {"list of one, a byte missing", "02 00 01 10", 21, 19},
    {"list of two, 2 bytes missing", "02 00 02 10 00", 21, 19},
    {"list of none, bytes behind it", "02 00 00 10 00", 0, 19},
    {"wrong kind before items missing", "01 00 FF", 19, 21},
    {"variant of one, 3 bytes of it", "01 00 01 02 01 CC", 19, 0},
    {"variant of one, 2 bytes of it", "01 00 01 02 01", 19, 21},
    {"variant of two, 6 bytes of them", "01 00 02 02 01 CC 05 00 00", 19, 0},
    {"variant of two, 5 bytes of them", "01 00 02 02 01 CC 05 00", 19, 21},
    {"variant of one, bytes behind it", "01 00 01 02 01 CC 05 00 00", 19, 0},
};

} // namespace

TEST(MessageVerify, ReportsTheFirstCheckThatFails) {
    for (const VerifyRow& row : verifyRows) {
        const Buffer buffer(row.message);
        EXPECT_EQ(hostLinkMessageUint16Verify(&buffer.ll, nullptr), row.asList) << row.name;
        EXPECT_EQ(hostLinkMessageVariantVerify(&buffer.ll, nullptr, nullptr), row.asVariant) << row.name;
        uint8_t count = 99;
        uint16_t size = 9999;
        EXPECT_EQ(hostLinkMessageUint16Verify(&buffer.ll, &count), row.asList) << row.name;
        EXPECT_EQ(hostLinkMessageVariantVerify(&buffer.ll, &size, &count), row.asVariant) << row.name;
        HostLinkVariantIter iterator{};
        EXPECT_EQ(hostLinkVariantIterator(&buffer.ll, &iterator), row.asVariant) << row.name;
    }
}

TEST(MessageVerify, GivesSizeAndCountOfAGoodMessage) {
    uint16_t size = 9999;
    uint8_t count = 99;
    const Buffer variant("01 00 01 02 01 CC 05");
    EXPECT_EQ(hostLinkMessageVariantVerify(&variant.ll, &size, &count), 0u);
    EXPECT_EQ(size, 7);
    EXPECT_EQ(count, 1);
    const Buffer list("02 00 02 10 00 20 00");
    EXPECT_EQ(hostLinkMessageUint16Verify(&list.ll, &count), 0u);
    EXPECT_EQ(count, 2);
}

TEST(MessageVerify, GivesSizeOrCountAlone) {
    const Buffer variant("01 00 01 02 01 CC 05");
    uint16_t size = 9999;
    EXPECT_EQ(hostLinkMessageVariantVerify(&variant.ll, &size, nullptr), 0u);
    EXPECT_EQ(size, 7);
    uint8_t count = 99;
    EXPECT_EQ(hostLinkMessageVariantVerify(&variant.ll, nullptr, &count), 0u);
    EXPECT_EQ(count, 1);
}

TEST(MessageVerify, GivesSizeAndCountAsFarAsItCame) {
    struct Row {
        const char* message;
        uint16_t size;
        uint8_t count;
    };
    const Row rows[] = {
        {"01 00", 9999, 99},         // no header: neither
        {"40 00 05", 3, 99},         // id out of range: the size
        {"02 00 05", 3, 99},         // wrong kind: the size
        {"01 00 05 00 00 C0", 6, 5}, // items missing: both
    };
    for (const Row& row : rows) {
        const Buffer buffer(row.message);
        uint16_t size = 9999;
        uint8_t count = 99;
        EXPECT_NE(hostLinkMessageVariantVerify(&buffer.ll, &size, &count), 0u) << row.message;
        EXPECT_EQ(size, row.size) << row.message;
        EXPECT_EQ(count, row.count) << row.message;
    }
    uint8_t count = 99;
    const Buffer list("02 00 05 00 00");
    EXPECT_EQ(hostLinkMessageUint16Verify(&list.ll, &count), 21u);
    EXPECT_EQ(count, 5);
}

TEST(MessageVerify, AcceptsAMessageWithAll255Items) {
    uint8_t count = 0;
    const Buffer list(listMessage(255));
    EXPECT_EQ(hostLinkMessageUint16Verify(&list.ll, &count), 0u);
    EXPECT_EQ(count, 255);
    const Buffer shortList(slice(listMessage(255), 0, 512));
    EXPECT_EQ(hostLinkMessageUint16Verify(&shortList.ll, nullptr), 21u);
    const Buffer variant(nilMessage(255));
    EXPECT_EQ(hostLinkMessageVariantVerify(&variant.ll, nullptr, &count), 0u);
    EXPECT_EQ(count, 255);
    const Buffer shortVariant(slice(nilMessage(255), 0, 767));
    EXPECT_EQ(hostLinkMessageVariantVerify(&shortVariant.ll, nullptr, nullptr), 21u);
}

TEST(MessageVerify, TakesTheSizeInSixteenBits) {
    for (size_t extra = 0; extra <= 2; ++extra) {
        ByteArray message(65536 + extra, 0);
        message[0] = 2;
        const Buffer list(message);
        EXPECT_EQ(hostLinkMessageUint16Verify(&list.ll, nullptr), 10u) << extra;
        message[0] = 1;
        const Buffer variant(message);
        uint16_t size = 9999;
        EXPECT_EQ(hostLinkMessageVariantVerify(&variant.ll, &size, nullptr), 10u) << extra;
        EXPECT_EQ(size, 9999) << extra;
    }
    ByteArray message(65536 + 3, 0);
    message[0] = 1;
    const Buffer variant(message);
    uint16_t size = 9999;
    EXPECT_EQ(hostLinkMessageVariantVerify(&variant.ll, &size, nullptr), 0u);
    EXPECT_EQ(size, 3);
}

TEST(MessageVerify, ReportsTooShortBeforeTheId) {
    ByteArray message(65536 + 2, 0xFF);
    const Buffer buffer(message);
    EXPECT_EQ(hostLinkMessageUint16Verify(&buffer.ll, nullptr), 10u);
    EXPECT_EQ(hostLinkMessageVariantVerify(&buffer.ll, nullptr, nullptr), 10u);
}

TEST(MessageVerify, NeverReadsBehindTheStorage) {
    for (size_t capacity = 0; capacity <= 8; ++capacity) {
        ExactBytes block(slice(bytes("01 00 02 02 01 CC 05 00 00 C0"), 0, capacity));
        const HostLinkLL variant{block.data(), static_cast<uint32_t>(capacity), 10};
        EXPECT_EQ(hostLinkMessageVariantVerify(&variant, nullptr, nullptr), capacity <= 2 ? 10u : 21u) << capacity;
        HostLinkVariant item{};
        EXPECT_NE(hostLinkMessageVariantGetItem(&variant, 0, &item), 0u) << capacity;
    }
    for (size_t capacity = 0; capacity <= 6; ++capacity) {
        ExactBytes block(slice(bytes("02 00 02 10 00 20 00"), 0, capacity));
        const HostLinkLL list{block.data(), static_cast<uint32_t>(capacity), 7};
        EXPECT_EQ(hostLinkMessageUint16Verify(&list, nullptr), capacity <= 2 ? 10u : 21u) << capacity;
        uint16_t value = 0;
        EXPECT_NE(hostLinkMessageUint16GetItem(&list, 0, &value), 0u) << capacity;
    }
}

TEST(MessageVerify, RefusesABufferWithoutStorage) {
    const HostLinkLL buffer{nullptr, 0, 10};
    EXPECT_EQ(hostLinkMessageVariantVerify(&buffer, nullptr, nullptr), 10u);
    EXPECT_EQ(hostLinkMessageUint16Verify(&buffer, nullptr), 10u);
    EXPECT_EQ(hostLinkMessageVariantItemsCount(&buffer), 0);
    EXPECT_EQ(hostLinkMessageUint16ItemsCount(&buffer), 0);
}

TEST(ItemsCount, IsTheCountByteOrZeroWithoutAHeader) {
    struct Row {
        const char* message;
        uint8_t count;
    };
    const Row rows[] = {{"", 0},         {"01", 0},         {"01 07", 0},   {"01 00 00", 0},
                        {"01 00 07", 7}, {"02 00 FF", 255}, {"40 00 03", 3}};
    for (const Row& row : rows) {
        const Buffer buffer(row.message);
        EXPECT_EQ(hostLinkMessageVariantItemsCount(&buffer.ll), row.count) << row.message;
        EXPECT_EQ(hostLinkMessageUint16ItemsCount(&buffer.ll), row.count) << row.message;
    }
}

TEST(ItemsCount, NeverReadsBehindTheStorage) {
    ExactBytes block("01 00");
    const HostLinkLL buffer{block.data(), 2, 3};
    EXPECT_EQ(hostLinkMessageVariantItemsCount(&buffer), 0);
    EXPECT_EQ(hostLinkMessageUint16ItemsCount(&buffer), 0);
}

// ---- list readers

TEST(ListGet, ReadsWithoutLookingAtTheCount) {
    const Buffer buffer("02 00 01 10 00 34 12");
    EXPECT_EQ(hostLinkMessageUint16Get(&buffer.ll, 0), 0x0010);
    EXPECT_EQ(hostLinkMessageUint16Get(&buffer.ll, 1), 0x1234);
}

TEST(ListGet, IsZeroBehindTheStorage) {
    const Buffer whole("02 00 01 10 00");
    EXPECT_EQ(hostLinkMessageUint16Get(&whole.ll, 1), 0);
    EXPECT_EQ(hostLinkMessageUint16Get(&whole.ll, 255), 0);
    const Buffer half("02 00 02 10 00 20");
    EXPECT_EQ(hostLinkMessageUint16Get(&half.ll, 0), 0x0010);
    EXPECT_EQ(hostLinkMessageUint16Get(&half.ll, 1), 0) << "half an item";
    const HostLinkLL none{nullptr, 0, 0};
    EXPECT_EQ(hostLinkMessageUint16Get(&none, 0), 0);
}

TEST(ListGetItem, ReadsEveryItem) {
    const Buffer buffer(listMessage(255));
    for (unsigned index = 0; index < 255; ++index) {
        uint16_t value = 9999;
        EXPECT_EQ(hostLinkMessageUint16GetItem(&buffer.ll, static_cast<uint8_t>(index), &value), 0u);
        EXPECT_EQ(value, index);
    }
    uint16_t value = 9999;
    EXPECT_EQ(hostLinkMessageUint16GetItem(&buffer.ll, 255, &value), 21u);
    EXPECT_EQ(value, 9999);
}

TEST(ListGetItem, ReportsWhatVerificationFindsBeforeTheIndex) {
    for (const VerifyRow& row : verifyRows) {
        if (row.asList == 0) continue;
        const Buffer buffer(row.message);
        uint16_t value = 9999;
        EXPECT_EQ(hostLinkMessageUint16GetItem(&buffer.ll, 255, &value), row.asList) << row.name;
        EXPECT_EQ(value, 9999) << row.name;
    }
}

TEST(ListGetItem, RefusesAnIndexThatIsNotBelowTheCount) {
    uint16_t value = 9999;
    const Buffer none("02 00 00 10 00");
    EXPECT_EQ(hostLinkMessageUint16GetItem(&none.ll, 0, &value), 21u);
    const Buffer two("02 00 02 10 00 20 00");
    EXPECT_EQ(hostLinkMessageUint16GetItem(&two.ll, 2, &value), 21u);
    EXPECT_EQ(value, 9999);
    EXPECT_EQ(hostLinkMessageUint16GetItem(&two.ll, 1, &value), 0u);
    EXPECT_EQ(value, 0x0020);
}

// ---- the iterator

TEST(VariantIterator, StartsBehindTheHeader) {
    const Buffer buffer("01 00 01 02 01 CC 05 EE");
    HostLinkVariantIter iterator{nullptr, 1, 2, 3, 4};
    EXPECT_EQ(hostLinkVariantIterator(&buffer.ll, &iterator), 0u);
    EXPECT_EQ(iterator.message, &buffer.ll);
    EXPECT_EQ(iterator.size, 8);
    EXPECT_EQ(iterator.position, 3);
    EXPECT_EQ(iterator.count, 1);
    EXPECT_EQ(iterator.index, 0);
}

TEST(VariantIteratorGetNext, ReadsEveryEncodingAsAnIndependentProgramWritesIt) {
    for (const FixedValueVector& row : fixedValueVectors) {
        const ByteArray message = bytes(row.message);
        const Buffer buffer(message);
        HostLinkVariantIter iterator{};
        ASSERT_EQ(hostLinkVariantIterator(&buffer.ll, &iterator), 0u);
        HostLinkVariant item{};
        EXPECT_EQ(hostLinkVariantIteratorGetNext(&iterator, &item), 0u) << row.message;
        EXPECT_EQ(item.tag, row.tag) << row.message;
        EXPECT_EQ(item.encoding, row.encoding) << row.message;
        EXPECT_EQ(hex(item.value.bytes, message.size() - 6), hex(slice(message, 6, message.size())));
        EXPECT_EQ(iterator.position, message.size());
        EXPECT_EQ(iterator.index, 1);
    }
}

TEST(VariantIteratorGetNext, ReadsABinaryValueAsAViewIntoTheMessage) {
    const Buffer buffer("01 00 01 02 01 C5 03 00 AA BB CC");
    HostLinkVariantIter iterator{};
    ASSERT_EQ(hostLinkVariantIterator(&buffer.ll, &iterator), 0u);
    HostLinkVariant item{};
    EXPECT_EQ(hostLinkVariantIteratorGetNext(&iterator, &item), 0u);
    EXPECT_EQ(item.tag, 0x0102);
    EXPECT_EQ(item.encoding, 197);
    EXPECT_EQ(item.value.bin16.first, buffer.block.data() + 8);
    EXPECT_EQ(item.value.bin16.firstLength, 3);
    EXPECT_EQ(item.value.bin16.second, nullptr);
    EXPECT_EQ(item.value.bin16.secondLength, 0);
    EXPECT_EQ(iterator.position, 11);
}

TEST(VariantIteratorGetNext, WalksMixedItemsAndReturnsOneEverAfter) {
    const Buffer buffer("01 00 04 01 00 CC 05 02 00 C0 03 00 C5 02 00 AA BB 04 00 CD 34 12");
    HostLinkVariantIter iterator{};
    ASSERT_EQ(hostLinkVariantIterator(&buffer.ll, &iterator), 0u);
    const uint16_t positions[] = {7, 10, 17, 22};
    for (unsigned i = 0; i < 4; ++i) {
        HostLinkVariant item{};
        EXPECT_EQ(hostLinkVariantIteratorGetNext(&iterator, &item), 0u);
        EXPECT_EQ(item.tag, i + 1);
        EXPECT_EQ(iterator.position, positions[i]);
        EXPECT_EQ(iterator.index, i + 1);
    }
    for (int i = 0; i < 3; ++i) {
        HostLinkVariant item{};
        EXPECT_EQ(hostLinkVariantIteratorGetNext(&iterator, &item), 1u);
        EXPECT_EQ(hostLinkVariantIteratorNext(&iterator), 1u);
        EXPECT_EQ(hostLinkVariantIteratorGetValue(&iterator, &item), 1u);
        EXPECT_EQ(iterator.position, 22);
        EXPECT_EQ(iterator.index, 4);
    }
}

TEST(VariantIteratorGetNext, ReturnsOneAtOnceForAMessageWithoutItems) {
    const Buffer buffer("01 00 00 FF FF FF FF");
    HostLinkVariantIter iterator{};
    ASSERT_EQ(hostLinkVariantIterator(&buffer.ll, &iterator), 0u);
    EXPECT_EQ(hostLinkVariantIteratorGetNext(&iterator, nullptr), 1u);
}

TEST(VariantIteratorGetNext, SkipsWithoutAnOutput) {
    const Buffer buffer("01 00 02 01 00 C5 01 00 AA 02 00 CC 05");
    HostLinkVariantIter iterator{};
    ASSERT_EQ(hostLinkVariantIterator(&buffer.ll, &iterator), 0u);
    EXPECT_EQ(hostLinkVariantIteratorGetNext(&iterator, nullptr), 0u);
    EXPECT_EQ(iterator.position, 9);
    EXPECT_EQ(hostLinkVariantIteratorNext(&iterator), 0u);
    EXPECT_EQ(iterator.position, 13);
    EXPECT_EQ(iterator.index, 2);
}

TEST(VariantIteratorGetNext, FailsOnTheSecondItemWhenOnlyTheFirstIsThere) {
    // Two items declared, 9 bytes: enough for the header check, not for a "Uint8" and another item.
    const Buffer buffer("01 00 02 02 01 CC 05 00 00");
    ASSERT_EQ(hostLinkMessageVariantVerify(&buffer.ll, nullptr, nullptr), 0u);
    HostLinkVariantIter iterator{};
    ASSERT_EQ(hostLinkVariantIterator(&buffer.ll, &iterator), 0u);
    HostLinkVariant item{};
    EXPECT_EQ(hostLinkVariantIteratorGetNext(&iterator, &item), 0u);
    EXPECT_EQ(iterator.position, 7);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(hostLinkVariantIteratorGetNext(&iterator, &item), 21u);
        EXPECT_EQ(iterator.position, 7);
        EXPECT_EQ(iterator.index, 1);
    }
}

TEST(VariantIteratorGetNext, StandsBeforeTheItemThatItCannotRead) {
    struct Row {
        const char* name;
        const char* message;
        uint32_t code;
    };
    const Row rows[] = {
        {"encoding 0", "01 00 01 02 01 00 05", 20},
        {"encoding 191", "01 00 01 02 01 BF 05", 20},
        {"encoding 193", "01 00 01 02 01 C1 05", 20},
        {"encoding 200", "01 00 01 02 01 C8 05", 20},
        {"encoding 212", "01 00 01 02 01 D4 05", 20},
        {"encoding 255", "01 00 01 02 01 FF 05", 20},
        {"bad encoding before missing bytes", "01 00 01 02 01 D4", 20},
        {"Uint8 without its byte", "01 00 01 02 01 CC", 21},
        {"Uint16 a byte short", "01 00 01 02 01 CD 05", 21},
        {"Uint32 a byte short", "01 00 01 02 01 CE 05 06 07", 21},
        {"Uint64 a byte short", "01 00 01 02 01 CF 01 02 03 04 05 06 07", 21},
        {"Int8 without its byte", "01 00 01 02 01 D0", 21},
        {"Int16 a byte short", "01 00 01 02 01 D1 05", 21},
        {"Int32 a byte short", "01 00 01 02 01 D2 05 06 07", 21},
        {"Int64 a byte short", "01 00 01 02 01 D3 01 02 03 04 05 06 07", 21},
        {"Bin16 without its length", "01 00 01 02 01 C5", 21},
        {"Bin16 with half its length", "01 00 01 02 01 C5 00", 21},
        {"Bin16 a byte short", "01 00 01 02 01 C5 02 00 AA", 21},
        {"Bin16 of 65535 bytes in a short message", "01 00 01 02 01 C5 FF FF AA", 21},
    };
    for (const Row& row : rows) {
        const Buffer buffer(row.message);
        HostLinkVariantIter iterator{};
        ASSERT_EQ(hostLinkVariantIterator(&buffer.ll, &iterator), 0u) << row.name;
        HostLinkVariant item{};
        EXPECT_EQ(hostLinkVariantIteratorGetNext(&iterator, &item), row.code) << row.name;
        EXPECT_EQ(item.tag, 0x0102) << row.name << ": tag and encoding are given before the value is looked at";
        EXPECT_EQ(item.encoding, buffer.block.copy()[5]) << row.name;
        EXPECT_EQ(iterator.position, 3) << row.name;
        EXPECT_EQ(iterator.index, 0) << row.name;
        EXPECT_EQ(hostLinkVariantIteratorGetNext(&iterator, nullptr), row.code) << row.name;
        EXPECT_EQ(hostLinkVariantIteratorNext(&iterator), row.code) << row.name;
        EXPECT_EQ(hostLinkVariantIteratorGetValue(&iterator, &item), row.code) << row.name;
        EXPECT_EQ(hostLinkMessageVariantGetItem(&buffer.ll, 0, &item), row.code) << row.name;
        EXPECT_EQ(iterator.position, 3) << row.name;
        EXPECT_EQ(iterator.index, 0) << row.name;
    }
}

TEST(VariantIteratorGetNext, KnowsEveryEncodingByte) {
    for (unsigned encoding = 0; encoding < 256; ++encoding) {
        ByteArray message = bytes("01 00 01 02 01 00 00 00 00 00 00 00 00 00");
        message[5] = static_cast<unsigned char>(encoding);
        const Buffer buffer(message);
        const bool known = encoding == 192 || encoding == 197 || (encoding >= 204 && encoding <= 211);
        HostLinkVariant item{};
        EXPECT_EQ(hostLinkMessageVariantGetItem(&buffer.ll, 0, &item), known ? 0u : 20u) << encoding;
    }
}

TEST(VariantIteratorGetNext, NeedsTagAndEncodingOfTheItem) {
    // The second item has 0, 1 or 2 bytes left; a Bin16 in front keeps the header check content.
    for (size_t left = 0; left <= 2; ++left) {
        const Buffer buffer(bytes("01 00 02 02 01 C5 02 00 AA BB") + ByteArray(left, 0xC0));
        HostLinkVariantIter iterator{};
        ASSERT_EQ(hostLinkVariantIterator(&buffer.ll, &iterator), 0u);
        ASSERT_EQ(hostLinkVariantIteratorNext(&iterator), 0u);
        HostLinkVariant item{};
        item.tag = 0x7777;
        EXPECT_EQ(hostLinkVariantIteratorGetNext(&iterator, &item), 21u) << left;
        EXPECT_EQ(item.tag, 0x7777) << left;
        EXPECT_EQ(iterator.position, 10) << left;
    }
}

TEST(VariantIteratorGetNext, DoesNotWrapAtTheEndOfTheLongestMessage) {
    // A Bin16 fills the message up to its last 0, 1 or 2 bytes: position + 3 is above 65535.
    for (size_t left = 0; left <= 2; ++left) {
        ByteArray message = bytes("01 00 02 00 00 C5 00 00");
        const size_t length = 65535 - 8 - left;
        message[6] = static_cast<unsigned char>(length & 0xFF);
        message[7] = static_cast<unsigned char>(length >> 8);
        message.resize(65535, 0xC0);
        const Buffer buffer(message);
        HostLinkVariantIter iterator{};
        ASSERT_EQ(hostLinkVariantIterator(&buffer.ll, &iterator), 0u);
        EXPECT_EQ(hostLinkVariantIteratorNext(&iterator), 0u);
        EXPECT_EQ(iterator.position, 65535 - left);
        EXPECT_EQ(hostLinkVariantIteratorNext(&iterator), 21u) << left;
        EXPECT_EQ(iterator.position, 65535 - left);
    }
}

TEST(VariantIteratorGetNext, DoesNotWrapTheEndOfABinaryValue) {
    // Position + length is 65536 + 2: in 16 bits it would lie inside the message.
    ByteArray message = bytes("01 00 01 00 00 C5 FA FF");
    message.resize(65535);
    const Buffer buffer(message);
    HostLinkVariantIter iterator{};
    ASSERT_EQ(hostLinkVariantIterator(&buffer.ll, &iterator), 0u);
    EXPECT_EQ(hostLinkVariantIteratorNext(&iterator), 21u);
    EXPECT_EQ(iterator.position, 3);
}

TEST(VariantIteratorGetNext, ReportsTheFirstCheckThatFails) {
    Buffer buffer("01 00 01 02 01 CC 05");
    HostLinkVariantIter iterator{};
    ASSERT_EQ(hostLinkVariantIterator(&buffer.ll, &iterator), 0u);
    HostLinkVariant item{};
    iterator.index = 2;
    EXPECT_EQ(hostLinkVariantIteratorGetNext(&iterator, &item), 21u) << "more returned than declared";
    iterator.index = 1;
    iterator.position = 7;
    EXPECT_EQ(hostLinkVariantIteratorGetNext(&iterator, &item), 1u) << "the end before the bytes";
    iterator.index = 0;
    EXPECT_EQ(hostLinkVariantIteratorGetNext(&iterator, &item), 21u) << "no bytes left";
    buffer.ll.used = 2;
    iterator.index = 1;
    EXPECT_EQ(hostLinkVariantIteratorGetNext(&iterator, &item), 13u) << "the header before the end";
    iterator.index = 2;
    EXPECT_EQ(hostLinkVariantIteratorGetNext(&iterator, &item), 13u) << "the header before the index";
}

TEST(VariantIteratorGetValue, ReadsWithoutAdvancing) {
    const Buffer buffer("01 00 02 01 00 C5 01 00 AA 02 00 CC 05");
    HostLinkVariantIter iterator{};
    ASSERT_EQ(hostLinkVariantIterator(&buffer.ll, &iterator), 0u);
    for (int i = 0; i < 3; ++i) {
        HostLinkVariant item{};
        EXPECT_EQ(hostLinkVariantIteratorGetValue(&iterator, &item), 0u);
        EXPECT_EQ(item.tag, 1);
        EXPECT_EQ(item.value.bin16.firstLength, 1);
        EXPECT_EQ(iterator.position, 3);
        EXPECT_EQ(iterator.index, 0);
    }
    ASSERT_EQ(hostLinkVariantIteratorNext(&iterator), 0u);
    HostLinkVariant item{};
    EXPECT_EQ(hostLinkVariantIteratorGetValue(&iterator, &item), 0u);
    EXPECT_EQ(item.tag, 2);
    EXPECT_EQ(item.value.bytes[0], 5);
    EXPECT_EQ(iterator.position, 9);
    EXPECT_EQ(iterator.index, 1);
}

TEST(VariantGetItem, ReadsEveryIndex) {
    const Buffer buffer("01 00 03 01 00 CC 05 02 00 C5 02 00 AA BB 03 00 CD 34 12");
    HostLinkVariant item{};
    EXPECT_EQ(hostLinkMessageVariantGetItem(&buffer.ll, 2, &item), 0u);
    EXPECT_EQ(item.tag, 3);
    EXPECT_EQ(hex(item.value.bytes, 2), "34 12");
    EXPECT_EQ(hostLinkMessageVariantGetItem(&buffer.ll, 0, &item), 0u);
    EXPECT_EQ(item.tag, 1);
    EXPECT_EQ(hostLinkMessageVariantGetItem(&buffer.ll, 1, &item), 0u);
    EXPECT_EQ(item.value.bin16.first, buffer.block.data() + 12);
    EXPECT_EQ(hostLinkMessageVariantGetItem(&buffer.ll, 3, &item), 21u);
    EXPECT_EQ(hostLinkMessageVariantGetItem(&buffer.ll, 255, &item), 21u);
}

TEST(VariantGetItem, ReadsTheLastOf255Items) {
    const Buffer buffer(nilMessage(254) + bytes("FE FE CC 09"));
    ByteArray message = buffer.block.copy();
    message[2] = 255;
    const Buffer full(message);
    HostLinkVariant item{};
    EXPECT_EQ(hostLinkMessageVariantGetItem(&full.ll, 254, &item), 0u);
    EXPECT_EQ(item.tag, 0xFEFE);
    EXPECT_EQ(item.value.bytes[0], 9);
    EXPECT_EQ(hostLinkMessageVariantGetItem(&full.ll, 255, &item), 21u);
}

TEST(VariantGetItem, ReportsWhatVerificationFindsBeforeTheIndex) {
    for (const VerifyRow& row : verifyRows) {
        if (row.asVariant == 0) continue;
        const Buffer buffer(row.message);
        HostLinkVariant item{};
        EXPECT_EQ(hostLinkMessageVariantGetItem(&buffer.ll, 255, &item), row.asVariant) << row.name;
    }
}

TEST(VariantGetItem, ReportsTheFirstItemThatCannotBeRead) {
    // A good item, one with encoding 200, one that ends early.
    const Buffer buffer("01 00 03 01 00 CC 05 02 00 C8 03 00 CE 01");
    HostLinkVariant item{};
    EXPECT_EQ(hostLinkMessageVariantGetItem(&buffer.ll, 0, &item), 0u);
    EXPECT_EQ(hostLinkMessageVariantGetItem(&buffer.ll, 1, &item), 20u);
    EXPECT_EQ(hostLinkMessageVariantGetItem(&buffer.ll, 2, &item), 20u);
    EXPECT_EQ(hostLinkMessageVariantGetItem(&buffer.ll, 3, &item), 21u) << "the index before the items";
}

// ---- binary views

namespace {

/// A view in two pieces, each in a block of exact size.
struct TwoPieces {
    ExactBytes first;
    ExactBytes second;
    HostLinkBin16 view;

    TwoPieces(const ByteArray& a, const ByteArray& b)
        : first(a), second(b), view{first.data(), second.data(), first.size16(), second.size16()} {}
};

} // namespace

TEST(Bin16Get, ReadsBothPiecesAndZeroBehindThem) {
    const TwoPieces value(bytes("11 22 33"), bytes("44 55"));
    const int expected[] = {0x11, 0x22, 0x33, 0x44, 0x55, 0, 0};
    for (unsigned i = 0; i < 7; ++i) {
        EXPECT_EQ(hostLinkBin16Get(&value.view, static_cast<uint8_t>(i)), expected[i]) << i;
    }
    EXPECT_EQ(hostLinkBin16Get(&value.view, 255), 0);
}

TEST(Bin16Get, ReadsOnePiece) {
    const ExactBytes piece("11 22");
    const HostLinkBin16 view{piece.data(), nullptr, 2, 0};
    EXPECT_EQ(hostLinkBin16Get(&view, 0), 0x11);
    EXPECT_EQ(hostLinkBin16Get(&view, 1), 0x22);
    EXPECT_EQ(hostLinkBin16Get(&view, 2), 0);
    const HostLinkBin16 empty{nullptr, nullptr, 0, 0};
    EXPECT_EQ(hostLinkBin16Get(&empty, 0), 0);
}

TEST(Bin16Get, ReachesTheFirst256Bytes) {
    const TwoPieces value(patternBytes(200), patternBytes(1000));
    EXPECT_EQ(hostLinkBin16Get(&value.view, 199), patternBytes(200)[199]);
    EXPECT_EQ(hostLinkBin16Get(&value.view, 200), 3);
    EXPECT_EQ(hostLinkBin16Get(&value.view, 255), patternBytes(56)[55]);
}

TEST(Bin16Get, AddsTheLengthsWithoutWrapping) {
    const TwoPieces value(patternBytes(10), patternBytes(65535));
    EXPECT_EQ(hostLinkBin16Get(&value.view, 9), patternBytes(10)[9]);
    EXPECT_EQ(hostLinkBin16Get(&value.view, 10), 3);
    EXPECT_EQ(hostLinkBin16Get(&value.view, 255), patternBytes(246)[245]);
}

TEST(Bin16Copy, CopiesAWindowOfTheValue) {
    struct Row {
        const char* name;
        uint16_t offset;
        uint16_t maximum;
        const char* copied;
    };
    const Row rows[] = {
        {"all", 0, 5, "11 22 33 44 55"},
        {"all and room", 0, 65535, "11 22 33 44 55"},
        {"none", 0, 0, ""},
        {"first piece", 0, 3, "11 22 33"},
        {"inside the first piece", 1, 1, "22"},
        {"up to the end of the first piece", 1, 2, "22 33"},
        {"across", 1, 3, "22 33 44"},
        {"across to the end", 2, 3, "33 44 55"},
        {"across, cut at the end", 2, 9, "33 44 55"},
        {"second piece", 3, 2, "44 55"},
        {"inside the second piece", 3, 1, "44"},
        {"last byte", 4, 9, "55"},
        {"at the end", 5, 9, ""},
        {"behind the end", 6, 9, ""},
        {"far behind", 65535, 65535, ""},
    };
    for (const Row& row : rows) {
        const ByteArray expected = bytes(row.copied);
        const TwoPieces two(bytes("11 22 33"), bytes("44 55"));
        ExactBytes destination(expected.size());
        EXPECT_EQ(hostLinkBin16Copy(&two.view, destination.data(), row.offset, row.maximum), expected.size())
            << row.name;
        EXPECT_EQ(destination.text(), row.copied) << row.name;
        const ExactBytes piece("11 22 33 44 55");
        const HostLinkBin16 one{piece.data(), nullptr, 5, 0};
        ExactBytes other(expected.size());
        EXPECT_EQ(hostLinkBin16Copy(&one, other.data(), row.offset, row.maximum), expected.size()) << row.name;
        EXPECT_EQ(other.text(), row.copied) << row.name;
    }
}

TEST(Bin16Copy, OfOnePieceOfFiveBytesFromThreeCopiesTwo) {
    const ExactBytes piece("11 22 33 44 55");
    const HostLinkBin16 view{piece.data(), nullptr, 5, 0};
    ExactBytes destination(10);
    EXPECT_EQ(hostLinkBin16Copy(&view, destination.data(), 3, 10), 2);
    EXPECT_EQ(slice(destination.copy(), 0, 2), bytes("44 55"));
    EXPECT_TRUE(destination.isUntouched(2));
    EXPECT_EQ(hostLinkBin16Copy(&view, destination.data(), 5, 10), 0);
    EXPECT_TRUE(destination.isUntouched(2));
}

TEST(Bin16Copy, AddsTheLengthsWithoutWrapping) {
    const TwoPieces value(patternBytes(65535), patternBytes(65535));
    ExactBytes destination(65535);
    EXPECT_EQ(hostLinkBin16Copy(&value.view, destination.data(), 65535, 65535), 65535);
    EXPECT_TRUE(destination.copy() == patternBytes(65535));
    ExactBytes across(10);
    EXPECT_EQ(hostLinkBin16Copy(&value.view, across.data(), 65530, 10), 10);
    EXPECT_EQ(across.text(), hex(slice(patternBytes(65535), 65530, 65535) + patternBytes(5)));
}

TEST(Bin16Copy, TakesAnEmptyValue) {
    const HostLinkBin16 empty{nullptr, nullptr, 0, 0};
    ExactBytes destination(1);
    EXPECT_EQ(hostLinkBin16Copy(&empty, destination.data(), 0, 1), 0);
    EXPECT_TRUE(destination.isUntouched());
}
