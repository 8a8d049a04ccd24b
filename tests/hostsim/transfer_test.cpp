// The receiving end of a file. The checksums come from a bitwise CRC in Python: polynomial 0x04C11DB7, not reflected,
// initial register 0xFFFFFFFF, no final XOR, every four bytes fed in reverse, the end padded with zeros.
#include <gtest/gtest.h>

#include <hostsim/HostApplication.h>

#include "support/Bytes.h"

using hostsim::HostApplication;

namespace {

// "1234" 0xC2091428, "5678" 0x1654254E, "9" 0x31FF40E4, "12345678" 0xFEFC54F9, "123456789" 0xAFF19057
constexpr char first[] = "07 00 03 00 00 C5 01 00 66 01 00 CD 00 00 02 00 C5 04 00 31 32 33 34"; // name "f", number 0
constexpr char firstAnswer[] = "07 80 02 01 00 CD 00 00 04 00 CE 28 14 09 C2";
constexpr char second[] = "07 00 02 01 00 CD 01 00 02 00 C5 04 00 35 36 37 38";
constexpr char secondAnswer[] = "07 80 02 01 00 CD 01 00 04 00 CE 4E 25 54 16";
constexpr char last[] = "07 00 03 01 00 CD 02 00 02 00 C5 01 00 39 03 00 C0"; // "9", DTT_LastChunk
constexpr char lastAnswer[] = "07 80 05 01 00 CD 02 00 04 00 CE E4 40 FF 31 03 00 C0 06 00 CE 09 00 00 00 "
                              "04 00 CE 57 90 F1 AF"; // 9 bytes, checksum of the file

struct Host {
    HostApplication app;

    std::string ask(const std::string& message) {
        const std::vector<ByteArray> answers = app.handle(bytes(message));
        return answers.size() == 1 ? hex(answers[0]) : std::to_string(answers.size()) + " answers";
    }
};

} // namespace

TEST(DataTransfer, EachChunkIsAnsweredWithItsChecksumAndTheLastWithThatOfTheFile) {
    Host host;
    EXPECT_EQ(host.ask(first), firstAnswer);
    EXPECT_EQ(host.ask(second), secondAnswer);
    EXPECT_EQ(host.ask(last), lastAnswer);
}

TEST(DataTransfer, ARepeatedChunkIsAnsweredAgainAndCountedOnce) {
    Host host;
    host.ask(first);
    EXPECT_EQ(host.ask(second), secondAnswer);
    EXPECT_EQ(host.ask(second), secondAnswer);
    EXPECT_EQ(host.ask(last), lastAnswer);
    EXPECT_EQ(host.ask(last), lastAnswer);
}

TEST(DataTransfer, ARepeatedFirstChunkBeginsAnew) {
    Host host;
    host.ask(first);
    EXPECT_EQ(host.ask(first), firstAnswer);
    host.ask(second);
    EXPECT_EQ(host.ask(last), lastAnswer);
}

TEST(DataTransfer, ADamagedChunkIsNotTakenAndMayComeAgain) {
    Host host;
    host.ask(first);
    // "5679" with the checksum of "5678": the answer shows what the host makes of the data
    const std::string damaged = "07 00 03 01 00 CD 01 00 02 00 C5 04 00 35 36 37 39 04 00 CE 4E 25 54 16";
    EXPECT_NE(host.ask(damaged), secondAnswer);
    EXPECT_EQ(host.ask("07 00 03 01 00 CD 01 00 02 00 C5 04 00 35 36 37 38 04 00 CE 4E 25 54 16"), secondAnswer);
    EXPECT_EQ(host.ask(last), lastAnswer);
}

TEST(DataTransfer, AChunkOutOfSequenceEndsTheTransfer) {
    Host host;
    host.ask(first);
    EXPECT_EQ(host.ask(last), "07 80 03 01 00 CD 02 00 04 00 CE E4 40 FF 31 05 00 C0");
    EXPECT_EQ(host.ask(second), "07 80 03 01 00 CD 01 00 04 00 CE 4E 25 54 16 05 00 C0");
}

TEST(DataTransfer, AChunkWithoutATransferIsRefused) {
    Host host;
    EXPECT_EQ(host.ask(second), "07 80 03 01 00 CD 01 00 04 00 CE 4E 25 54 16 05 00 C0");
}

TEST(DataTransfer, AbortDropsTheTransfer) {
    Host host;
    host.ask(first);
    EXPECT_EQ(host.ask("07 00 01 05 00 C0"), "07 80 01 05 00 C0");
    EXPECT_EQ(host.ask(second), "07 80 03 01 00 CD 01 00 04 00 CE 4E 25 54 16 05 00 C0");
}

TEST(DataTransfer, TheSequenceNumberWrapsInItsOwnWidth) {
    Host host;
    EXPECT_EQ(host.ask("07 00 03 00 00 C5 01 00 66 01 00 CC FF 02 00 C5 04 00 31 32 33 34"),
              "07 80 02 01 00 CC FF 04 00 CE 28 14 09 C2");
    EXPECT_EQ(host.ask("07 00 02 01 00 CC 00 02 00 C5 04 00 35 36 37 38"), "07 80 02 01 00 CC 00 04 00 CE 4E 25 54 16");
}

TEST(DataTransfer, AnEmptyFileIsOneMessageWithoutData) {
    Host host;
    EXPECT_EQ(host.ask("07 00 02 00 00 C5 01 00 66 03 00 C0"),
              "07 80 03 03 00 C0 06 00 CE 00 00 00 00 04 00 CE FF FF FF FF");
}
