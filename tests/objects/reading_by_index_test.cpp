// Reading the items of a value message by index: what the getters remember of the last reading is seen by nobody.
#include <atomic>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <hostlink/HostLinkValueMessage.h>

#include "CountedSteps.h"
#include "support/Bytes.h"

namespace {

constexpr int allItems = 255;

/// The tag of an item is its index and so is its value; binary items are sometimes longer than a byte can tell.
HostLinkValueMessage messageOf(int items) {
    HostLinkValueMessage message(MSG_SetState);
    for (int i = 0; i < items; ++i) {
        const auto tag = static_cast<unsigned short>(i);
        switch (i % 5) {
        case 0: message.addValueUint8(tag, static_cast<unsigned char>(i)); break;
        case 1: message.addValueInt16(tag, static_cast<short>(i)); break;
        case 2: message.addValueBin16(tag, ByteArray(static_cast<size_t>(i % 3 == 0 ? 300 : i % 7), 0xA5)); break;
        case 3: message.addValueUint64(tag, static_cast<unsigned long>(i)); break;
        default: message.addValueNil(tag); break;
        }
    }
    return message;
}

/// What the core says of the item, which it looks for from the first one on.
bool coreReads(const ByteArray& bytes, int index, HostLinkVariant* item) {
    ByteArray copy(bytes);
    const auto size = static_cast<uint32_t>(copy.size());
    const HostLinkLL buffer{copy.data(), size, size};
    return hostLinkMessageVariantGetItem(&buffer, static_cast<uint8_t>(index), item) == HOSTLINK_SUCCESS;
}

/// Expects of `message`, which holds `bytes`, that it says of one item what the core does.
void expectItem(const HostLinkValueMessage& message, const ByteArray& bytes, int index) {
    HostLinkVariant item{};
    const bool there = message.isValid() && coreReads(bytes, index, &item);
    bool ok = !there;
    EXPECT_EQ(message.getTag(index, &ok), there ? item.tag : 0) << index;
    EXPECT_EQ(ok, there) << index;
    EXPECT_EQ(message.getEnc(index, &ok), there ? item.encoding : 0) << index;
    EXPECT_EQ(ok, there) << index;
    const bool isByte = there && item.encoding == ENC_Uint8;
    EXPECT_EQ(message.getUint8(index, &ok), isByte ? item.value.bytes[0] : 0) << index;
    EXPECT_EQ(ok, isByte) << index;
    const bool isBinary = there && item.encoding == ENC_Bin16;
    EXPECT_EQ(message.getBin16(index, &ok).size(), isBinary ? item.value.bin16.firstLength : 0u) << index;
    EXPECT_EQ(ok, isBinary) << index;
}

void expectItems(const HostLinkValueMessage& message, const ByteArray& bytes) {
    for (int i = 0; i <= allItems; ++i) expectItem(message, bytes, i);
}

/// Reads one item, so that the message knows where it stands.
const HostLinkValueMessage& readAt(const HostLinkValueMessage& message, int index) {
    bool ok = false;
    EXPECT_EQ(message.getTag(index, &ok), index);
    EXPECT_TRUE(ok);
    return message;
}

} // namespace

TEST(ReadingByIndex, InTurnWalksOverEachItemOnce) {
    const HostLinkValueMessage message = messageOf(allItems);
    const long before = countedSteps();
    for (int i = 0; i < allItems; ++i) readAt(message, i);
    const long steps = countedSteps() - before;
    EXPECT_GE(steps, allItems) << "each is read";
    EXPECT_LE(steps, 2 * allItems) << "and at most one is skipped for each";
}

TEST(ReadingByIndex, OfTheSameItemAgainWalksOverNoOther) {
    const HostLinkValueMessage message = messageOf(allItems);
    readAt(message, 200);
    const long before = countedSteps();
    for (int i = 0; i < 10; ++i) readAt(message, 200);
    EXPECT_EQ(countedSteps() - before, 0);
}

TEST(ReadingByIndex, SaysTheSameInAnyOrder) {
    const HostLinkValueMessage message = messageOf(allItems);
    const ByteArray bytes = message.serialize();
    expectItems(message, bytes);
    for (int i = allItems; i >= 0; --i) expectItem(message, bytes, i);
    std::mt19937 random(14);
    for (int i = 0; i < 1000; ++i) expectItem(message, bytes, static_cast<int>(random() % 600) - 40);
}

TEST(ReadingByIndex, SaysTheSameOfBytesThatAreNoMessage) {
    std::mt19937 random(41);
    const unsigned char encodings[] = {ENC_Nil, ENC_Uint8, ENC_Int16, ENC_Uint32, ENC_Int64, ENC_Bin16, 0xC1, 0xD4, 0};
    for (int run = 0; run < 300; ++run) {
        ByteArray bytes = {1, 0, static_cast<unsigned char>(random() % 9)};
        for (int i = 0; i < 8; ++i) {
            bytes.insert(bytes.end(), {static_cast<unsigned char>(i), 0, encodings[random() % sizeof encodings]});
            const auto value = static_cast<size_t>(random() % 9);
            for (size_t k = 0; k < value; ++k) bytes.push_back(static_cast<unsigned char>(random() % 4));
        }
        bytes.resize(3 + random() % (bytes.size() - 2));
        const HostLinkValueMessage message(bytes);
        for (int i = 0; i < 40; ++i) expectItem(message, bytes, static_cast<int>(random() % 11));
    }
}

TEST(ReadingByIndex, GoesOnBehindAnItemThatTheMessageLacks) {
    const HostLinkValueMessage message = messageOf(3);
    readAt(message, 1);
    bool ok = true;
    message.getTag(3, &ok);
    EXPECT_FALSE(ok);
    message.getTag(255, &ok);
    EXPECT_FALSE(ok);
    readAt(message, 2);
    readAt(message, 0);
}

TEST(ReadingByIndex, FindsWhatWasAppendedSince) {
    HostLinkValueMessage message = messageOf(3);
    readAt(message, 2);
    message.addValueUint8(3, 33);
    bool ok = false;
    EXPECT_EQ(message.getUint8(3, &ok), 33);
    EXPECT_TRUE(ok);
    message.addValueString(4, std::string(400, 'x'));
    EXPECT_EQ(message.getString(4, &ok), std::string(400, 'x'));
    EXPECT_TRUE(ok);
    expectItems(message, message.serialize());
}

TEST(ReadingByIndex, ReadsNothingOfAMessageThatAShrunkStoreCuts) {
    ByteArray ten = bytes("01 00 0A");
    for (int i = 0; i < 10; ++i) ten = ten + bytes("00 00 CC 05");
    HostLinkValueMessage message(ten);
    bool ok = false;
    EXPECT_EQ(message.getUint8(0, &ok), 5);
    message.resize(-5); // 33 bytes: ten items may still be in them
    EXPECT_EQ(message.getUint8(0, &ok), 5);
    EXPECT_TRUE(ok);
    message.resize(-1); // 31 bytes: ten items cannot
    EXPECT_EQ(message.getUint8(0, &ok), 0);
    EXPECT_FALSE(ok);
    message.resize(6);
    EXPECT_EQ(message.getUint8(0, &ok), 5);
    EXPECT_EQ(message.getTag(8, &ok), 0) << "what was cut has come back as zeros";
    EXPECT_FALSE(ok);
}

TEST(ReadingByIndex, OfACopyBeginsAnew) {
    const HostLinkValueMessage message = messageOf(20);
    readAt(message, 13);
    const HostLinkValueMessage copy(message);
    const long before = countedSteps();
    readAt(copy, 13);
    EXPECT_EQ(countedSteps() - before, 14);
    expectItems(copy, message.serialize());
}

TEST(ReadingByIndex, OfAnAssignedMessageBeginsAnew) {
    HostLinkValueMessage other(MSG_SetState);
    other.addValueNil(7).addValueUint8(8, 1).addValueUint8(9, 2); // the second stands where no item of messageOf does
    HostLinkValueMessage copied = messageOf(20);
    readAt(copied, 1);
    copied = other;
    HostLinkValueMessage moved = messageOf(20);
    readAt(moved, 1);
    moved = HostLinkValueMessage(other);
    for (const HostLinkValueMessage* message : {&copied, &moved}) {
        bool ok = false;
        EXPECT_EQ(message->getTag(1, &ok), 8);
        EXPECT_TRUE(ok);
        expectItems(*message, other.serialize());
    }
}

TEST(ReadingByIndex, OfAMessageThatWasMovedFromReadsNothing) {
    HostLinkValueMessage message = messageOf(20);
    readAt(message, 13);
    const HostLinkValueMessage taker(std::move(message));
    readAt(taker, 13);
    bool ok = true;
    message.getTag(13, &ok); // NOLINT(bugprone-use-after-move): that it has no bytes is the promise
    EXPECT_FALSE(ok);
    readAt(message = messageOf(20), 13);
    HostLinkValueMessage assigned(MSG_SetState);
    assigned = std::move(message);
    message.getTag(13, &ok); // NOLINT(bugprone-use-after-move): the same
    EXPECT_FALSE(ok);
    readAt(assigned, 13);
}

TEST(ReadingByIndex, ByTwoThreadsAtOnceReadsTheSame) {
    const HostLinkValueMessage message = messageOf(allItems);
    std::atomic<int> ready{0};
    std::atomic<int> wrong{0};
    const auto read = [&](int first, int step) {
        ++ready;
        while (ready < 2) std::this_thread::yield();
        for (int round = 0; round < 20; ++round) {
            for (int n = 0, i = first; n < allItems; ++n, i = (i + step) % allItems) {
                bool ok = false;
                if (message.getTag(i, &ok) != i || !ok) ++wrong;
            }
        }
    };
    std::thread forwards(read, 0, 1);
    std::thread backwards(read, allItems - 1, allItems - 1);
    forwards.join();
    backwards.join();
    EXPECT_EQ(wrong, 0);
}

TEST(ValueMessage, TakesOverBytesThatNobodyNeeds) {
    ByteArray given = bytes("01 00 01 02 01 CC 05");
    const HostLinkValueMessage message(std::move(given));
    EXPECT_TRUE(given.empty()); // NOLINT(bugprone-use-after-move): that it is empty is the promise
    bool ok = false;
    EXPECT_EQ(message.getUint8(0, &ok), 5);
    EXPECT_TRUE(ok);
    EXPECT_EQ(message.serialize(), bytes("01 00 01 02 01 CC 05"));
    EXPECT_FALSE(HostLinkValueMessage(bytes("02 00 01 02 01 CC 05")).isValid());
}
