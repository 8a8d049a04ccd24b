// Building messages: the three appenders.
#include <climits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "MessageBuffers.h"

namespace {

#include "vectors/fixed_values.inc"

} // namespace

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

// Whatever stands where the count would be.
TEST(ListAddItem, HasNoRoomRatherThanAFullCountWhereTheCountIsBehindTheStorage) {
    for (size_t capacity = 0; capacity <= 2; ++capacity) {
        ExactBytes block(3, 255);
        HostLinkLL buffer{block.data(), static_cast<uint32_t>(capacity), 3};
        EXPECT_EQ(hostLinkMessageUint16AddItem(&buffer, 1), 16u) << capacity;
        EXPECT_EQ(block.text(), "FF FF FF") << capacity;
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
