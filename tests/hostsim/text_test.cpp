// States as people write them, and bytes at the speed of a line.
#include <gtest/gtest.h>

#include <hostsim/LinePacer.h>
#include <hostsim/StateText.h>
#include <items/Items.h>

#include "support/Bytes.h"

using hostlink::Value;
using hostsim::LinePacer;
using hostsim::Time;
using std::chrono::microseconds;

namespace {

/// Encoding and bytes of a value as text: "CC 05"; why, when the text is refused.
std::string valueOf(const std::string& text, uint16_t id = 8, const Value& held = {}) {
    const auto value = hostsim::parseValue(id, text, held);
    if (!value) return value.text();
    const ByteArray message = *hostlink::writeItems(MSG_SetState, {{id, *value}});
    const int header = value->isBinary() ? 8 : 6; // id, count, tag, encoding, and a text's length
    const std::string content = hex(ByteArray(message.begin() + header, message.end()));
    return hex(ByteArray{message[5]}) + (content.empty() ? "" : " " + content);
}

} // namespace

TEST(StateText, ABareNumberTakesTheSmallestEncoding) {
    EXPECT_EQ(valueOf("0"), "CC 00");
    EXPECT_EQ(valueOf("255"), "CC FF");
    EXPECT_EQ(valueOf("256"), "CD 00 01");
    EXPECT_EQ(valueOf("65536"), "CE 00 00 01 00");
    EXPECT_EQ(valueOf("4294967296"), "CF 00 00 00 00 01 00 00 00");
    EXPECT_EQ(valueOf("18446744073709551615"), "CF FF FF FF FF FF FF FF FF");
    EXPECT_EQ(valueOf("-1"), "D0 FF");
    EXPECT_EQ(valueOf("-129"), "D1 7F FF");
    EXPECT_EQ(valueOf("-32769"), "D2 FF 7F FF FF");
    EXPECT_EQ(valueOf("-9223372036854775808"), "D3 00 00 00 00 00 00 00 80");
    EXPECT_EQ(valueOf("0x1F"), "CC 1F");
}

TEST(StateText, ABareNumberKeepsTheEncodingHeldWhereItFits) {
    const Value held = *Value::in(ENC_Uint16, 0);
    EXPECT_EQ(valueOf("5", 8, held), "CD 05 00");
    EXPECT_EQ(valueOf("70000", 8, held), "CE 70 11 01 00");
    EXPECT_EQ(valueOf("-5", 8, held), "D0 FB");
    EXPECT_EQ(valueOf("200", 8, *Value::in(ENC_Int8, 0)), "CC C8");
    EXPECT_EQ(valueOf("5", 8, Value("A")), "CC 05");
}

TEST(StateText, APrefixChoosesTheEncoding) {
    EXPECT_EQ(valueOf("u8:5"), "CC 05");
    EXPECT_EQ(valueOf("u32:5"), "CE 05 00 00 00");
    EXPECT_EQ(valueOf("i8:-128"), "D0 80");
    EXPECT_EQ(valueOf("i64:-1"), "D3 FF FF FF FF FF FF FF FF");
    EXPECT_EQ(valueOf("u64:0xFFFFFFFFFFFFFFFF"), "CF FF FF FF FF FF FF FF FF");
    EXPECT_EQ(valueOf("u8:256"), "256 does not fit Uint8");
    EXPECT_EQ(valueOf("u8:-1"), "-1 does not fit Uint8");
    EXPECT_EQ(valueOf("i8:128"), "128 does not fit Int8");
    EXPECT_EQ(valueOf("i8:-129"), "-129 does not fit Int8");
    EXPECT_EQ(valueOf("u8:"), "'' is not a number");
    EXPECT_EQ(valueOf("u16:x"), "'x' is not a number");
    EXPECT_EQ(valueOf("u64:18446744073709551616").substr(0, 41), "18446744073709551616 does not fit any enc");
}

TEST(StateText, EverythingElseIsText) {
    EXPECT_EQ(valueOf("nil"), "C0");
    EXPECT_EQ(valueOf("text:12"), "C5 31 32");
    EXPECT_EQ(valueOf("text:"), "C5");
    EXPECT_EQ(valueOf("Blue"), "C5 42 6C 75 65");
    EXPECT_EQ(valueOf("a:b"), "C5 61 3A 62");
    EXPECT_EQ(valueOf("18446744073709551616"),
              "C5 31 38 34 34 36 37 34 34 30 37 33 37 30 39 35 35 31 36 31 36"); // one more than 64 bits hold
}

TEST(StateText, ValuesHaveTheNamesOfTheirState) {
    EXPECT_EQ(valueOf("Playing", 0x000B), "CC 02");
    EXPECT_EQ(valueOf("playing", 0x000B), "CC 02");
    EXPECT_EQ(valueOf("Playing", 0x0003), "C5 50 6C 61 79 69 6E 67"); // no value of PowerState
    EXPECT_EQ(valueOf("Playing", 0x000B, *Value::in(ENC_Uint32, 0)), "CE 02 00 00 00");
}

// ---- the line

TEST(LinePacer, WithoutASpeedEverythingArrivesAtOnce) {
    LinePacer line(0);
    line.push(bytes("01 02 03"), Time(5));
    EXPECT_EQ(hex(line.take(Time(5))), "01 02 03");
    EXPECT_TRUE(line.empty());
}

TEST(LinePacer, AByteArrivesWhenItsTenBitsHavePassed) {
    LinePacer line(9600); // 1041.67 us a byte
    line.push(bytes("01 02 03"), microseconds(1000));
    EXPECT_EQ(hex(line.take(microseconds(2041))), "");
    EXPECT_EQ(hex(line.take(microseconds(2042))), "01");
    EXPECT_EQ(hex(line.take(microseconds(4125))), "02 03"); // 1000 + 3125
    EXPECT_TRUE(line.empty());
}

TEST(LinePacer, RoundingDoesNotAddUp) {
    LinePacer line(115200);
    line.push(ByteArray(11520, 1), Time(0)); // one second of bytes
    for (int i = 1; i <= 9999; ++i) line.take(microseconds(100 * i));
    EXPECT_FALSE(line.empty());
    line.take(microseconds(1000000));
    EXPECT_TRUE(line.empty());
}

TEST(LinePacer, BytesBehindOthersWaitForThem) {
    LinePacer line(10000); // 1 ms a byte
    line.push(bytes("01 02"), microseconds(0));
    line.push(bytes("03"), microseconds(500));
    EXPECT_EQ(hex(line.take(microseconds(2999))), "01 02");
    EXPECT_EQ(hex(line.take(microseconds(3000))), "03");
}

TEST(LinePacer, ABusyLineStaysBusyAfterItsLastByteWasTaken) {
    LinePacer line(10000);
    line.push(bytes("01"), microseconds(0));
    line.take(microseconds(1000));
    line.push(bytes("02"), microseconds(1000));
    EXPECT_EQ(hex(line.take(microseconds(1999))), "");
    EXPECT_EQ(hex(line.take(microseconds(2000))), "02");
    line.push(bytes("03"), microseconds(9000)); // after a pause
    EXPECT_EQ(hex(line.take(microseconds(9999))), "");
    EXPECT_EQ(hex(line.take(microseconds(10000))), "03");
}

TEST(LinePacer, TellsWhenSixteenBytesOrAllOfThemHaveArrived) {
    LinePacer line(10000);
    EXPECT_FALSE(line.nextDeadline());
    line.push(ByteArray(20, 7), microseconds(0));
    EXPECT_EQ(line.nextDeadline(), Time(microseconds(16000)));
    EXPECT_EQ(line.take(microseconds(16000)).size(), 16u);
    EXPECT_EQ(line.nextDeadline(), Time(microseconds(20000)));
}
