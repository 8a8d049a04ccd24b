// What tunnels look like on the wire. The checksums come from a bitwise CRC in Python over what docs/wire-format.md
// names.
#include <string>

#include <gtest/gtest.h>

#include <exchange/TunnelMessages.h>

#include "support/Bytes.h"

using namespace hostlink::exchange;

namespace {

constexpr char openOne[] =
    "08 00 05 00 00 CD 01 00 02 00 CC 01 02 00 CE 00 00 00 00 01 00 C5 00 00 02 00 CE CE D9 A0 82";
constexpr char hello[] = "08 00 05 00 00 CD 01 00 02 00 CC 02 02 00 CE 00 00 00 00 01 00 C5 05 00 48 65 6C 6C 6F "
                         "02 00 CE E1 2C 74 37";
constexpr char taken[] = "09 80 05 00 00 CD 01 00 01 00 CC 00 02 00 CE 05 00 00 00 02 00 CD FB 3F 02 00 CE CF D8 8F 56";

} // namespace

TEST(TunnelMessages, ARequestToOpenHasNoData) {
    EXPECT_EQ(hex(writeTunnelRequest({1, TunnelCommand::Open, 0, nullptr, 0})), openOne);
    const auto request = readTunnelRequest(bytes(openOne));
    ASSERT_TRUE(request);
    EXPECT_EQ(request->command, TunnelCommand::Open);
    EXPECT_EQ(request->connection, 1);
    EXPECT_EQ(request->size, 0u);
}

TEST(TunnelMessages, DataHaveTheirPosition) {
    const ByteArray text = bytes("48 65 6C 6C 6F");
    EXPECT_EQ(hex(writeTunnelRequest({1, TunnelCommand::Data, 0, text.data(), text.size()})), hello);
    const ByteArray message = bytes(hello);
    const auto request = readTunnelRequest(message);
    ASSERT_TRUE(request);
    EXPECT_EQ(hex(request->data, request->size), "48 65 6C 6C 6F");
    EXPECT_EQ(request->position, 0u);
}

// 16384 − 5 bytes are free.
TEST(TunnelMessages, AnAnswerSaysWhatIsExpectedNextAndHowMuchRoomThereIs) {
    EXPECT_EQ(hex(writeTunnelAnswer({1, TCP_Success, 5, 16379})), taken);
    const auto answer = readTunnelAnswer(bytes(taken));
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->connection, 1);
    EXPECT_EQ(answer->result, TCP_Success);
    EXPECT_EQ(answer->position, 5u);
    EXPECT_EQ(answer->room, 16379);
}

// Every byte of a message, turned into every other.
TEST(TunnelMessages, NothingOfThemChangesUnseen) {
    for (const std::string wire : {openOne, hello, taken}) {
        const ByteArray good = bytes(wire);
        for (size_t at = 0; at < good.size(); ++at)
            for (unsigned change = 1; change < 256; ++change) {
                ByteArray bad = good;
                bad[at] = static_cast<unsigned char>(bad[at] ^ change);
                const bool request = readTunnelRequest(bad).has_value();
                const bool answer = readTunnelAnswer(bad).has_value();
                // The id says only which of the two it is to be read as.
                EXPECT_FALSE(at >= 2 && (request || answer)) << wire << " at " << at << " by " << change;
            }
    }
}

TEST(TunnelMessages, OneIsNotTakenForTheOther) {
    EXPECT_FALSE(readTunnelRequest(bytes(taken)));
    EXPECT_FALSE(readTunnelAnswer(bytes(hello)));
}

TEST(TunnelMessages, ItemsMissingOrCutShortAreNone) {
    EXPECT_FALSE(readTunnelRequest(bytes("08 00 01 00 00 CD 01 00")));
    EXPECT_FALSE(readTunnelRequest(bytes("08 00 01 00 00 CD 01")));
    EXPECT_FALSE(readTunnelAnswer(bytes("09 80 02 00 00 CD 01 00 01 00 CC 00")));
    EXPECT_FALSE(readTunnelAnswer(bytes("09 80 02 00 00 CD")));
}

TEST(TunnelMessages, TheConnectionIsReadWithoutAChecksum) {
    EXPECT_EQ(connectionOf(bytes("08 00 01 00 00 CD 01 02")), 513);
    EXPECT_FALSE(connectionOf(bytes("08 00 01 01 00 CD 01 02")));
    EXPECT_FALSE(connectionOf(bytes("08 00 00")));
    EXPECT_FALSE(connectionOf(bytes("08 00 01")));
}
