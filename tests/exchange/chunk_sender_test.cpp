// Sending a file in chunks. Vectors by hand, checksums as in docs/wire-format.md and tests/hostsim/transfer_test.cpp.
#include <algorithm>

#include <gtest/gtest.h>

#include <exchange/ChunkSender.h>

#include "support/Bytes.h"

using namespace hostlink::exchange;
using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

// "123456789" in chunks of four: "1234" 0xC2091428, "5678" 0x1654254E, "9" 0x31FF40E4, all 0xAFF19057.
const ByteArray text = bytes("31 32 33 34 35 36 37 38 39");
constexpr char chunk0[] =
    "07 00 05 00 00 C5 01 00 66 06 00 CE 09 00 00 00 01 00 CE 00 00 00 00 02 00 C5 04 00 31 32 33 34 "
    "04 00 CE 28 14 09 C2";
constexpr char chunk1[] = "07 00 03 01 00 CE 01 00 00 00 02 00 C5 04 00 35 36 37 38 04 00 CE 4E 25 54 16";
constexpr char chunk2[] = "07 00 04 01 00 CE 02 00 00 00 02 00 C5 01 00 39 04 00 CE E4 40 FF 31 03 00 C0";
constexpr char abortion[] = "07 00 01 05 00 C0";
constexpr char answer0[] = "07 80 02 01 00 CE 00 00 00 00 04 00 CE 28 14 09 C2";
constexpr char answer1[] = "07 80 02 01 00 CE 01 00 00 00 04 00 CE 4E 25 54 16";
constexpr char wrong1[] = "07 80 02 01 00 CE 01 00 00 00 04 00 CE 4E 25 54 17";
constexpr char lost1[] = "07 80 03 01 00 CE 01 00 00 00 04 00 CE 4E 25 54 16 05 00 C0"; // refused
constexpr char lost0[] = "07 80 03 01 00 CE 00 00 00 00 04 00 CE 28 14 09 C2 05 00 C0";
constexpr char answer2[] = "07 80 05 01 00 CE 02 00 00 00 04 00 CE E4 40 FF 31 03 00 C0 06 00 CE 09 00 00 00 "
                           "04 00 CE 57 90 F1 AF";
constexpr char wrongTotal[] = "07 80 05 01 00 CE 02 00 00 00 04 00 CE E4 40 FF 31 03 00 C0 06 00 CE 09 00 00 00 "
                              "04 00 CE 57 90 F1 AE";
constexpr char aborted[] = "07 80 01 05 00 C0";
constexpr char unsupported[] = "00 80 00";

struct Text : ByteSource {
    explicit Text(ByteArray bytesToRead = text) : content(std::move(bytesToRead)) {}

    ByteArray content;
    size_t at = 0;
    bool readable = true;
    bool rewindable = true;
    int rewound = 0;

    std::optional<size_t> read(uint8_t* to, size_t room) override {
        if (!readable) return std::nullopt;
        const size_t count = std::min(room, content.size() - at);
        std::copy_n(content.begin() + static_cast<long>(at), count, to);
        at += count;
        return count;
    }
    bool rewind() override {
        ++rewound;
        at = 0;
        return rewindable;
    }
};

SendingOptions options() {
    SendingOptions given;
    given.name = "f";
    given.size = 9;
    given.chunk = 4;
    return given;
}

struct Sending {
    Text source;
    Time now = seconds(100);
    ChunkSender sender;

    explicit Sending(const SendingOptions& given = options(), const ByteArray& content = text)
        : source(content), sender(source, given, now) {}

    // What goes out now; it is accepted.
    std::string out(Delivery delivery = Delivery::Accepted) {
        const auto message = sender.nextMessage(now);
        if (!message) return "";
        sender.sent(delivery, now);
        return hex(*message);
    }
    void in(const std::string& answer) { sender.answered(bytes(answer), now); }
    void pass(Time time) {
        now += time;
        sender.advance(now);
    }
    TransferEnd end() const { return sender.ended() ? sender.report().end : static_cast<TransferEnd>(-1); }
};

} // namespace

TEST(ChunkSender, SendsTheNextChunkWhenTheLastHasBeenAnswered) {
    Sending transfer;
    EXPECT_EQ(transfer.out(), chunk0);
    EXPECT_EQ(transfer.out(), "");
    transfer.in(answer0);
    EXPECT_EQ(transfer.out(), chunk1);
    transfer.in(answer1);
    EXPECT_EQ(transfer.out(), chunk2);
    EXPECT_FALSE(transfer.sender.ended());
    transfer.in(answer2);
    EXPECT_EQ(transfer.end(), TransferEnd::Complete);
    EXPECT_EQ(transfer.sender.report().bytes, 9u);
    EXPECT_EQ(transfer.sender.report().chunks, 3u);
    EXPECT_EQ(transfer.sender.report().checksum, 0xAFF19057u);
    EXPECT_EQ(transfer.sender.report().hostChecksum, 0xAFF19057u);
    EXPECT_EQ(transfer.sender.report().repeated, 0u);
    EXPECT_EQ(transfer.out(), "");
    EXPECT_FALSE(transfer.sender.deadline());
}

// 8 bytes are two chunks, of which the second is the last: nothing of no bytes comes behind.
TEST(ChunkSender, AFullLastChunkIsTheLast) {
    SendingOptions given = options();
    given.size = 8;
    Sending transfer(given, bytes("31 32 33 34 35 36 37 38"));
    transfer.out();
    transfer.in(answer0);
    EXPECT_EQ(transfer.out(), "07 00 04 01 00 CE 01 00 00 00 02 00 C5 04 00 35 36 37 38 04 00 CE 4E 25 54 16 03 00 C0");
}

TEST(ChunkSender, NoBytesAreOneChunk) {
    SendingOptions given = options();
    given.size = 0;
    Sending transfer(given, {});
    EXPECT_EQ(transfer.out(), "07 00 06 00 00 C5 01 00 66 06 00 CE 00 00 00 00 01 00 CE 00 00 00 00 02 00 C5 00 00 "
                              "04 00 CE FF FF FF FF 03 00 C0");
    transfer.in(
        "07 80 05 01 00 CE 00 00 00 00 04 00 CE FF FF FF FF 03 00 C0 06 00 CE 00 00 00 00 04 00 CE FF FF FF FF");
    EXPECT_EQ(transfer.end(), TransferEnd::Complete);
}

TEST(ChunkSender, AStreamWithoutAnEndInSightHasNoSize) {
    SendingOptions given = options();
    given.size.reset();
    Sending transfer(given);
    EXPECT_EQ(transfer.out(), "07 00 04 00 00 C5 01 00 66 01 00 CE 00 00 00 00 02 00 C5 04 00 31 32 33 34 "
                              "04 00 CE 28 14 09 C2");
    EXPECT_FALSE(transfer.sender.progress(transfer.now).total);
}

TEST(ChunkSender, ChunksAreWholeWords) {
    SendingOptions given = options();
    given.chunk = 7;
    Sending seven(given);
    EXPECT_EQ(seven.out(), chunk0);
    given.chunk = 0;
    Sending none(given);
    EXPECT_EQ(none.out(), chunk0);
}

TEST(ChunkSender, AChunkThatArrivedDamagedIsSentAgain) {
    Sending transfer;
    transfer.out();
    transfer.in(answer0);
    EXPECT_EQ(transfer.out(), chunk1);
    transfer.in(wrong1);
    EXPECT_EQ(transfer.out(), chunk1);
    transfer.in(answer1);
    EXPECT_EQ(transfer.out(), chunk2);
    EXPECT_EQ(transfer.sender.report().damaged, 1u);
    EXPECT_EQ(transfer.sender.report().repeated, 1u);
}

TEST(ChunkSender, AnAnswerThatIsMissingIsWaitedForAndTheChunkSentAgain) {
    Sending transfer;
    EXPECT_EQ(transfer.out(), chunk0);
    EXPECT_EQ(transfer.sender.deadline(), transfer.now + seconds(1));
    transfer.pass(milliseconds(999));
    EXPECT_EQ(transfer.out(), "");
    transfer.pass(milliseconds(1));
    EXPECT_EQ(transfer.out(), chunk0);
}

TEST(ChunkSender, WhatTheLinkCouldNotDeliverIsSentAgainAfterAPause) {
    for (const Delivery delivery : {Delivery::Refused, Delivery::Unknown}) {
        Sending transfer;
        EXPECT_EQ(transfer.out(delivery), chunk0);
        EXPECT_EQ(transfer.sender.deadline(), transfer.now + milliseconds(20));
        EXPECT_EQ(transfer.out(), "");
        transfer.pass(milliseconds(20));
        EXPECT_EQ(transfer.out(), chunk0);
    }
}

TEST(ChunkSender, AnswersThatBelongToNoChunkUnderWayAreCountedAndDropped) {
    Sending transfer;
    transfer.in(answer0); // before anything was sent
    EXPECT_EQ(transfer.out(), chunk0);
    transfer.in(answer1);
    transfer.in("07 80 01 04 00 CE 28 14 09 C2"); // without a number
    transfer.in("07 80 02 01");                   // cut short
    EXPECT_EQ(transfer.out(), "");
    transfer.in(answer0);
    transfer.in(answer0); // once more
    EXPECT_EQ(transfer.sender.report().stale, 5u);
    EXPECT_EQ(transfer.out(), chunk1);
}

TEST(ChunkSender, AnAnswerMayBeFasterThanTheLinkSaysThatItHasSent) {
    Sending transfer;
    ASSERT_TRUE(transfer.sender.nextMessage(transfer.now));
    transfer.in(answer0);
    EXPECT_FALSE(transfer.sender.nextMessage(transfer.now)); // one at a time on the link
    transfer.sender.sent(Delivery::Unknown, transfer.now);
    EXPECT_EQ(transfer.out(), chunk1);
    EXPECT_EQ(transfer.sender.report().repeated, 0u);
}

TEST(ChunkSender, GoesOnWithTheSameChunkOnANewLink) {
    Sending transfer;
    transfer.out();
    transfer.in(answer0);
    EXPECT_EQ(transfer.out(Delivery::Unknown), chunk1);
    transfer.sender.linkDown();
    transfer.pass(seconds(5));
    EXPECT_EQ(transfer.out(), "");
    transfer.sender.linkUp(transfer.now);
    EXPECT_EQ(transfer.out(), chunk1);
    transfer.in(answer1);
    EXPECT_EQ(transfer.out(), chunk2);
    EXPECT_EQ(transfer.sender.report().restarts, 0u);
}

TEST(ChunkSender, ALinkThatWasUpAllTheTimeChangesNothing) {
    Sending transfer;
    transfer.out();
    transfer.sender.linkUp(transfer.now);
    EXPECT_EQ(transfer.out(), "");
}

TEST(ChunkSender, WhatWasInFlightWhenTheLinkWentIsWaitedFor) {
    Sending transfer;
    ASSERT_TRUE(transfer.sender.nextMessage(transfer.now));
    transfer.sender.linkDown();
    transfer.sender.linkUp(transfer.now);
    EXPECT_FALSE(transfer.sender.nextMessage(transfer.now));
    transfer.sender.sent(Delivery::Unknown, transfer.now);
    transfer.pass(milliseconds(20));
    EXPECT_EQ(transfer.out(), chunk0);
}

TEST(ChunkSender, BeginsAnewAtAHostThatHasLostTheTransfer) {
    Sending transfer;
    transfer.out();
    transfer.in(answer0);
    transfer.out(Delivery::Unknown);
    transfer.sender.linkDown();
    transfer.sender.linkUp(transfer.now);
    EXPECT_EQ(transfer.out(), chunk1);
    transfer.in(lost1);
    EXPECT_EQ(transfer.out(), chunk0);
    EXPECT_EQ(transfer.sender.report().restarts, 1u);
    EXPECT_EQ(transfer.sender.report().bytes, 0u);
    transfer.in(answer0);
    transfer.out();
    transfer.in(answer1);
    transfer.out();
    transfer.in(answer2);
    EXPECT_EQ(transfer.end(), TransferEnd::Complete);
    EXPECT_EQ(transfer.sender.report().checksum, 0xAFF19057u);
}

TEST(ChunkSender, AHostThatRefusedADamagedNumberHasLostTheTransfer) {
    Sending transfer;
    transfer.out();
    transfer.in(answer0);
    transfer.out();
    transfer.in("07 80 03 01 00 CE 01 01 00 00 04 00 CE 4E 25 54 16 05 00 C0"); // 257 instead of 1
    transfer.pass(seconds(1));
    EXPECT_EQ(transfer.out(), chunk1);
    transfer.in(lost1);
    EXPECT_EQ(transfer.out(), chunk0);
}

TEST(ChunkSender, GivesUpWhenTheHostLosesTheTransferAgainAndAgain) {
    SendingOptions given = options();
    given.restarts = 1;
    Sending transfer(given);
    for (int i = 0; i < 2; ++i) {
        transfer.out();
        transfer.in(answer0);
        transfer.out(Delivery::Unknown);
        transfer.in(lost1);
    }
    EXPECT_EQ(transfer.end(), TransferEnd::Forgotten);
}

TEST(ChunkSender, CannotBeginAnewWithoutTheFirstBytes) {
    Sending transfer;
    transfer.source.rewindable = false;
    transfer.out();
    transfer.in(answer0);
    transfer.out(Delivery::Unknown);
    transfer.in(lost1);
    EXPECT_EQ(transfer.end(), TransferEnd::Forgotten);
    EXPECT_EQ(transfer.source.rewound, 1);
}

TEST(ChunkSender, DataThatCannotBeReadTheSecondTimeEndIt) {
    Sending transfer;
    transfer.out();
    transfer.in(answer0);
    transfer.out(Delivery::Unknown);
    transfer.source.readable = false;
    transfer.in(lost1);
    EXPECT_EQ(transfer.end(), TransferEnd::Unreadable);
}

TEST(ChunkSender, AHostThatRefusesOutOfTheBlueIsBelieved) {
    Sending first;
    first.out();
    first.in(lost0);
    EXPECT_EQ(first.end(), TransferEnd::Refused);

    Sending second;
    second.out();
    second.in(answer0);
    second.out();
    second.in(lost1);
    EXPECT_EQ(second.end(), TransferEnd::Refused);
    EXPECT_EQ(second.sender.report().bytes, 4u);
}

TEST(ChunkSender, AHostThatSaysUnsupportedThriceKnowsNoTransfers) {
    Sending transfer;
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(transfer.out(), chunk0);
        transfer.in(unsupported);
        EXPECT_FALSE(transfer.sender.ended());
        transfer.pass(milliseconds(20));
    }
    transfer.out();
    transfer.in(unsupported);
    EXPECT_EQ(transfer.end(), TransferEnd::Unsupported);
}

TEST(ChunkSender, UnsupportedLaterMeansAChunkThatCouldNotBeRead) {
    Sending transfer;
    transfer.out();
    transfer.in(answer0);
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(transfer.out(), chunk1);
        transfer.in(unsupported);
        transfer.pass(milliseconds(20));
    }
    EXPECT_EQ(transfer.out(), chunk1);
    EXPECT_FALSE(transfer.sender.ended());
}

TEST(ChunkSender, UnsupportedThatAnswersSomethingElseIsDropped) {
    Sending transfer;
    transfer.in(unsupported);
    EXPECT_EQ(transfer.sender.report().stale, 1u);
    EXPECT_EQ(transfer.out(), chunk0);
}

TEST(ChunkSender, AsksForTotalsThatDifferThreeTimes) {
    Sending transfer;
    transfer.out();
    transfer.in(answer0);
    transfer.out();
    transfer.in(answer1);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(transfer.out(), chunk2);
        EXPECT_FALSE(transfer.sender.ended());
        transfer.in(wrongTotal);
        transfer.pass(milliseconds(20));
    }
    EXPECT_EQ(transfer.end(), TransferEnd::Damaged);
    EXPECT_EQ(transfer.sender.report().hostChecksum, 0xAEF19057u);
}

TEST(ChunkSender, ATotalThatSufferedOnTheWayIsAskedForAgain) {
    Sending transfer;
    transfer.out();
    transfer.in(answer0);
    transfer.out();
    transfer.in(answer1);
    transfer.out();
    transfer.in(wrongTotal);
    transfer.pass(milliseconds(20));
    EXPECT_EQ(transfer.out(), chunk2);
    transfer.in(answer2);
    EXPECT_EQ(transfer.end(), TransferEnd::Complete);
}

TEST(ChunkSender, NothingAcknowledgedForAsLongAsThePatienceLastsEndsIt) {
    Sending transfer;
    transfer.out();
    transfer.in(answer0);
    for (int i = 0; i < 30; ++i) {
        EXPECT_EQ(transfer.out(), chunk1);
        EXPECT_FALSE(transfer.sender.ended());
        transfer.pass(seconds(1));
    }
    EXPECT_EQ(transfer.end(), TransferEnd::Unanswered);
    EXPECT_EQ(transfer.sender.report().bytes, 4u);
}

TEST(ChunkSender, PatienceLastsWhileTheLinkIsDown) {
    Sending transfer;
    transfer.sender.linkDown();
    EXPECT_EQ(transfer.sender.deadline(), transfer.now + seconds(30));
    transfer.pass(seconds(29));
    EXPECT_FALSE(transfer.sender.ended());
    transfer.pass(seconds(1));
    EXPECT_EQ(transfer.end(), TransferEnd::Unanswered);
    transfer.sender.linkUp(transfer.now);
    EXPECT_EQ(transfer.out(), "");
}

TEST(ChunkSender, CancelTellsTheHost) {
    Sending transfer;
    transfer.out();
    transfer.sender.cancel(transfer.now);
    EXPECT_EQ(transfer.out(), abortion);
    transfer.in(answer0); // of the chunk
    EXPECT_FALSE(transfer.sender.ended());
    transfer.in(aborted);
    EXPECT_EQ(transfer.end(), TransferEnd::Cancelled);
    transfer.in(answer0);
    transfer.sender.cancel(transfer.now);
    EXPECT_EQ(transfer.end(), TransferEnd::Cancelled);
}

TEST(ChunkSender, CancelBeforeAnythingWasSentTellsNobody) {
    Sending transfer;
    transfer.sender.cancel(transfer.now);
    EXPECT_EQ(transfer.out(), "");
    EXPECT_EQ(transfer.end(), TransferEnd::Cancelled);
}

TEST(ChunkSender, CancelWaitsForNoHostThatIsAway) {
    Sending transfer;
    transfer.out();
    transfer.sender.linkDown();
    transfer.sender.cancel(transfer.now);
    EXPECT_EQ(transfer.end(), TransferEnd::Cancelled);
}

TEST(ChunkSender, CancelEndsWhenTheLinkGoes) {
    Sending transfer;
    transfer.out();
    transfer.sender.cancel(transfer.now);
    transfer.sender.linkDown();
    EXPECT_EQ(transfer.end(), TransferEnd::Cancelled);
}

TEST(ChunkSender, CancelIsSentThreeTimesAtMost) {
    Sending transfer;
    transfer.out();
    transfer.sender.cancel(transfer.now);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(transfer.out(), abortion);
        EXPECT_FALSE(transfer.sender.ended());
        transfer.pass(seconds(1));
    }
    EXPECT_EQ(transfer.end(), TransferEnd::Cancelled);
    EXPECT_EQ(transfer.sender.report().repeated, 0u);
}

TEST(ChunkSender, CancelIsOverWhenTheHostKnowsNoTransfers) {
    Sending transfer;
    transfer.out();
    transfer.sender.cancel(transfer.now);
    transfer.out();
    transfer.in(unsupported);
    EXPECT_EQ(transfer.end(), TransferEnd::Cancelled);
}

TEST(ChunkSender, CancelIsOverWhenPatienceIs) {
    SendingOptions given = options();
    given.patience = milliseconds(500);
    Sending transfer(given);
    transfer.out();
    transfer.sender.cancel(transfer.now);
    transfer.out();
    transfer.pass(milliseconds(500));
    EXPECT_EQ(transfer.end(), TransferEnd::Cancelled);
}

TEST(ChunkSender, DataThatCannotBeReadSendNothing) {
    Text source;
    source.readable = false;
    const ChunkSender sender(source, options(), seconds(1));
    EXPECT_TRUE(sender.ended());
    EXPECT_EQ(sender.report().end, TransferEnd::Unreadable);
}

TEST(ChunkSender, DataThatCannotBeReadOnTheWayTellTheHost) {
    Sending transfer;
    transfer.out();
    transfer.source.readable = false;
    transfer.in(answer0);
    EXPECT_EQ(transfer.out(), abortion);
    transfer.in(aborted);
    EXPECT_EQ(transfer.end(), TransferEnd::Unreadable);
}

TEST(ChunkSender, FewerBytesThanAnnouncedAreUnreadable) {
    SendingOptions given = options();
    given.size = 10;
    Sending transfer(given);
    transfer.out();
    transfer.in(answer0);
    EXPECT_EQ(transfer.out(), abortion);
    transfer.in(aborted);
    EXPECT_EQ(transfer.end(), TransferEnd::Unreadable);
}

TEST(ChunkSender, MoreBytesThanAnnouncedAreUnreadable) {
    SendingOptions given = options();
    given.size = 4;
    const Sending transfer(given);
    EXPECT_EQ(transfer.end(), TransferEnd::Unreadable);
}

TEST(ChunkSender, TellsHowFarItIs) {
    Sending transfer;
    transfer.out();
    transfer.now += seconds(2);
    transfer.in(answer0);
    const TransferProgress progress = transfer.sender.progress(transfer.now);
    EXPECT_EQ(progress.bytes, 4u);
    EXPECT_EQ(progress.total, 9u);
    EXPECT_DOUBLE_EQ(progress.bytesPerSecond, 2);
    EXPECT_EQ(progress.left, Time(milliseconds(2500)));
}
