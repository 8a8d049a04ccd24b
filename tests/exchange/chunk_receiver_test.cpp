// Receiving a file in chunks; vectors as in the test of the sender.
#include <vector>

#include <gtest/gtest.h>

#include <exchange/ChunkReceiver.h>

#include "support/Bytes.h"

using namespace hostlink::exchange;
using std::chrono::seconds;

namespace {

constexpr char chunk0[] =
    "07 00 05 00 00 C5 01 00 66 06 00 CE 09 00 00 00 01 00 CE 00 00 00 00 02 00 C5 04 00 31 32 33 34 "
    "04 00 CE 28 14 09 C2";
constexpr char chunk1[] = "07 00 03 01 00 CE 01 00 00 00 02 00 C5 04 00 35 36 37 38 04 00 CE 4E 25 54 16";
constexpr char chunk2[] = "07 00 04 01 00 CE 02 00 00 00 02 00 C5 01 00 39 04 00 CE E4 40 FF 31 03 00 C0";
constexpr char damaged1[] = "07 00 03 01 00 CE 01 00 00 00 02 00 C5 04 00 35 36 37 39 04 00 CE 4E 25 54 16";
constexpr char answer0[] = "07 80 02 01 00 CE 00 00 00 00 04 00 CE 28 14 09 C2";
constexpr char answer1[] = "07 80 02 01 00 CE 01 00 00 00 04 00 CE 4E 25 54 16";
constexpr char refused0[] = "07 80 03 01 00 CE 00 00 00 00 04 00 CE 28 14 09 C2 05 00 C0";
constexpr char refused1[] = "07 80 03 01 00 CE 01 00 00 00 04 00 CE 4E 25 54 16 05 00 C0";
constexpr char refused2[] = "07 80 03 01 00 CE 02 00 00 00 04 00 CE E4 40 FF 31 05 00 C0";
constexpr char answer2[] = "07 80 05 01 00 CE 02 00 00 00 04 00 CE E4 40 FF 31 03 00 C0 06 00 CE 09 00 00 00 "
                           "04 00 CE 57 90 F1 AF";

struct Store : ByteSink {
    std::vector<std::string> begun;
    ByteArray content;
    std::vector<ReceivingReport> ended;
    bool wanted = true;
    bool writable = true;

    bool begin(const std::string& name, std::optional<uint32_t> size) override {
        begun.push_back(name + (size ? " " + std::to_string(*size) : ""));
        content.clear();
        return wanted;
    }
    bool write(const uint8_t* data, size_t size) override {
        content.insert(content.end(), data, data + size);
        return writable;
    }
    void end(const ReceivingReport& report) override { ended.push_back(report); }
};

struct Receiving {
    Store store;
    Time now = seconds(100);
    ChunkReceiver receiver{store};

    std::string take(const std::string& message) { return hex(receiver.take(bytes(message), now)); }
    ReceivingEnd end() const { return store.ended.empty() ? static_cast<ReceivingEnd>(-1) : store.ended.back().end; }
};

} // namespace

TEST(ChunkReceiver, StoresAFileAndAnswersEachChunk) {
    Receiving file;
    EXPECT_EQ(file.take(chunk0), answer0);
    EXPECT_TRUE(file.receiver.receiving());
    EXPECT_EQ(file.take(chunk1), answer1);
    EXPECT_TRUE(file.store.ended.empty());
    EXPECT_EQ(file.take(chunk2), answer2);
    EXPECT_EQ(file.store.begun, std::vector<std::string>{"f 9"});
    EXPECT_EQ(hex(file.store.content), "31 32 33 34 35 36 37 38 39");
    ASSERT_EQ(file.store.ended.size(), 1u);
    EXPECT_EQ(file.end(), ReceivingEnd::Complete);
    EXPECT_EQ(file.store.ended[0].name, "f");
    EXPECT_EQ(file.store.ended[0].bytes, 9u);
    EXPECT_EQ(file.store.ended[0].checksum, 0xAFF19057u);
    EXPECT_FALSE(file.receiver.receiving());
    EXPECT_FALSE(file.receiver.deadline());
}

TEST(ChunkReceiver, AChunkThatComesTwiceIsStoredOnce) {
    Receiving file;
    file.take(chunk0);
    EXPECT_EQ(file.take(chunk0), answer0);
    file.take(chunk1);
    EXPECT_EQ(file.take(chunk1), answer1);
    file.take(chunk2);
    EXPECT_EQ(file.take(chunk2), answer2);
    EXPECT_EQ(hex(file.store.content), "31 32 33 34 35 36 37 38 39");
    EXPECT_EQ(file.store.begun.size(), 1u);
    EXPECT_EQ(file.store.ended.size(), 1u);
    EXPECT_EQ(file.store.ended[0].repeated, 2u);
}

TEST(ChunkReceiver, ADamagedChunkIsAnsweredWithItsChecksumAndNotStored) {
    Receiving file;
    file.take(chunk0);
    EXPECT_NE(file.take(damaged1), answer1);
    EXPECT_EQ(file.take(chunk1), answer1);
    file.take(chunk2);
    EXPECT_EQ(hex(file.store.content), "31 32 33 34 35 36 37 38 39");
    EXPECT_EQ(file.store.ended[0].damaged, 1u);
}

TEST(ChunkReceiver, AChunkOutOfSequenceEndsTheFile) {
    Receiving file;
    file.take(chunk0);
    EXPECT_EQ(file.take(chunk2), refused2);
    EXPECT_EQ(file.end(), ReceivingEnd::Aborted);
    EXPECT_EQ(file.take(chunk1), refused1);
}

TEST(ChunkReceiver, AChunkWithoutAFileIsRefused) {
    Receiving file;
    EXPECT_EQ(file.take(chunk1), refused1);
    EXPECT_TRUE(file.store.ended.empty());
}

TEST(ChunkReceiver, AnotherFileEndsTheOneUnderWay) {
    Receiving file;
    file.take(chunk0);
    file.take(chunk1);
    EXPECT_EQ(file.take(chunk0), answer0);
    EXPECT_EQ(file.end(), ReceivingEnd::Aborted);
    EXPECT_EQ(file.store.begun.size(), 2u);
}

TEST(ChunkReceiver, AFileOfOneChunkMayComeAgain) {
    const std::string small =
        "07 00 05 00 00 C5 01 00 66 01 00 CC 00 02 00 C5 04 00 31 32 33 34 04 00 CE 28 14 09 C2 03 00 C0";
    Receiving file;
    file.take(small);
    file.take(small);
    EXPECT_EQ(file.store.begun, (std::vector<std::string>{"f", "f"}));
    EXPECT_EQ(file.store.ended.size(), 2u);
    EXPECT_EQ(file.end(), ReceivingEnd::Complete);
}

TEST(ChunkReceiver, NumbersAreAnsweredInTheirWidthAndMayBeMissing) {
    Receiving file;
    EXPECT_EQ(file.take("07 00 03 00 00 C5 01 00 66 01 00 CC FF 02 00 C5 04 00 31 32 33 34"),
              "07 80 02 01 00 CC FF 04 00 CE 28 14 09 C2");
    EXPECT_EQ(file.take("07 00 02 01 00 CC 00 02 00 C5 04 00 35 36 37 38"),
              "07 80 02 01 00 CC 00 04 00 CE 4E 25 54 16");
    EXPECT_EQ(file.take("07 00 02 02 00 C5 01 00 39 03 00 C0"),
              "07 80 04 04 00 CE E4 40 FF 31 03 00 C0 06 00 CE 09 00 00 00 04 00 CE 57 90 F1 AF");
    EXPECT_EQ(file.end(), ReceivingEnd::Complete);
}

TEST(ChunkReceiver, AnotherNumberOfBytesThanAnnouncedIsDamage) {
    Receiving file;
    file.take(
        "07 00 06 00 00 C5 01 00 66 06 00 CE 05 00 00 00 01 00 CC 00 02 00 C5 04 00 31 32 33 34 04 00 CE 28 14 09 C2 "
        "03 00 C0");
    EXPECT_EQ(file.end(), ReceivingEnd::Damaged);
}

TEST(ChunkReceiver, TheHostMayAbort) {
    Receiving file;
    file.take(chunk0);
    EXPECT_EQ(file.take("07 00 01 05 00 C0"), "07 80 01 05 00 C0");
    EXPECT_EQ(file.end(), ReceivingEnd::Aborted);
}

TEST(ChunkReceiver, CancelIsToldInTheNextAnswer) {
    Receiving file;
    file.take(chunk0);
    file.receiver.cancel();
    EXPECT_EQ(file.end(), ReceivingEnd::Cancelled);
    EXPECT_EQ(file.take(chunk1), refused1);
    EXPECT_EQ(file.take(chunk1), refused1);
    EXPECT_EQ(file.take(chunk0), answer0); // the next file
}

TEST(ChunkReceiver, AFileThatNobodyWantsIsRefused) {
    Receiving file;
    file.store.wanted = false;
    EXPECT_EQ(file.take(chunk0), refused0);
    EXPECT_TRUE(file.store.ended.empty());
}

TEST(ChunkReceiver, BytesThatCannotBeStoredEndTheFile) {
    Receiving file;
    file.take(chunk0);
    file.store.writable = false;
    EXPECT_EQ(file.take(chunk1), refused1);
    EXPECT_EQ(file.end(), ReceivingEnd::Unwritable);
}

TEST(ChunkReceiver, AHostThatFallsSilentEndsTheFile) {
    Receiving file;
    file.take(chunk0);
    EXPECT_EQ(file.receiver.deadline(), Time(seconds(130)));
    file.receiver.advance(seconds(129));
    EXPECT_TRUE(file.store.ended.empty());
    file.receiver.advance(seconds(130));
    EXPECT_EQ(file.end(), ReceivingEnd::Silent);
    file.receiver.advance(seconds(200));
    EXPECT_EQ(file.store.ended.size(), 1u);
}

TEST(ChunkReceiver, AMessageThatCannotBeReadIsUnsupported) {
    Receiving file;
    EXPECT_EQ(file.take("07 00 01 02 00 C5 09 00"), "00 80 00");
}
