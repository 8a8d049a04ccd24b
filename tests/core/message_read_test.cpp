// Reading messages: list items, and the iterator over variants.
#include <random>

#include <gtest/gtest.h>

#include "MessageBuffers.h"
#include "support/AtPageEnd.h"
#include "support/StaysAlive.h"

namespace {

#include "vectors/fixed_values.inc"

} // namespace

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

TEST(VariantGetItem, ReportsTheFirstItemThatCannotBeRead) {
    // A good item, one with encoding 200, one that ends early.
    const Buffer buffer("01 00 03 01 00 CC 05 02 00 C8 03 00 CE 01");
    HostLinkVariant item{};
    EXPECT_EQ(hostLinkMessageVariantGetItem(&buffer.ll, 0, &item), 0u);
    EXPECT_EQ(hostLinkMessageVariantGetItem(&buffer.ll, 1, &item), 20u);
    EXPECT_EQ(hostLinkMessageVariantGetItem(&buffer.ll, 2, &item), 20u);
    EXPECT_EQ(hostLinkMessageVariantGetItem(&buffer.ll, 3, &item), 21u) << "the index before the items";
}

TEST(VariantGetItemDeathTest, ReadsNothingBehindTheMessage) {
    // One item each, of every length that a value may have.
    for (const char* message :
         {"01 00 01 07 00 C0", "01 00 01 07 00 CC 11", "01 00 01 07 00 CD 11 22", "01 00 01 07 00 CE 11 22 33 44",
          "01 00 01 07 00 CF 11 22 33 44 55 66 77 88", "01 00 02 07 00 CE 11 22 33 44 08 00 C0",
          "01 00 02 07 00 CE 11 22 33 44 08 00 CC 11"}) {
        AtPageEnd stored(bytes(message));
        const auto size = static_cast<uint32_t>(bytes(message).size());
        const HostLinkLL buffer{stored.data(), size, size};
        HostLinkVariant item{};
        EXPECT_STAYS_ALIVE(hostLinkMessageVariantGetItem(&buffer, 0, &item)) << message;
    }
}

TEST(VariantGetItem, SaysWhatTheIteratorSaysOnItsWayThere) {
    std::mt19937 random(12);
    const uint8_t encodings[] = {ENC_Nil, ENC_Uint8, ENC_Int16, ENC_Uint32, ENC_Int64, ENC_Bin16, 0xC1, 0xD4, 0};
    for (int run = 0; run < 2000; ++run) {
        ByteArray message = {1, 0, static_cast<uint8_t>(random() % 10)};
        for (int i = 0; i < 8; ++i) {
            message.insert(message.end(), {static_cast<uint8_t>(i), 0, encodings[random() % sizeof encodings]});
            for (auto value = random() % 9; value != 0; --value) message.push_back(static_cast<uint8_t>(random() % 4));
        }
        message.resize(3 + random() % (message.size() - 2));
        const Buffer buffer(message);
        HostLinkVariantIter items;
        const uint32_t header = hostLinkVariantIterator(&buffer.ll, &items);
        uint32_t code = header;
        for (unsigned index = 0; index < message[2]; ++index) {
            HostLinkVariant expected{};
            HostLinkVariant item{};
            if (code == 0) code = hostLinkVariantIteratorGetNext(&items, &expected);
            EXPECT_EQ(hostLinkMessageVariantGetItem(&buffer.ll, static_cast<uint8_t>(index), &item), code) << run;
            if (code != 0) continue;
            EXPECT_EQ(item.tag, expected.tag);
            EXPECT_EQ(item.encoding, expected.encoding);
            EXPECT_EQ(item.value.bytes[0], expected.value.bytes[0]);
        }
        HostLinkVariant item;
        EXPECT_EQ(hostLinkMessageVariantGetItem(&buffer.ll, message[2], &item), header != 0 ? header : 21u);
    }
}

namespace {

struct Number {
    uint8_t encoding;
    size_t width;
};
constexpr Number numbers[] = {{ENC_Uint8, 1}, {ENC_Uint16, 2}, {ENC_Uint32, 4}, {ENC_Uint64, 8},
                              {ENC_Int8, 1},  {ENC_Int16, 2},  {ENC_Int32, 4},  {ENC_Int64, 8}};
constexpr unsigned manyItems = 27;

/// `count` numbers of one kind, each with its place as its tag.
ByteArray numbersOf(const Number& number, unsigned count) {
    ByteArray message = {1, 0, static_cast<uint8_t>(count)};
    for (unsigned i = 0; i < count; ++i) {
        message.insert(message.end(), {static_cast<uint8_t>(i), 0, number.encoding});
        message.insert(message.end(), number.width, 0x11);
    }
    return message;
}

/// Reads each of the many items by its index: the first `readable` are there, the others fail with `code`.
void expectReadable(const ByteArray& message, unsigned readable, uint32_t code) {
    const Buffer buffer(message);
    for (unsigned i = 0; i < manyItems; ++i) {
        HostLinkVariant item{};
        const uint32_t expected = i < readable ? 0 : code;
        EXPECT_EQ(hostLinkMessageVariantGetItem(&buffer.ll, static_cast<uint8_t>(i), &item), expected) << i;
        if (expected != 0) continue;
        EXPECT_EQ(item.tag, i);
    }
}

} // namespace

TEST(VariantGetItem, ReadsNumbersOfOneKindUpToTheOneThatIsNot) {
    for (const Number& number : numbers) {
        const size_t length = 3 + number.width;
        const ByteArray alike = numbersOf(number, manyItems);
        expectReadable(alike, manyItems, 0);
        for (unsigned odd = 0; odd < manyItems; ++odd) {
            SCOPED_TRACE(testing::Message() << int{number.encoding} << ", odd: " << odd);
            ByteArray message = alike;
            message[3 + odd * length + 2] = 0xC1;
            expectReadable(message, odd, 20);
            const auto at = message.begin() + static_cast<long>(3 + odd * length);
            message.erase(at + 2, at + static_cast<long>(length));
            message.insert(at + 2, ENC_Nil); // shorter than the others, which move
            expectReadable(message, manyItems, 0);
        }
    }
}

TEST(VariantGetItem, ReadsNumbersOfOneKindAsFarAsTheyAreThere) {
    for (const Number& number : numbers) {
        const size_t length = 3 + number.width;
        ByteArray message = numbersOf(number, manyItems);
        while (message.size() > 3 + 3 * size_t{manyItems}) { // what the header's check asks for
            message.pop_back();
            SCOPED_TRACE(testing::Message() << int{number.encoding} << ", bytes: " << message.size());
            expectReadable(message, static_cast<unsigned>((message.size() - 3) / length), 21);
        }
    }
}

TEST(VariantIterator, SkipsAsItReads) {
    std::mt19937 random(21);
    for (int run = 0; run < 2000; ++run) {
        ByteArray message = {1, 0, 4};
        while (message.size() < 40)
            message.push_back(static_cast<uint8_t>(random() % 3 == 0 ? 0xC5 + random() % 15 : 0));
        message.resize(15 + random() % 26);
        const Buffer buffer(message);
        HostLinkVariantIter reading;
        HostLinkVariantIter skipping;
        ASSERT_EQ(hostLinkVariantIterator(&buffer.ll, &reading), 0u);
        ASSERT_EQ(hostLinkVariantIterator(&buffer.ll, &skipping), 0u);
        for (int i = 0; i < 6; ++i) {
            HostLinkVariant item;
            const uint32_t code = hostLinkVariantIteratorGetNext(&reading, &item);
            EXPECT_EQ(i % 2 != 0 ? hostLinkVariantIteratorNext(&skipping)
                                 : hostLinkVariantIteratorGetNext(&skipping, nullptr),
                      code);
            EXPECT_EQ(skipping.position, reading.position);
            EXPECT_EQ(skipping.index, reading.index);
        }
    }
}
