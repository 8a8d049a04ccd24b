// Checks of a message's header.
#include <gtest/gtest.h>

#include "MessageBuffers.h"

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
    for (const uint32_t used : {3u, 65535u, 65536u, 65538u, 65539u, 0xFFFFFFFFu}) {
        const HostLinkLL buffer{block.data(), 2, used};
        EXPECT_EQ(hostLinkMessageVariantItemsCount(&buffer), 0) << used;
        EXPECT_EQ(hostLinkMessageUint16ItemsCount(&buffer), 0) << used;
        const HostLinkLL detached{nullptr, 50, used};
        EXPECT_EQ(hostLinkMessageVariantItemsCount(&detached), 0) << used;
        EXPECT_EQ(hostLinkMessageUint16ItemsCount(&detached), 0) << used;
    }
}

// The low 16 bits of these lengths are 0, 1 and 2, as short as no message is, and more.
TEST(ItemsCount, StandsWhereItStandsInAMessageLongerThanSixteenBitsCount) {
    for (const uint32_t used : {65535u, 65536u, 65537u, 65538u, 65539u, 131072u, 131074u}) {
        const Buffer buffer(bytes("01 00 07") + ByteArray(used - 3, 0));
        EXPECT_EQ(hostLinkMessageVariantItemsCount(&buffer.ll), 7) << used;
        EXPECT_EQ(hostLinkMessageUint16ItemsCount(&buffer.ll), 7) << used;
    }
    ExactBytes header("02 00 FF"); // the storage ends behind the count
    for (const uint32_t used : {65536u, 65538u, 0xFFFF0000u, 0xFFFFFFFFu}) {
        const HostLinkLL buffer{header.data(), 3, used};
        EXPECT_EQ(hostLinkMessageVariantItemsCount(&buffer), 255) << used;
        EXPECT_EQ(hostLinkMessageUint16ItemsCount(&buffer), 255) << used;
    }
    ExactBytes large(65536 + 3, 0); // and what 16 bits make of its size ends before it
    large[2] = 9;
    for (const uint32_t capacity : {65536u, 65538u, 65539u}) {
        const HostLinkLL buffer{large.data(), capacity, 3};
        EXPECT_EQ(hostLinkMessageVariantItemsCount(&buffer), 9) << capacity;
        EXPECT_EQ(hostLinkMessageUint16ItemsCount(&buffer), 9) << capacity;
    }
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

TEST(VariantGetItem, ReportsWhatVerificationFindsBeforeTheIndex) {
    for (const VerifyRow& row : verifyRows) {
        if (row.asVariant == 0) continue;
        const Buffer buffer(row.message);
        HostLinkVariant item{};
        EXPECT_EQ(hostLinkMessageVariantGetItem(&buffer.ll, 255, &item), row.asVariant) << row.name;
    }
}
