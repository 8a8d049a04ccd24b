// Messages of 16-bit numbers.
#include <climits>
#include <memory>
#include <utility>

#include <gtest/gtest.h>

#include <hostlink/HostLinkUInt16Message.h>

#include "support/Bytes.h"

namespace {

MessageId messageId(int id) {
    return static_cast<MessageId>(id);
}

/// The store's size, which no method tells: the first shrinking that cuts the message shows it.
/// Exact as long as the message is longer than the step of `resize`, 10, or the size a multiple of it.
size_t storeSize(const HostLinkUInt16Message& message) {
    const size_t used = message.serialize().size();
    for (int steps = 1;; ++steps) {
        HostLinkUInt16Message shrunk(message);
        shrunk.resize(-steps);
        const size_t left = shrunk.serialize().size();
        if (left < used) return left + 10 * static_cast<size_t>(steps);
    }
}

void expectUnreadable(const HostLinkUInt16Message& message, int index) {
    bool ok = true;
    EXPECT_EQ(message.get(index, &ok), 0) << index;
    EXPECT_FALSE(ok) << index;
}

} // namespace

// ---- construction from an id

TEST(UInt16Message, OfAListIdIsValidAndEmpty) {
    for (const int id : {2, 3, 5, 34, 35, 37, 0x8003, 0x8005, 0x8023, 0x8025}) {
        const HostLinkUInt16Message message(messageId(id));
        EXPECT_TRUE(message.isValid()) << id;
        EXPECT_EQ(message.size(), 0) << id;
        EXPECT_EQ(message.serialize().size(), 3u) << id;
        EXPECT_EQ(message.serialize()[0], id & 0xFF) << id;
        EXPECT_EQ(message.serialize()[1], id >> 8) << id;
        EXPECT_EQ(storeSize(message), 50u) << id;
        expectUnreadable(message, 0);
        EXPECT_EQ(message[0], 0) << id;
    }
}

TEST(UInt16Message, OfAVariantIdOrAnIdOutOfRangeIsInvalidAndEmpty) {
    for (const int id : {0, 1, 4, 6, 9, 63, 0x8000, 0x8002, 64, 66, 0x8040, 0xFFFF}) {
        HostLinkUInt16Message message(messageId(id));
        EXPECT_FALSE(message.isValid()) << id;
        EXPECT_EQ(message.size(), 0) << id;
        EXPECT_TRUE(message.serialize().empty()) << id;
        message.addValue(0x1234).addValue(0x5678);
        EXPECT_FALSE(message.isValid()) << id;
        EXPECT_TRUE(message.serialize().empty()) << id;
        expectUnreadable(message, 0);
        EXPECT_EQ(message[0], 0) << id;
    }
}

// ---- appends and getters

TEST(UInt16Message, BuildsTheGetStateMessage) {
    HostLinkUInt16Message message(MSG_GetState);
    EXPECT_EQ(&message.addValue(0x0010).addValue(0x0020), &message);
    EXPECT_EQ(hex(message.serialize()), "02 00 02 10 00 20 00");
    EXPECT_EQ(message.size(), 2);
    bool ok = false;
    EXPECT_EQ(message.get(0, &ok), 0x0010);
    EXPECT_TRUE(ok);
    ok = false;
    EXPECT_EQ(message.get(1, &ok), 0x0020);
    EXPECT_TRUE(ok);
    EXPECT_EQ(message[0], 0x0010);
    EXPECT_EQ(message[1], 0x0020);
    expectUnreadable(message, 2);
}

TEST(UInt16Message, TakesIndexesModulo256) {
    HostLinkUInt16Message message(MSG_GetState);
    message.addValue(0x1111).addValue(0x2222);
    for (const int index : {256, 512, -256, 65536, INT_MIN}) {
        bool ok = false;
        EXPECT_EQ(message.get(index, &ok), 0x1111) << index;
        EXPECT_TRUE(ok) << index;
        EXPECT_EQ(message[index], 0x1111) << index;
    }
    EXPECT_EQ(message[257], 0x2222);
    for (const int index : {2, 255, -1, INT_MAX}) expectUnreadable(message, index);
}

TEST(UInt16Message, SubscriptDoesNotLookAtTheCount) {
    const HostLinkUInt16Message message(bytes("02 00 01 10 00 34 12 56"));
    EXPECT_TRUE(message.isValid());
    EXPECT_EQ(message.size(), 1);
    EXPECT_EQ(message[1], 0x1234);
    expectUnreadable(message, 1);
}

TEST(UInt16Message, SubscriptIsZeroBehindTheStore) {
    const HostLinkUInt16Message message(bytes("02 00 01 10 00 34 12 56"));
    EXPECT_EQ(message[2], 0); // only one of its bytes is there
    EXPECT_EQ(message[3], 0);
    EXPECT_EQ(message[255], 0);
    EXPECT_EQ(message[-1], 0);
    HostLinkUInt16Message built(MSG_GetState);
    EXPECT_EQ(built[23], 0); // bytes 49 and 50 of 50
    EXPECT_EQ(built[255], 0);
}

// ---- growth

TEST(UInt16Message, GrowsWithThe24thItem) {
    HostLinkUInt16Message message(MSG_GetState);
    for (unsigned short i = 0; i < 23; ++i) message.addValue(i);
    EXPECT_EQ(message.serialize().size(), 49u);
    EXPECT_EQ(storeSize(message), 50u);
    message.addValue(23);
    EXPECT_EQ(message.serialize().size(), 51u);
    EXPECT_EQ(storeSize(message), 190u);
    EXPECT_EQ(message.size(), 24);
    for (int i = 0; i < 24; ++i) EXPECT_EQ(message[i], i);
}

TEST(UInt16Message, DropsA256thAppendSilently) {
    HostLinkUInt16Message message(MSG_GetState);
    for (unsigned i = 0; i < 255; ++i) message.addValue(static_cast<unsigned short>(0x0100 + i));
    const ByteArray before = message.serialize();
    EXPECT_EQ(before.size(), 513u);
    message.addValue(0xFFFF);
    EXPECT_EQ(message.size(), 255);
    EXPECT_EQ(message.serialize(), before);
    bool ok = false;
    EXPECT_EQ(message.get(254, &ok), 0x01FE);
    EXPECT_TRUE(ok);
    expectUnreadable(message, 255);
    // 513 bytes: 50 and the first multiple of 140 that holds them.
    EXPECT_EQ(storeSize(message), 50u + 4 * 140);
}

TEST(UInt16Message, OfBytesGrowsBy140WithTheFirstAppend) {
    HostLinkUInt16Message message(bytes("02 00 05 10 00 20 00 30 00 40 00 50 00"));
    EXPECT_EQ(storeSize(message), 13u);
    message.addValue(0x0060);
    EXPECT_EQ(hex(message.serialize()), "02 00 06 10 00 20 00 30 00 40 00 50 00 60 00");
    EXPECT_EQ(storeSize(message), 153u);
}

// ---- construction from bytes

TEST(UInt16Message, OfBytesIsValidWhenTheyVerify) {
    struct Row {
        const char* message;
        bool valid;
        int size;
    };
    const Row rows[] = {
        {"", false, 0},
        {"02", false, 0},
        {"02 00", false, 0},
        {"02 00 00", true, 0},
        {"22 00 00", true, 0},
        {"03 80 00", true, 0},
        {"01 00 00", false, 0},
        {"42 00 00", false, 0},
        {"02 00 01 10", false, 0},
        {"02 00 01 10 00", true, 1},
        {"02 00 02 10 00", false, 0},
        {"02 00 02 10 00 20", false, 0},
        {"02 00 02 10 00 20 00 FF", true, 2},
    };
    for (const Row& row : rows) {
        const HostLinkUInt16Message message(bytes(row.message));
        EXPECT_EQ(message.isValid(), row.valid) << row.message;
        EXPECT_EQ(message.size(), row.size) << row.message;
        EXPECT_EQ(hex(message.serialize()), row.message);
        if (row.valid) continue;
        expectUnreadable(message, 0);
        EXPECT_EQ(message[0], 0) << row.message;
    }
}

TEST(UInt16Message, OfFiveBytesThatDeclareTwoItemsIsInvalid) {
    const HostLinkUInt16Message message(bytes("02 00 02 10 00"));
    EXPECT_FALSE(message.isValid());
    EXPECT_EQ(message[0], 0);
}

TEST(UInt16Message, AppendsToBytesThatFailedToVerifyButHoldAHeader) {
    struct Row {
        const char* message;
        const char* appended;
    };
    const Row rows[] = {
        {"02 00 02 10 00", "02 00 03 10 00 34 12"}, // an item is missing
        {"01 00 00", "01 00 01 34 12"},             // an id of the other kind
        {"40 00 07", "40 00 08 34 12"},             // an id out of range
        {"02 00", "02 00"},                         // no header
        {"", ""},
        {"02 00 FF", "02 00 FF"}, // the count is full
    };
    for (const Row& row : rows) {
        HostLinkUInt16Message message(bytes(row.message));
        EXPECT_EQ(&message.addValue(0x1234), &message);
        EXPECT_EQ(hex(message.serialize()), row.appended);
        EXPECT_FALSE(message.isValid()) << "validity is decided at construction";
        EXPECT_EQ(message.size(), 0);
        expectUnreadable(message, 0);
    }
}

TEST(UInt16Message, OwnsACopyOfTheBytes) {
    ByteArray source = bytes("02 00 01 10 00");
    const HostLinkUInt16Message message(source);
    source.assign(source.size(), 0xFF);
    EXPECT_EQ(hex(message.serialize()), "02 00 01 10 00");
}

// ---- resize

TEST(UInt16Message, ResizesByTenBytesAStepAndKeepsItsContent) {
    HostLinkUInt16Message message(bytes("02 00 04 10 00 20 00 30 00 40 00"));
    message.resize(3);
    EXPECT_EQ(storeSize(message), 41u);
    message.resize(-2);
    EXPECT_EQ(storeSize(message), 21u);
    message.resize(0);
    EXPECT_EQ(storeSize(message), 21u);
    EXPECT_EQ(hex(message.serialize()), "02 00 04 10 00 20 00 30 00 40 00");
    EXPECT_EQ(message.size(), 4);
}

TEST(UInt16Message, CutByResizeGivesOnlyWhatItHolds) {
    HostLinkUInt16Message message(bytes("02 00 05 10 00 20 00 30 00 40 00 50 00 EE"));
    message.resize(-1); // 4 of 14 bytes
    EXPECT_TRUE(message.isValid());
    EXPECT_EQ(hex(message.serialize()), "02 00 05 10");
    EXPECT_EQ(message.size(), 5);
    EXPECT_EQ(message[0], 0);
    expectUnreadable(message, 0);
    message.resize(-1);
    EXPECT_TRUE(message.serialize().empty());
    EXPECT_EQ(message.size(), 0);
    EXPECT_EQ(message[0], 0);
    expectUnreadable(message, 0);
    message.resize(1);
    EXPECT_EQ(message.serialize(), ByteArray(10, 0)); // grown by zeros; 14 bytes are in use
}

TEST(UInt16Message, ShrinksAtMostToNothing) {
    HostLinkUInt16Message message(MSG_GetState);
    message.resize(INT_MIN);
    EXPECT_TRUE(message.serialize().empty());
    message.resize(1);
    EXPECT_EQ(hex(message.serialize()), "00 00 00");
}

TEST(UInt16Message, GrowsAStoreThatWasShrunkToNothingBeforeItAppends) {
    HostLinkUInt16Message message(MSG_GetState);
    message.resize(-1000);
    message.addValue(0x1234); // grows first: there is no byte to count in
    EXPECT_EQ(hex(message.serialize()), "00 00 01 34 12");
}

// ---- copies

TEST(UInt16Message, CopiesOwnTheirBytes) {
    HostLinkUInt16Message original(MSG_GetState);
    original.addValue(1);
    HostLinkUInt16Message copy(original);
    HostLinkUInt16Message assigned(MSG_SubscribeState);
    assigned = original;
    original.addValue(2);
    copy.addValue(3);
    assigned.addValue(4);
    EXPECT_EQ(hex(original.serialize()), "02 00 02 01 00 02 00");
    EXPECT_EQ(hex(copy.serialize()), "02 00 02 01 00 03 00");
    EXPECT_EQ(hex(assigned.serialize()), "02 00 02 01 00 04 00");
}

TEST(UInt16Message, CopiesOutliveTheOriginal) {
    auto original = std::make_unique<HostLinkUInt16Message>(MSG_GetState);
    original->addValue(0x1234);
    HostLinkUInt16Message copy(*original);
    original.reset();
    EXPECT_EQ(copy[0], 0x1234);
    for (unsigned short i = 0; i < 100; ++i) copy.addValue(i);
    EXPECT_EQ(copy.size(), 101);
}

TEST(UInt16Message, CopiesAndMovesKeepValidity) {
    HostLinkUInt16Message message(MSG_GetState);
    message = HostLinkUInt16Message(MSG_SetState);
    EXPECT_FALSE(message.isValid());
    HostLinkUInt16Message copy(MSG_GetState);
    copy = message;
    EXPECT_FALSE(copy.isValid());
    const HostLinkUInt16Message moved(std::move(message));
    EXPECT_FALSE(moved.isValid());
    EXPECT_FALSE(HostLinkUInt16Message(moved).isValid());
}

TEST(UInt16Message, AssignsToItself) {
    HostLinkUInt16Message message(MSG_GetState);
    message.addValue(1);
    HostLinkUInt16Message& alias = message;
    message = alias;
    message = std::move(alias);
    EXPECT_EQ(hex(message.serialize()), "02 00 01 01 00");
}

TEST(UInt16Message, MovesItsBytes) {
    HostLinkUInt16Message original(MSG_GetState);
    original.addValue(1);
    HostLinkUInt16Message moved(std::move(original));
    moved.addValue(2);
    HostLinkUInt16Message assigned(MSG_SubscribeState);
    assigned = std::move(moved);
    assigned.addValue(3);
    EXPECT_EQ(hex(assigned.serialize()), "02 00 03 01 00 02 00 03 00");
    EXPECT_TRUE(moved.serialize().empty()); // NOLINT(bugprone-use-after-move): its state is what is tested
    EXPECT_EQ(moved.size(), 0);
    moved.resize(1);
    moved = HostLinkUInt16Message(MSG_GetState);
    EXPECT_EQ(hex(moved.serialize()), "02 00 00");
}

TEST(UInt16Message, IsAMessageSerializable) {
    const std::unique_ptr<HostLinkMessageSerializable> message = std::make_unique<HostLinkUInt16Message>(MSG_GetState);
    EXPECT_EQ(hex(message->serialize()), "02 00 00");
}
