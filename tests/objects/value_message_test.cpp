// Messages of tagged values, and what can be told of raw message bytes.
#include <climits>
#include <cstring>
#include <type_traits>
#include <utility>

#include <gtest/gtest.h>

#include <hostlink/HostLinkMessage.h>
#include <hostlink/HostLinkValueMessage.h>

#include "support/Bytes.h"

namespace {

#include "vectors/fixed_values.inc"

MessageId messageId(int id) {
    return static_cast<MessageId>(id);
}

/// The store's size, which no method tells: the first shrinking that cuts the message shows it.
/// The message must be shorter than the store by a little at least; 2 is the step of `resize`.
size_t storeSize(const HostLinkValueMessage& message) {
    const size_t used = message.serialize().size();
    for (int steps = 1;; ++steps) {
        HostLinkValueMessage shrunk(message);
        shrunk.resize(-steps);
        const size_t left = shrunk.serialize().size();
        if (left < used) return left + 2 * static_cast<size_t>(steps);
    }
}

/// What every getter says of one item.
struct Readings {
    bool uint8, uint16, uint32, uint64, int8, int16, int32, int64, nil, bin16, string;

    bool operator==(const Readings& other) const { return std::memcmp(this, &other, sizeof *this) == 0; }
};

/// Which getters accept the item; each flag starts as the opposite of what the getter returns for it.
Readings readAll(const HostLinkValueMessage& message, int index) {
    Readings ok{};
    std::memset(&ok, 1, sizeof ok);
    message.getUint8(index, &ok.uint8);
    message.getUint16(index, &ok.uint16);
    message.getUint32(index, &ok.uint32);
    message.getUint64(index, &ok.uint64);
    message.getInt8(index, &ok.int8);
    message.getInt16(index, &ok.int16);
    message.getInt32(index, &ok.int32);
    message.getInt64(index, &ok.int64);
    message.getNil(index, &ok.nil);
    message.getBin16(index, &ok.bin16);
    message.getString(index, &ok.string);
    return ok;
}

const Readings noneAccepts{};

/// Expects every getter to say false and return nothing.
void expectUnreadable(const HostLinkValueMessage& message, int index) {
    bool ok = true;
    EXPECT_EQ(message.getTag(index, &ok), 0);
    EXPECT_FALSE(ok);
    ok = true;
    EXPECT_EQ(message.getEnc(index, &ok), 0);
    EXPECT_FALSE(ok);
    ok = true;
    EXPECT_EQ(message.getUint8(index, &ok), 0);
    EXPECT_FALSE(ok);
    ok = true;
    EXPECT_EQ(message.getUint16(index, &ok), 0);
    EXPECT_FALSE(ok);
    ok = true;
    EXPECT_EQ(message.getUint32(index, &ok), 0u);
    EXPECT_FALSE(ok);
    ok = true;
    EXPECT_EQ(message.getUint64(index, &ok), 0u);
    EXPECT_FALSE(ok);
    ok = true;
    EXPECT_EQ(message.getInt8(index, &ok), 0);
    EXPECT_FALSE(ok);
    ok = true;
    EXPECT_EQ(message.getInt16(index, &ok), 0);
    EXPECT_FALSE(ok);
    ok = true;
    EXPECT_EQ(message.getInt32(index, &ok), 0);
    EXPECT_FALSE(ok);
    ok = true;
    EXPECT_EQ(message.getInt64(index, &ok), 0);
    EXPECT_FALSE(ok);
    ok = true;
    EXPECT_FALSE(message.getNil(index, &ok));
    EXPECT_FALSE(ok);
    ok = true;
    EXPECT_TRUE(message.getBin16(index, &ok).empty());
    EXPECT_FALSE(ok);
    ok = true;
    EXPECT_TRUE(message.getString(index, &ok).empty());
    EXPECT_FALSE(ok);
}

/// Calls every append once.
void appendEverything(HostLinkValueMessage& message) {
    message.addValueUint8(1, 1).addValueUint16(1, 1).addValueUint32(1, 1).addValueUint64(1, 1);
    message.addValueInt8(1, 1).addValueInt16(1, 1).addValueInt32(1, 1).addValueInt64(1, 1);
    message.addValueNil(1).addValueBin16(1, bytes("01")).addValueString(1, "1");
}

} // namespace

// ---- raw message bytes

TEST(Message, TellsTheIdOfTwoBytesOrMore) {
    struct Row {
        const char* message;
        int id;
    };
    const Row rows[] = {{"", 0}, {"01", 0}, {"01 00", 1}, {"02 80", 0x8002}, {"34 12 FF", 0x1234}, {"FF FF", 0xFFFF}};
    for (const Row& row : rows) EXPECT_EQ(HostLinkMessage::messageId(bytes(row.message)), row.id) << row.message;
}

TEST(Message, CountsItsBytesInSixteenBits) {
    ByteArray message(65536, 0x11);
    EXPECT_EQ(HostLinkMessage::messageId(message), 0);
    message.push_back(0x11);
    EXPECT_EQ(HostLinkMessage::messageId(message), 0);
    message.push_back(0x11);
    EXPECT_EQ(HostLinkMessage::messageId(message), 0x1111);
    message.resize(65535);
    EXPECT_EQ(HostLinkMessage::messageId(message), 0x1111);
}

TEST(Message, TellsResponsesByBitFifteen) {
    EXPECT_FALSE(HostLinkMessage::isResponseMessageId(MSG_Invalid));
    EXPECT_FALSE(HostLinkMessage::isResponseMessageId(MSG_SetLedApi));
    EXPECT_FALSE(HostLinkMessage::isResponseMessageId(messageId(0x7FFF)));
    EXPECT_TRUE(HostLinkMessage::isResponseMessageId(MSG_UnsupportedMessageResponse));
    EXPECT_TRUE(HostLinkMessage::isResponseMessageId(MSG_TcpTunnelingResponse));
    EXPECT_TRUE(HostLinkMessage::isResponseMessageId(messageId(0xFFFF)));
}

// ---- construction from an id

TEST(ValueMessage, OfAVariantIdIsValidAndEmpty) {
    for (const int id : {0, 1, 4, 6, 7, 8, 9, 63, 0x8000, 0x8001, 0x8002, 0x8007, 0x8009}) {
        const HostLinkValueMessage message(messageId(id));
        EXPECT_TRUE(message.isValid()) << id;
        EXPECT_EQ(message.size(), 0) << id;
        EXPECT_EQ(message.serialize().size(), 3u) << id;
        EXPECT_EQ(HostLinkMessage::messageId(message.serialize()), id);
        EXPECT_EQ(storeSize(message), 50u) << id;
        expectUnreadable(message, 0);
    }
}

TEST(ValueMessage, OfAListIdOrAnIdOutOfRangeIsInvalidAndEmpty) {
    for (const int id : {2, 3, 5, 34, 0x8003, 0x8005, 64, 0x7FFF, 0x8040, 0xFFFF}) {
        HostLinkValueMessage message(messageId(id));
        EXPECT_FALSE(message.isValid()) << id;
        EXPECT_EQ(message.size(), 0) << id;
        EXPECT_TRUE(message.serialize().empty()) << id;
        appendEverything(message);
        EXPECT_FALSE(message.isValid()) << id;
        EXPECT_EQ(message.size(), 0) << id;
        EXPECT_TRUE(message.serialize().empty()) << id;
        expectUnreadable(message, 0);
    }
}

// ---- appends and getters

TEST(ValueMessage, BuildsAndReadsTheSetStateMessage) {
    HostLinkValueMessage message(MSG_SetState);
    message.addValueUint8(0x0102, 5);
    EXPECT_EQ(hex(message.serialize()), "01 00 01 02 01 CC 05");
    EXPECT_EQ(message.size(), 1);
    bool ok = false;
    EXPECT_EQ(message.getUint8(0, &ok), 5);
    EXPECT_TRUE(ok);
    EXPECT_EQ(message.getUint16(0, &ok), 0);
    EXPECT_FALSE(ok);
    EXPECT_EQ(message.getTag(0, &ok), 0x0102);
    EXPECT_TRUE(ok);
    ok = false;
    EXPECT_EQ(message.getEnc(0, &ok), 204);
    EXPECT_TRUE(ok);
}

TEST(ValueMessage, AppendsEveryEncodingAsAnIndependentProgramWritesIt) {
    for (const FixedValueVector& row : fixedValueVectors) {
        HostLinkValueMessage message(MSG_SetState);
        switch (row.encoding) {
        case ENC_Uint8: message.addValueUint8(row.tag, static_cast<unsigned char>(row.value)); break;
        case ENC_Uint16: message.addValueUint16(row.tag, static_cast<unsigned short>(row.value)); break;
        case ENC_Uint32: message.addValueUint32(row.tag, static_cast<unsigned int>(row.value)); break;
        case ENC_Uint64: message.addValueUint64(row.tag, row.value); break;
        case ENC_Int8: message.addValueInt8(row.tag, static_cast<signed char>(row.value)); break;
        case ENC_Int16: message.addValueInt16(row.tag, static_cast<short>(row.value)); break;
        case ENC_Int32: message.addValueInt32(row.tag, static_cast<int>(row.value)); break;
        case ENC_Int64: message.addValueInt64(row.tag, static_cast<long>(row.value)); break;
        default: FAIL() << int(row.encoding);
        }
        EXPECT_EQ(hex(message.serialize()), row.message);
    }
}

TEST(ValueMessage, ReadsEveryEncodingAsAnIndependentProgramWritesIt) {
    for (const FixedValueVector& row : fixedValueVectors) {
        const HostLinkValueMessage message(bytes(row.message));
        ASSERT_TRUE(message.isValid()) << row.message;
        bool ok = false;
        uint64_t value = 0; // sign-extended, as in the vectors
        Readings accepted{};
        switch (row.encoding) {
        case ENC_Uint8: value = message.getUint8(0, &ok), accepted.uint8 = true; break;
        case ENC_Uint16: value = message.getUint16(0, &ok), accepted.uint16 = true; break;
        case ENC_Uint32: value = message.getUint32(0, &ok), accepted.uint32 = true; break;
        case ENC_Uint64: value = message.getUint64(0, &ok), accepted.uint64 = true; break;
        case ENC_Int8: value = static_cast<uint64_t>(message.getInt8(0, &ok)), accepted.int8 = true; break;
        case ENC_Int16: value = static_cast<uint64_t>(message.getInt16(0, &ok)), accepted.int16 = true; break;
        case ENC_Int32: value = static_cast<uint64_t>(message.getInt32(0, &ok)), accepted.int32 = true; break;
        case ENC_Int64: value = static_cast<uint64_t>(message.getInt64(0, &ok)), accepted.int64 = true; break;
        default: FAIL() << int(row.encoding);
        }
        EXPECT_TRUE(ok) << row.message;
        EXPECT_EQ(value, row.value) << row.message;
        EXPECT_TRUE(readAll(message, 0) == accepted) << "another getter accepts " << row.message;
        EXPECT_EQ(message.getTag(0, &ok), row.tag);
        EXPECT_EQ(message.getEnc(0, &ok), row.encoding);
    }
}

TEST(ValueMessage, ReturnsZeroForAValueOfAnotherEncoding) {
    const HostLinkValueMessage message(bytes("01 00 01 02 01 CF 88 77 66 55 44 33 22 11"));
    bool ok = true;
    EXPECT_EQ(message.getUint8(0, &ok), 0);
    EXPECT_EQ(message.getUint16(0, &ok), 0);
    EXPECT_EQ(message.getUint32(0, &ok), 0u);
    EXPECT_EQ(message.getInt8(0, &ok), 0);
    EXPECT_EQ(message.getInt16(0, &ok), 0);
    EXPECT_EQ(message.getInt32(0, &ok), 0);
    EXPECT_EQ(message.getInt64(0, &ok), 0);
    EXPECT_FALSE(ok);
}

TEST(ValueMessage, ChainsAppends) {
    HostLinkValueMessage message(MSG_StateChanged);
    HostLinkValueMessage& same = message.addValueNil(1).addValueUint8(2, 3).addValueString(4, "ab");
    EXPECT_EQ(&same, &message);
    EXPECT_EQ(hex(message.serialize()), "04 00 03 01 00 C0 02 00 CC 03 04 00 C5 02 00 61 62");
}

TEST(ValueMessage, ReturnsItselfFromAnAppendThatHasNoEffect) {
    HostLinkValueMessage message(MSG_GetState);
    EXPECT_EQ(&message.addValueUint8(1, 1), &message);
    EXPECT_EQ(&message.addValueNil(1), &message);
    EXPECT_EQ(&message.addValueBin16(1, {}), &message);
    EXPECT_EQ(&message.addValueString(1, ""), &message);
}

TEST(ValueMessage, ReadsNil) {
    HostLinkValueMessage message(MSG_SetState);
    message.addValueNil(0x0007).addValueUint8(8, 0);
    EXPECT_EQ(hex(message.serialize()), "01 00 02 07 00 C0 08 00 CC 00");
    bool ok = false;
    EXPECT_TRUE(message.getNil(0, &ok));
    EXPECT_TRUE(ok);
    EXPECT_FALSE(message.getNil(1, &ok));
    EXPECT_FALSE(ok);
    Readings nil{};
    nil.nil = true;
    EXPECT_TRUE(readAll(message, 0) == nil);
}

TEST(ValueMessage, ReadsBinaryValuesAndStrings) {
    HostLinkValueMessage message(MSG_SetState);
    message.addValueBin16(1, bytes("00 FF 80")).addValueString(2, std::string("a\0b", 3));
    EXPECT_EQ(hex(message.serialize()), "01 00 02 01 00 C5 03 00 00 FF 80 02 00 C5 03 00 61 00 62");
    bool ok = false;
    EXPECT_EQ(hex(message.getBin16(0, &ok)), "00 FF 80");
    EXPECT_TRUE(ok);
    ok = false;
    EXPECT_EQ(message.getString(1, &ok), std::string("a\0b", 3));
    EXPECT_TRUE(ok);
    ok = false;
    EXPECT_EQ(message.getString(0, &ok), std::string("\0\xFF\x80", 3));
    EXPECT_TRUE(ok);
    Readings binary{};
    binary.bin16 = binary.string = true;
    EXPECT_TRUE(readAll(message, 0) == binary);
}

TEST(ValueMessage, AppendsAnEmptyStringAsAnItemOfFiveBytes) {
    HostLinkValueMessage message(MSG_SetState);
    message.addValueString(0x0102, "");
    EXPECT_EQ(hex(message.serialize()), "01 00 01 02 01 C5 00 00");
    bool ok = false;
    EXPECT_EQ(message.getString(0, &ok), "");
    EXPECT_TRUE(ok);
    ok = false;
    EXPECT_TRUE(message.getBin16(0, &ok).empty());
    EXPECT_TRUE(ok);
}

TEST(ValueMessage, TakesIndexesModulo256) {
    HostLinkValueMessage message(MSG_SetState);
    message.addValueUint8(10, 77).addValueUint8(11, 88);
    bool ok = false;
    for (const int index : {256, 512, -256, 65536, INT_MIN}) {
        EXPECT_EQ(message.getUint8(index, &ok), 77) << index;
        EXPECT_TRUE(ok) << index;
        EXPECT_EQ(message.getTag(index, &ok), 10) << index;
        EXPECT_EQ(message.getEnc(index, &ok), ENC_Uint8) << index;
    }
    EXPECT_EQ(message.getUint8(257, &ok), 88);
    for (const int index : {2, 255, -1, 258, INT_MAX}) expectUnreadable(message, index);
}

// ---- growth

TEST(ValueMessage, GrowsWithTheFifthUint64AndHoldsAllFive) {
    HostLinkValueMessage message(MSG_SetState);
    for (unsigned short i = 0; i < 4; ++i) message.addValueUint64(i, 0x0102030405060700ul + i);
    EXPECT_EQ(message.serialize().size(), 47u);
    EXPECT_EQ(storeSize(message), 50u);
    message.addValueUint64(4, 0x0102030405060704ul);
    EXPECT_EQ(message.serialize().size(), 58u);
    EXPECT_EQ(storeSize(message), 78u);
    EXPECT_EQ(message.size(), 5);
    for (int i = 0; i < 5; ++i) {
        bool ok = false;
        EXPECT_EQ(message.getUint64(i, &ok), 0x0102030405060700ul + static_cast<unsigned long>(i));
        EXPECT_TRUE(ok);
    }
}

TEST(ValueMessage, GrowsOnlyWhenThereIsNoRoom) {
    HostLinkValueMessage message(MSG_SetState);
    message.addValueBin16(1, ByteArray(42, 0)); // 3 + 5 + 42 = 50 bytes
    EXPECT_EQ(message.serialize().size(), 50u);
    EXPECT_EQ(storeSize(message), 50u);
    message.addValueNil(2);
    EXPECT_EQ(message.serialize().size(), 53u);
    EXPECT_EQ(storeSize(message), 78u);
}

TEST(ValueMessage, GrowsByTwiceTheSizeAndSixForABinaryValue) {
    struct Row {
        size_t length;
        size_t store;
    };
    const Row rows[] = {{42, 50}, {43, 50 + 2 * 49}, {100, 50 + 2 * 106}, {1000, 50 + 2 * 1006}};
    for (const Row& row : rows) {
        HostLinkValueMessage binary(MSG_SetState);
        binary.addValueBin16(1, patternBytes(row.length));
        EXPECT_EQ(storeSize(binary), row.store) << row.length;
        bool ok = false;
        EXPECT_EQ(binary.getBin16(0, &ok), patternBytes(row.length));
        HostLinkValueMessage text(MSG_SetState);
        text.addValueString(1, std::string(row.length, 'x'));
        EXPECT_EQ(storeSize(text), row.store) << row.length;
        EXPECT_EQ(text.getString(0, &ok), std::string(row.length, 'x'));
    }
}

TEST(ValueMessage, DropsA256thAppendSilently) {
    HostLinkValueMessage message(MSG_SetState);
    for (int i = 0; i < 255; ++i) message.addValueUint8(1, static_cast<unsigned char>(i));
    EXPECT_EQ(message.size(), 255);
    const ByteArray before = message.serialize();
    EXPECT_EQ(before.size(), 3u + 255 * 4);
    appendEverything(message);
    EXPECT_EQ(message.size(), 255);
    EXPECT_EQ(message.serialize(), before);
    EXPECT_TRUE(message.isValid());
    bool ok = false;
    EXPECT_EQ(message.getUint8(254, &ok), 254);
    EXPECT_TRUE(ok);
}

TEST(ValueMessage, GrowsByFixedStepsUpTo255Items) {
    HostLinkValueMessage message(MSG_SetState);
    for (int i = 0; i < 255; ++i) message.addValueInt64(static_cast<unsigned short>(i), -i);
    EXPECT_EQ(message.size(), 255);
    EXPECT_EQ(message.serialize().size(), 3u + 255 * 11);
    bool ok = false;
    for (int i = 0; i < 255; ++i) {
        EXPECT_EQ(message.getInt64(i, &ok), -i);
        EXPECT_TRUE(ok);
    }
    // 2808 bytes: 50 and the first multiple of 28 that holds them.
    EXPECT_EQ(storeSize(message), 50u + 99 * 28);
}

TEST(ValueMessage, GrowsBytesOfExactSizeByTwentyEightForNil) {
    HostLinkValueMessage message(bytes("01 00 01 02 01 CC 05"));
    EXPECT_TRUE(message.isValid());
    EXPECT_EQ(message.size(), 1);
    EXPECT_EQ(storeSize(message), 7u);
    message.addValueNil(7);
    EXPECT_EQ(hex(message.serialize()), "01 00 02 02 01 CC 05 07 00 C0");
    EXPECT_EQ(storeSize(message), 35u);
}

TEST(ValueMessage, TakesTheSizeOfABinaryValueInSixteenBits) {
    HostLinkValueMessage none(MSG_SetState);
    none.addValueBin16(1, ByteArray(65536, 0xEE));
    EXPECT_EQ(hex(none.serialize()), "01 00 01 01 00 C5 00 00");
    HostLinkValueMessage one(MSG_SetState);
    one.addValueBin16(1, ByteArray(65537, 0xEE));
    EXPECT_EQ(hex(one.serialize()), "01 00 01 01 00 C5 01 00 EE");
}

// With f bytes free, a value of n bytes, which takes n + 5, is appended at once where f ≥ n + 5. Else the store grows
// by 2·(n + 6) and f + 2·n + 12 bytes are free: at most n + 4 + 2·n + 12 = 3·n + 16. They are counted in 16 bits, which
// hold 65535 = 3·21839 + 18: a value of 21839 bytes finds room whatever the message holds. One of 21840
// bytes finds 65536, counted as 0, where 21844 were free.
//
// A message of one value of m bytes that made it grow has 50 + 2·(m + 6) − 3 − (m + 5) = m + 54 bytes free.
TEST(ValueMessage, AppendsABinaryValueOf21839BytesWhateverItHolds) {
    struct Row {
        size_t free;
        size_t length;
        bool added;
    };
    const Row rows[] = {
        {21843, 21839, true},  // grows: 65533 free
        {21844, 21839, true},  // fits as it stands
        {21842, 21839, true},  // grows: 65532 free
        {21843, 21840, true},  // grows: 65535 free
        {21844, 21840, false}, // grows: 65536 free, counted as 0
        {21845, 21840, true},  // fits as it stands
        {21841, 21841, true},  // grows: 65535 free
        {21842, 21841, false}, // grows: 65536 free, counted as 0
        {21845, 21841, false}, // grows: 65539 free, counted as 3
        {21846, 21841, true},  // fits as it stands
    };
    for (const Row& row : rows) {
        HostLinkValueMessage message(MSG_SetState);
        const ByteArray first = patternBytes(row.free - 54);
        message.addValueBin16(1, first);
        message.addValueBin16(2, patternBytes(row.length));
        ASSERT_EQ(message.size(), row.added ? 2 : 1) << row.length << " bytes, " << row.free << " free";
        EXPECT_EQ(message.serialize().size(), 8 + first.size() + (row.added ? 5 + row.length : 0));
        bool ok = false;
        EXPECT_TRUE(message.getBin16(0, &ok) == first) << row.length << " bytes, " << row.free << " free";
        EXPECT_TRUE(message.getBin16(1, &ok) == (row.added ? patternBytes(row.length) : ByteArray{}));
        EXPECT_EQ(ok, row.added);
    }
}

TEST(ValueMessage, AppendsAStringOf21839BytesForAnySpaceLeft) {
    const std::string longest(21839, 'x');
    for (size_t free = 97; free <= 21845; free += 217) { // 97: what 43 bytes leave, the first that grow the store
        HostLinkValueMessage message(MSG_SetState);
        message.addValueBin16(1, ByteArray(free - 54, 0)).addValueString(2, longest);
        bool ok = false;
        EXPECT_TRUE(message.getString(1, &ok) == longest) << free;
        EXPECT_TRUE(ok) << free;
    }
}

// A new message grows from 50 to 50 + 2·(n + 6) bytes for n bytes of data, so 2·n + 59 are free, which are counted in
// 16 bits; the item takes n + 5.
TEST(ValueMessage, DropsABinaryValueWhenTheGrownSpaceWraps) {
    struct Row {
        size_t length;
        bool added;
    };
    const Row rows[] = {
        {32738, true},                  // 65535 free
        {32739, false}, {65481, false}, // 1 and 65485 free in 16 bits: fewer than 32744 and 65486
        {65482, true},  {65506, true},  // 65487 and 65535 free in 16 bits: not fewer than 65487 and 65511
        {65507, false}, {65527, false}, // 1 and 41 free in 16 bits
    };
    for (const Row& row : rows) {
        HostLinkValueMessage message(MSG_SetState);
        message.addValueBin16(1, patternBytes(row.length));
        EXPECT_EQ(message.size(), row.added ? 1 : 0) << row.length;
        EXPECT_EQ(message.serialize().size(), row.added ? 8 + row.length : 3) << row.length;
        EXPECT_TRUE(message.isValid()) << row.length;
        bool ok = !row.added;
        EXPECT_TRUE(message.getBin16(0, &ok) == (row.added ? patternBytes(row.length) : ByteArray{})) << row.length;
        EXPECT_EQ(ok, row.added) << row.length;
    }
}

TEST(ValueMessage, CountsTheItemsOfAMessageLongerThanSixteenBitsCount) {
    // Of 3 + 21805 + 21805 + 21805 = 65418 bytes; then 10 items of 11 and 8 bytes: 65536 in all.
    HostLinkValueMessage message(MSG_SetState);
    for (unsigned short tag = 0; tag < 3; ++tag) message.addValueBin16(tag, ByteArray(21800, 0));
    for (unsigned short tag = 3; tag < 13; ++tag) message.addValueUint64(tag, 0);
    message.addValueString(13, "abc");
    ASSERT_EQ(message.serialize().size(), 65536u);
    EXPECT_EQ(message.size(), 14);
    message.addValueNil(14);
    EXPECT_EQ(message.serialize().size(), 65539u);
    EXPECT_EQ(message.size(), 15);
}

// ---- construction from bytes

TEST(ValueMessage, OfBytesIsValidWhenTheyVerify) {
    struct Row {
        const char* message;
        bool valid;
        int size;
    };
    const Row rows[] = {
        {"", false, 0},
        {"01", false, 0},
        {"01 00", false, 0},
        {"01 00 00", true, 0},
        {"02 80 00", true, 0},
        {"02 00 00", false, 0},
        {"40 00 00", false, 0},
        {"40 80 01 02 01 C0", false, 0},
        {"01 00 01 02 01", false, 0},
        {"01 00 01 02 01 C0", true, 1},
        {"01 00 01 02 01 C0 FF FF", true, 1},
        {"01 00 02 02 01 CC 05 00", false, 0},
        {"01 00 02 02 01 CC 05 00 00", true, 2}, // the items themselves are not looked at
        {"01 00 01 02 01 FF", true, 1},
    };
    for (const Row& row : rows) {
        const HostLinkValueMessage message(bytes(row.message));
        EXPECT_EQ(message.isValid(), row.valid) << row.message;
        EXPECT_EQ(message.size(), row.size) << row.message;
        EXPECT_EQ(hex(message.serialize()), row.message);
        if (!row.valid) expectUnreadable(message, 0);
    }
}

TEST(ValueMessage, OfBytesThatFailToVerifyStaysAsItIs) {
    HostLinkValueMessage message(bytes("02 00 01 10 00"));
    appendEverything(message);
    EXPECT_FALSE(message.isValid());
    EXPECT_EQ(hex(message.serialize()), "02 00 01 10 00");
}

TEST(ValueMessage, CannotReadAnItemThatIsCutOrBehindOne) {
    const HostLinkValueMessage message(bytes("01 00 03 01 00 CC 05 02 00 C8 03 00 CC 07"));
    ASSERT_TRUE(message.isValid());
    bool ok = false;
    EXPECT_EQ(message.getUint8(0, &ok), 5);
    EXPECT_TRUE(ok);
    expectUnreadable(message, 1);
    expectUnreadable(message, 2);
    expectUnreadable(message, 3);
    EXPECT_TRUE(readAll(message, 1) == noneAccepts);
}

TEST(ValueMessage, OwnsACopyOfTheBytes) {
    ByteArray source = bytes("01 00 01 02 01 CC 05");
    const HostLinkValueMessage message(source);
    source.assign(source.size(), 0xFF);
    EXPECT_EQ(hex(message.serialize()), "01 00 01 02 01 CC 05");
}

TEST(ValueMessage, OfMoreBytesThanSixteenBitsCountIsReadByTheLowBits) {
    const ByteArray header = bytes("01 00 01 02 01 CC 05");
    ByteArray message = header;
    message.resize(65536 + 7, 0);
    const HostLinkValueMessage valid(message);
    EXPECT_TRUE(valid.isValid());
    EXPECT_EQ(valid.size(), 1);
    EXPECT_EQ(valid.serialize().size(), 65543u);
    message.resize(65536 + 6, 0);
    const HostLinkValueMessage cut(message);
    EXPECT_TRUE(cut.isValid());
    expectUnreadable(cut, 0); // the value lies behind the counted bytes
    message.resize(65536 + 2, 0);
    EXPECT_FALSE(HostLinkValueMessage(message).isValid());
}

// ---- resize

TEST(ValueMessage, ResizesByTwoBytesAStepAndKeepsItsContent) {
    HostLinkValueMessage message(MSG_SetState);
    message.addValueUint8(0x0102, 5);
    message.resize(3);
    EXPECT_EQ(storeSize(message), 56u);
    message.resize(-10);
    EXPECT_EQ(storeSize(message), 36u);
    message.resize(0);
    EXPECT_EQ(storeSize(message), 36u);
    EXPECT_EQ(hex(message.serialize()), "01 00 01 02 01 CC 05");
    EXPECT_EQ(message.size(), 1);
}

TEST(ValueMessage, GrowsByZeroBytes) {
    HostLinkValueMessage message(bytes("01 00 01 02 01 CC 05"));
    message.resize(-1); // 5 bytes left of 7
    EXPECT_EQ(hex(message.serialize()), "01 00 01 02 01");
    message.resize(1);
    EXPECT_EQ(hex(message.serialize()), "01 00 01 02 01 00 00");
}

TEST(ValueMessage, CutByResizeGivesOnlyWhatItHolds) {
    HostLinkValueMessage message(bytes("01 00 01 02 01 CC 05 EE"));
    message.resize(-1); // 6 of 8 bytes: the header check still passes, the value is gone
    EXPECT_TRUE(message.isValid());
    EXPECT_EQ(message.size(), 1);
    EXPECT_EQ(message.serialize().size(), 6u);
    expectUnreadable(message, 0);
    message.resize(-2); // 2 bytes
    EXPECT_EQ(message.serialize().size(), 2u);
    EXPECT_EQ(message.size(), 0);
    expectUnreadable(message, 0);
    message.resize(-1000);
    EXPECT_TRUE(message.serialize().empty());
    EXPECT_EQ(message.size(), 0);
    EXPECT_TRUE(message.isValid());
    expectUnreadable(message, 0);
}

TEST(ValueMessage, ShrinksAtMostToNothing) {
    HostLinkValueMessage message(MSG_SetState);
    message.resize(INT_MIN);
    EXPECT_TRUE(message.serialize().empty());
    message.resize(2);
    EXPECT_EQ(hex(message.serialize()), "00 00 00"); // 3 bytes used, the 4 new ones are zero
}

TEST(ValueMessage, AppendsNothingWhileItUsesMoreThanItHolds) {
    HostLinkValueMessage message(bytes("01 00 01 02 01 C5 28 00") + ByteArray(40, 0xEE));
    ASSERT_EQ(message.serialize().size(), 48u);
    message.resize(-1000);
    message.addValueUint8(1, 1); // grows to 28 bytes, which are still fewer than 48
    EXPECT_EQ(message.serialize(), ByteArray(28, 0));
    message.addValueUint8(1, 1); // to 56: room for 4 behind the 48
    EXPECT_EQ(hex(message.serialize()), hex(bytes("00 00 01") + ByteArray(45, 0) + bytes("01 00 CC 01")));
}

TEST(ValueMessage, ResizesAnInvalidMessage) {
    HostLinkValueMessage message(MSG_GetState);
    message.resize(10);
    message.resize(-1000);
    EXPECT_FALSE(message.isValid());
    EXPECT_TRUE(message.serialize().empty());
}

// ---- copies

TEST(ValueMessage, CopiesOwnTheirBytes) {
    HostLinkValueMessage original(MSG_SetState);
    original.addValueUint8(1, 5);
    HostLinkValueMessage copy(original);
    copy.addValueUint8(2, 6);
    original.addValueUint8(3, 7);
    EXPECT_EQ(hex(original.serialize()), "01 00 02 01 00 CC 05 03 00 CC 07");
    EXPECT_EQ(hex(copy.serialize()), "01 00 02 01 00 CC 05 02 00 CC 06");
}

TEST(ValueMessage, CopiesOutliveTheOriginal) {
    auto original = std::make_unique<HostLinkValueMessage>(MSG_SetState);
    original->addValueString(1, "text");
    HostLinkValueMessage copy(*original);
    HostLinkValueMessage assigned(MSG_StateChanged);
    assigned = *original;
    original.reset();
    bool ok = false;
    EXPECT_EQ(copy.getString(0, &ok), "text");
    EXPECT_EQ(assigned.getString(0, &ok), "text");
    copy.addValueString(2, std::string(200, 'y'));
    assigned.addValueString(2, std::string(200, 'z'));
    EXPECT_EQ(copy.getString(1, &ok), std::string(200, 'y'));
    EXPECT_EQ(assigned.getString(1, &ok), std::string(200, 'z'));
}

TEST(ValueMessage, CopiesKeepValidityAndStoreSize) {
    HostLinkValueMessage original(MSG_SetState);
    original.resize(7);
    const HostLinkValueMessage copy(original);
    EXPECT_TRUE(copy.isValid());
    EXPECT_EQ(storeSize(copy), 64u);
    HostLinkValueMessage assigned(bytes("01 00 00"));
    assigned = HostLinkValueMessage(MSG_GetState);
    EXPECT_FALSE(assigned.isValid());
    EXPECT_TRUE(assigned.serialize().empty());
}

TEST(ValueMessage, AssignsToItself) {
    HostLinkValueMessage message(MSG_SetState);
    message.addValueUint8(1, 5);
    HostLinkValueMessage& alias = message;
    message = alias;
    EXPECT_EQ(hex(message.serialize()), "01 00 01 01 00 CC 05");
    message = std::move(alias);
    EXPECT_EQ(hex(message.serialize()), "01 00 01 01 00 CC 05");
}

TEST(ValueMessage, MovesItsBytes) {
    HostLinkValueMessage original(MSG_SetState);
    original.addValueUint8(1, 5);
    HostLinkValueMessage moved(std::move(original));
    EXPECT_EQ(hex(moved.serialize()), "01 00 01 01 00 CC 05");
    moved.addValueNil(2);
    HostLinkValueMessage assigned(MSG_StateChanged);
    assigned = std::move(moved);
    EXPECT_EQ(hex(assigned.serialize()), "01 00 02 01 00 CC 05 02 00 C0");
    assigned.addValueString(3, std::string(100, 'x'));
    EXPECT_EQ(assigned.size(), 3);
}

TEST(ValueMessage, AssignedFromHoldsNothingAndMayBeUsed) {
    HostLinkValueMessage original(MSG_SetState);
    original.addValueUint8(1, 5);
    HostLinkValueMessage assigned(MSG_StateChanged);
    assigned.addValueNil(7);
    assigned = std::move(original);
    EXPECT_TRUE(original.serialize().empty()); // NOLINT(bugprone-use-after-move): its state is what is tested
    EXPECT_EQ(original.size(), 0);
    expectUnreadable(original, 0);
    original = HostLinkValueMessage(MSG_SetState);
    original.addValueNil(1);
    EXPECT_EQ(original.size(), 1);
    EXPECT_EQ(hex(assigned.serialize()), "01 00 01 01 00 CC 05");
}

TEST(ValueMessage, MovedFromHoldsNothingAndMayBeUsed) {
    HostLinkValueMessage original(MSG_SetState);
    original.addValueUint8(1, 5);
    HostLinkValueMessage moved(std::move(original));
    EXPECT_TRUE(original.serialize().empty()); // NOLINT(bugprone-use-after-move): its state is what is tested
    EXPECT_EQ(original.size(), 0);
    expectUnreadable(original, 0);
    original.resize(5);
    original = HostLinkValueMessage(MSG_SetState);
    original.addValueNil(1);
    EXPECT_EQ(original.size(), 1);
    HostLinkValueMessage assigned(MSG_StateChanged);
    assigned = std::move(moved);
    EXPECT_TRUE(moved.serialize().empty()); // NOLINT(bugprone-use-after-move): its state is what is tested
    EXPECT_EQ(moved.size(), 0);
    expectUnreadable(moved, 0);
    moved.resize(2);
    EXPECT_TRUE(moved.serialize().empty());
    moved = HostLinkValueMessage(MSG_GetState);
    EXPECT_FALSE(moved.isValid());
    EXPECT_EQ(hex(assigned.serialize()), "01 00 01 01 00 CC 05");
}

TEST(ValueMessage, IsAMessageSerializable) {
    HostLinkValueMessage message(MSG_SetState);
    message.addValueNil(1);
    const HostLinkMessageSerializable& base = message;
    EXPECT_EQ(hex(base.serialize()), "01 00 01 01 00 C0");
    static_assert(std::is_abstract_v<HostLinkMessageSerializable>);
    static_assert(std::has_virtual_destructor_v<HostLinkMessageSerializable>);
    const std::unique_ptr<HostLinkMessageSerializable> owned = std::make_unique<HostLinkValueMessage>(message);
    EXPECT_EQ(hex(owned->serialize()), "01 00 01 01 00 C0");
}
