// Packets and messages as text.
#include <climits>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <hostlink/HostLinkPrinter.h>

#include "objects/CountedSteps.h"
#include "support/Bytes.h"

namespace {

/// Puts `formatToString` back as it was: printing an unknown format adds to it.
class FormatTableGuard {
public:
    FormatTableGuard() : saved(formatToString) {}
    FormatTableGuard(const FormatTableGuard&) = delete;
    FormatTableGuard& operator=(const FormatTableGuard&) = delete;
    ~FormatTableGuard() { formatToString = saved; }

private:
    const std::map<LinkFrameFormat, std::string> saved;
};

std::string print(const std::string& packet) {
    return HostLinkPrinter::print(bytes(packet));
}

std::string printMessage(const std::string& message) {
    return HostLinkPrinter::printHostLinkMessage(bytes(message));
}

/// The dump of one item: that of a message with id, one item and nothing else, without its first two lines.
std::string printItem(int id, const std::string& item) {
    ByteArray message = bytes("00 00 01") + bytes(item);
    message[0] = static_cast<unsigned char>(id & 0xFF);
    message[1] = static_cast<unsigned char>(id >> 8);
    const std::string dump = HostLinkPrinter::printHostLinkMessage(message);
    const size_t second = dump.find('\n') + 1;
    return dump.substr(dump.find('\n', second) + 1);
}

} // namespace

// ---- packets

TEST(Printer, SaysInvalidPacketAndNothingElse) {
    for (const char* packet : {"", "FF", "FF FE 08 00 23 05 00", "FF FE 0A 00 23 05 00 00 00 00",
                               "FF FE 0B 00 23 05 00 00 55 00", "FE FF 0D 00 23 05 00 00 02 00 00 00 00"}) {
        EXPECT_EQ(print(packet), "Invalid packet\n") << packet;
        EXPECT_EQ(HostLinkPrinter::printHostLinkPacket(bytes(packet)), "Invalid packet\n") << packet;
    }
}

TEST(Printer, PrintsAResetPacketAsItsSixHeaderLines) {
    const std::string expected = "0xfeff - sop\n"
                                 "0x0008 - length: 8\n"
                                 "0x21 - flags: last reset\n"
                                 "0x01 - frame id: 1\n"
                                 "0x00 - packet id: 0\n"
                                 "0x00 - padding\n";
    EXPECT_EQ(print("FF FE 08 00 21 01 00 00"), expected);
    EXPECT_EQ(HostLinkPrinter::printHostLinkPacket(bytes("FF FE 08 00 21 01 00 00")), expected);
}

TEST(Printer, PrintsAResponseAsAMessagePacketWithoutAMessage) {
    EXPECT_EQ(print("FF FE 08 00 A3 05 00 00"), "0xfeff - sop\n"
                                                "0x0008 - length: 8\n"
                                                "0xa3 - flags: last ack message\n"
                                                "0x05 - frame id: 5\n"
                                                "0x00 - packet id: 0\n"
                                                "0x00 - padding\n"
                                                "Invalid message id\n");
}

TEST(Printer, PrintsEveryFieldInItsWidth) {
    EXPECT_EQ(HostLinkPrinter::printHostLinkPacket(bytes("FF FE 0B 00 01 FF FE 77 55 66 77")), "0xfeff - sop\n"
                                                                                               "0x000b - length: 11\n"
                                                                                               "0x01 - flags: reset\n"
                                                                                               "0xff - frame id: 255\n"
                                                                                               "0xfe - packet id: 254\n"
                                                                                               "0x00 - padding\n");
    ByteArray longest = bytes("FF FE FF FF 01 0A 0B 00");
    longest.resize(65535);
    EXPECT_EQ(HostLinkPrinter::printHostLinkPacket(longest), "0xfeff - sop\n"
                                                             "0xffff - length: 65535\n"
                                                             "0x01 - flags: reset\n"
                                                             "0x0a - frame id: 10\n"
                                                             "0x0b - packet id: 11\n"
                                                             "0x00 - padding\n");
}

TEST(Printer, NamesFlagsInAscendingOrderAndThenTheFormat) {
    struct Row {
        const char* packet;
        const char* line;
    };
    const Row rows[] = {
        {"FF FE 08 00 03 05 00 00", "0x03 - flags: message\n"},
        {"FF FE 08 00 23 05 00 00", "0x23 - flags: last message\n"},
        {"FF FE 08 00 43 05 00 00", "0x43 - flags: nack message\n"},
        {"FF FE 08 00 63 05 00 00", "0x63 - flags: last nack message\n"},
        {"FF FE 08 00 83 05 00 00", "0x83 - flags: ack message\n"},
        {"FF FE 08 00 E3 05 00 00", "0xe3 - flags: last nack ack message\n"},
        {"FF FE 08 00 FB 05 00 00", "0xfb - flags: last nack ack message\n"},
        {"FF FE 08 00 1A 05 00 00", "0x1a - flags: irq\n"},
        {"FF FE 08 00 C1 05 00 00", "0xc1 - flags: nack ack reset\n"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(HostLinkPrinter::printHostLinkPacket(bytes(row.packet)),
                  "0xfeff - sop\n0x0008 - length: 8\n" + std::string(row.line) +
                      "0x05 - frame id: 5\n0x00 - packet id: 0\n0x00 - padding\n");
    }
}

TEST(Printer, PrintsNoNameForAnUnknownFormatAndRemembersIt) {
    const FormatTableGuard guard;
    struct Row {
        unsigned format;
        const char* packet;
        const char* line;
    };
    const Row rows[] = {
        {0, "FF FE 0D 00 20 05 00 00 02 00 00 00 00", "0x20 - flags: last \n"},
        {4, "FF FE 0D 00 04 05 00 00 02 00 00 00 00", "0x04 - flags: \n"},
        {5, "FF FE 0D 00 E5 05 00 00 02 00 00 00 00", "0xe5 - flags: last nack ack \n"},
        {6, "FF FE 0D 00 46 05 00 00 02 00 00 00 00", "0x46 - flags: nack \n"},
        {7, "FF FE 0D 00 BF 05 00 00 02 00 00 00 00", "0xbf - flags: last ack \n"},
    };
    size_t entries = formatToString.size();
    ASSERT_EQ(entries, 3u);
    for (const Row& row : rows) {
        const std::string expected = "0xfeff - sop\n0x000d - length: 13\n" + std::string(row.line) +
                                     "0x05 - frame id: 5\n0x00 - packet id: 0\n0x00 - padding\n";
        EXPECT_EQ(HostLinkPrinter::printHostLinkPacket(bytes(row.packet)), expected);
        EXPECT_EQ(formatToString.size(), ++entries);
        const auto added = formatToString.find(static_cast<LinkFrameFormat>(row.format));
        ASSERT_NE(added, formatToString.end()) << row.format;
        EXPECT_EQ(added->second, "") << row.format;
        EXPECT_EQ(print(row.packet), expected) << "nothing follows the header, and nothing is added twice";
        EXPECT_EQ(formatToString.size(), entries);
    }
    EXPECT_EQ(formatToString.at(FMT_Message), "message");
}

TEST(Printer, LeavesTheFormatTableAloneForKnownFormatsAndInvalidPackets) {
    print("FF FE 08 00 21 01 00 00");
    print("FF FE 0E 00 22 07 00 00 78 56 34 12 00 00");
    print("FF FE 08 00 23 01 00 00");
    print("FF FE 0A 00 24 01 00 00 00 00");
    HostLinkPrinter::printHostLinkIrqFrame(bytes("FF FE 0E 00 24 07 00 00 78 56 34 12 00 00"));
    EXPECT_EQ(formatToString.size(), 3u);
}

TEST(Printer, PrintsUnknownFormatsFromManyThreads) {
    const FormatTableGuard guard;
    std::vector<std::thread> threads;
    std::vector<std::string> flagLines(8);
    for (size_t i = 0; i < flagLines.size(); ++i) {
        threads.emplace_back([i, &flagLines] {
            ByteArray packet = bytes("FF FE 08 00 00 05 00 00");
            for (int round = 0; round < 50; ++round) {
                packet[4] = static_cast<unsigned char>(i);
                flagLines[i] = HostLinkPrinter::printHostLinkPacket(packet).substr(32, 15);
                packet[4] = static_cast<unsigned char>(7 - i);
                HostLinkPrinter::print(packet);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(flagLines[1], "0x01 - flags: r");
    EXPECT_EQ(flagLines[4], "0x04 - flags: \n");
    EXPECT_EQ(formatToString.size(), 8u);
}

// ---- IRQ packets

TEST(Printer, PrintsThePayloadOfAnIrqPacket) {
    const std::string header = "0xfeff - sop\n"
                               "0x000e - length: 14\n"
                               "0x22 - flags: last irq\n"
                               "0x07 - frame id: 7\n"
                               "0x00 - packet id: 0\n"
                               "0x00 - padding\n";
    EXPECT_EQ(print("FF FE 0E 00 22 07 00 00 78 56 34 12 00 00"), header + "0x12345678 - payload: 305419896\n");
    EXPECT_EQ(print("FF FE 0E 00 22 07 00 00 01 00 00 00 00 00"), header + "0x00000001 - payload: 1\n");
    EXPECT_EQ(print("FF FE 0E 00 22 07 00 00 FF FF FF FF 00 00"), header + "0xffffffff - payload: 4294967295\n");
    EXPECT_EQ(print("FF FE 0E 00 22 07 00 00 00 00 00 00 00 00"), header + "Invalid irq payload\n");
}

TEST(Printer, SaysInvalidIrqPayloadWhenThereIsNone) {
    EXPECT_EQ(print("FF FE 08 00 22 07 00 00"), "0xfeff - sop\n"
                                                "0x0008 - length: 8\n"
                                                "0x22 - flags: last irq\n"
                                                "0x07 - frame id: 7\n"
                                                "0x00 - packet id: 0\n"
                                                "0x00 - padding\n"
                                                "Invalid irq payload\n");
    for (const char* packet : {"", "FF FE 08 00 22 07 00 00", "FE FF 0E 00 22 07 00 00 78 56 34 12 00 00",
                               "FF FE 0E 00 22 07 00 00 00 00 00 00 00 00"}) {
        EXPECT_EQ(HostLinkPrinter::printHostLinkIrqFrame(bytes(packet)), "Invalid irq payload\n") << packet;
    }
}

TEST(Printer, PrintsAnIrqPayloadWhateverTheFormat) {
    EXPECT_EQ(HostLinkPrinter::printHostLinkIrqFrame(bytes("FF FE 0E 00 23 07 00 00 78 56 34 12 00 00")),
              "0x12345678 - payload: 305419896\n");
}

// ---- message packets

TEST(Printer, PrintsTheMessageOfAMessagePacket) {
    EXPECT_EQ(print("FF FE 11 00 23 01 00 00 04 00 01 03 00 CC 0A 00 00"), "0xfeff - sop\n"
                                                                           "0x0011 - length: 17\n"
                                                                           "0x23 - flags: last message\n"
                                                                           "0x01 - frame id: 1\n"
                                                                           "0x00 - packet id: 0\n"
                                                                           "0x00 - padding\n"
                                                                           "0x0004 - message id: StateChangedMessage\n"
                                                                           "0x01 - count: 1\n"
                                                                           "0x0003 - tag: PowerState\n"
                                                                           "0xcc - encoding: Uint8\n"
                                                                           "0x0a - value: Online\n");
}

TEST(Printer, TakesTheTrailerAndBytesBehindThePacketAsMessageBytes) {
    const std::string header = "0xfeff - sop\n"
                               "0x000f - length: 15\n"
                               "0x23 - flags: last message\n"
                               "0x01 - frame id: 1\n"
                               "0x00 - packet id: 0\n"
                               "0x00 - padding\n"
                               "0x0002 - message id: GetStateMessage\n";
    // Two items are declared and one is carried: the trailer reads as the other.
    EXPECT_EQ(print("FF FE 0F 00 23 01 00 00 02 00 02 15 00 00 00"), header + "0x02 - count: 2\n"
                                                                              "0x0015 - state: AudioSourceID\n"
                                                                              "0x0000 - state: Undefined\n");
    // Three are declared: the trailer and the two bytes behind the packet.
    EXPECT_EQ(print("FF FE 0F 00 23 01 00 00 02 00 03 15 00 00 00 03 00"), header + "0x03 - count: 3\n"
                                                                                    "0x0015 - state: AudioSourceID\n"
                                                                                    "0x0000 - state: Undefined\n"
                                                                                    "0x0003 - state: PowerState\n");
}

TEST(Printer, PrintsTheMessageOfAPacketThatIsNotTheFirst) {
    // The payload of a later packet is printed as if a message began there.
    EXPECT_EQ(print("FF FE 0B 00 03 01 02 00 09 00 00"), "0xfeff - sop\n"
                                                         "0x000b - length: 11\n"
                                                         "0x03 - flags: message\n"
                                                         "0x01 - frame id: 1\n"
                                                         "0x02 - packet id: 2\n"
                                                         "0x00 - padding\n"
                                                         "0x0009 - message id: SetLedApi\n");
}

// ---- messages

TEST(Printer, SaysInvalidMessageIdOfIdZeroAndShortMessages) {
    for (const char* message : {"", "01", "00 00", "00 00 00", "00 00 01 03 00 CC 0A"}) {
        EXPECT_EQ(printMessage(message), "Invalid message id\n") << message;
    }
}

TEST(Printer, ChoosesTheBodyByTheMessageId) {
    struct Row {
        const char* id;
        const char* line;
        bool hasBody;
    };
    const Row rows[] = {
        {"01 00", "0x0001 - message id: SetStateMessage\n", true},
        {"02 00", "0x0002 - message id: GetStateMessage\n", true},
        {"03 00", "0x0003 - message id: SubscribeStateMessage\n", true},
        {"04 00", "0x0004 - message id: StateChangedMessage\n", true},
        {"05 00", "0x0005 - message id: UnsubscribeStateMessage\n", true},
        {"06 00", "0x0006 - message id: InputEventMessage\n", true},
        {"07 00", "0x0007 - message id: DataTransfer\n", true},
        {"08 00", "0x0008 - message id: TcpTunnelingMessage\n", true},
        {"09 00", "0x0009 - message id: SetLedApi\n", false},
        {"0A 00", "0x000a - message id: Unknown\n", false},
        {"22 00", "0x0022 - message id: Unknown\n", false},
        {"40 00", "0x0040 - message id: Unknown\n", false},
        {"FF 7F", "0x7fff - message id: Unknown\n", false},
        {"00 80", "0x8000 - message id: UnsupportedMessageResponse\n", false},
        {"01 80", "0x8001 - message id: SetStateResponseMessage\n", true},
        {"02 80", "0x8002 - message id: GetStateResponseMessage\n", true},
        {"03 80", "0x8003 - message id: SubscribeStateResponseMessage\n", true},
        {"04 80", "0x8004 - message id: Unknown\n", false},
        {"05 80", "0x8005 - message id: UnsubscribeStateResponseMessage\n", true},
        {"06 80", "0x8006 - message id: Unknown\n", false},
        {"07 80", "0x8007 - message id: DataTransferResponseMessage\n", true},
        {"08 80", "0x8008 - message id: Unknown\n", false},
        {"09 80", "0x8009 - message id: TcpTunnelingResponseMessage\n", true},
        {"0A 80", "0x800a - message id: Unknown\n", false},
        {"FF FF", "0xffff - message id: Unknown\n", false},
    };
    for (const Row& row : rows) {
        const std::string body = row.hasBody ? "0x00 - count: 0\n" : "";
        EXPECT_EQ(printMessage(std::string(row.id) + " 00"), row.line + body);
        EXPECT_EQ(printMessage(row.id), row.line + body) << "a message without a count has no items";
    }
}

TEST(Printer, PrintsOnlyTheIdOfASetLedApiMessage) {
    EXPECT_EQ(printMessage("09 00 01 00 00 CC 05"), "0x0009 - message id: SetLedApi\n");
}

// ---- lists of states

TEST(Printer, NamesTheStatesOfAList) {
    EXPECT_EQ(printMessage("02 00 02 15 00 08 00"), "0x0002 - message id: GetStateMessage\n"
                                                    "0x02 - count: 2\n"
                                                    "0x0015 - state: AudioSourceID\n"
                                                    "0x0008 - state: Unknown\n");
    EXPECT_EQ(printMessage("05 80 01 16 F3"), "0x8005 - message id: UnsubscribeStateResponseMessage\n"
                                              "0x01 - count: 1\n"
                                              "0xf316 - state: VolumeMode\n");
}

TEST(Printer, PrintsNoItemsOfAListThatFailsToVerify) {
    EXPECT_EQ(printMessage("02 00 02 15 00 08"), "0x0002 - message id: GetStateMessage\n"
                                                 "0x00 - count: 0\n");
}

TEST(Printer, PrintsAListOf255States) {
    ByteArray message = bytes("03 00 FF");
    std::string expected = "0x0003 - message id: SubscribeStateMessage\n0xff - count: 255\n";
    for (int i = 0; i < 255; ++i) {
        message = message + bytes("0C 00");
        expected += "0x000c - state: MetaTitle\n";
    }
    EXPECT_EQ(HostLinkPrinter::printHostLinkMessage(message), expected);
}

// ---- items of value messages

TEST(Printer, PrintsItemsInEveryEncoding) {
    struct Row {
        const char* item;
        const char* lines;
    };
    // State 9, "PlayerVolume", has no named values.
    const Row rows[] = {
        {"09 00 C0", "0xc0 - encoding: Nil\n"},
        {"09 00 C5 00 00", "0xc5 - encoding: Bin16\n0x0000 - size: 0\n"},
        {"09 00 C5 03 00 AA BB CC", "0xc5 - encoding: Bin16\n0x0003 - size: 3\n"},
        {"09 00 CC 00", "0xcc - encoding: Uint8\n0x00 - value: 0\n"},
        {"09 00 CC FF", "0xcc - encoding: Uint8\n0xff - value: 255\n"},
        {"09 00 CD 0A 00", "0xcd - encoding: Uint16\n0x000a - value: 10\n"},
        {"09 00 CD FF FF", "0xcd - encoding: Uint16\n0xffff - value: 65535\n"},
        {"09 00 CE 78 56 34 02", "0xce - encoding: Uint32\n0x02345678 - value: 36984440\n"},
        {"09 00 CE FF FF FF FF", "0xce - encoding: Uint32\n0xffffffff - value: 4294967295\n"},
        {"09 00 CF 0A 00 00 00 00 00 00 00", "0xcf - encoding: Uint64\n0x000000000000000a - value: 10\n"},
        {"09 00 CF FF FF FF FF FF FF FF FF",
         "0xcf - encoding: Uint64\n0xffffffffffffffff - value: 18446744073709551615\n"},
        {"09 00 D0 05", "0xd0 - encoding: Int8\n0x05 - value: 5\n"},
        {"09 00 D0 7F", "0xd0 - encoding: Int8\n0x7f - value: 127\n"},
        {"09 00 D0 FF", "0xd0 - encoding: Int8\n0xffffffff - value: -1\n"}, // widened to 32 bits
        {"09 00 D0 80", "0xd0 - encoding: Int8\n0xffffff80 - value: -128\n"},
        {"09 00 D1 05 00", "0xd1 - encoding: Int16\n0x0005 - value: 5\n"},
        {"09 00 D1 FF FF", "0xd1 - encoding: Int16\n0xffff - value: -1\n"}, // not widened
        {"09 00 D1 00 80", "0xd1 - encoding: Int16\n0x8000 - value: -32768\n"},
        {"09 00 D2 05 00 00 00", "0xd2 - encoding: Int32\n0x00000005 - value: 5\n"},
        {"09 00 D2 FF FF FF FF", "0xd2 - encoding: Int32\n0xffffffff - value: -1\n"},
        {"09 00 D2 00 00 00 80", "0xd2 - encoding: Int32\n0x80000000 - value: -2147483648\n"},
        {"09 00 D3 05 00 00 00 00 00 00 00", "0xd3 - encoding: Int64\n0x0000000000000005 - value: 5\n"},
        {"09 00 D3 FF FF FF FF FF FF FF FF", "0xd3 - encoding: Int64\n0xffffffffffffffff - value: -1\n"},
        {"09 00 D3 00 00 00 00 00 00 00 80",
         "0xd3 - encoding: Int64\n0x8000000000000000 - value: -9223372036854775808\n"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(printItem(MSG_SetState, row.item), "0x0009 - tag: PlayerVolume\n" + std::string(row.lines))
            << row.item;
    }
}

TEST(Printer, NamesValuesInEveryEncoding) {
    struct Row {
        const char* item;
        const char* value;
    };
    const Row rows[] = {
        {"15 00 CC 06", "0x06 - value: VTuner\n"},
        {"15 00 CC 05", "0x05 - value: 5\n"},
        {"15 00 CD 06 00", "0x0006 - value: VTuner\n"},
        {"15 00 CE 06 00 00 00", "0x00000006 - value: VTuner\n"},
        {"15 00 CF 06 00 00 00 00 00 00 00", "0x0000000000000006 - value: VTuner\n"},
        {"15 00 CF 06 00 00 00 01 00 00 00", "0x0000000100000006 - value: VTuner\n"}, // the low 32 bits decide
        {"15 00 D0 06", "0x06 - value: VTuner\n"},
        {"15 00 D1 06 00", "0x0006 - value: VTuner\n"},
        {"15 00 D2 06 00 00 00", "0x00000006 - value: VTuner\n"},
        {"15 00 D3 06 00 00 00 00 00 00 00", "0x0000000000000006 - value: VTuner\n"},
        {"15 00 D3 06 00 00 00 FF FF FF FF", "0xffffffff00000006 - value: VTuner\n"},
        {"26 00 CC 04", "0x04 - value: Next\n"},
        {"26 00 CC 05", "0x05 - value: 5\n"},
        {"26 00 CC 00", "0x00 - value: 0\n"},
        {"26 00 CD 00 08", "0x0800 - value: SeekBytes\n"},
        {"26 00 CE 04 00 00 00", "0x00000004 - value: Next\n"},
        {"26 00 CF 04 00 00 00 00 00 00 00", "0x0000000000000004 - value: Next|Next\n"},
        {"26 00 CF 04 00 00 00 01 00 00 00", "0x0000000100000004 - value: Next|UNDEF_BIT31|Next|UNDEF_BIT63\n"},
        {"26 00 D0 04", "0x04 - value: Next\n"},
        {"26 00 D1 00 01", "0x0100 - value: RepeatAll\n"},
        {"26 00 D1 03 00", "0x0003 - value: 3\n"},
        {"26 00 D2 04 00 00 00", "0x00000004 - value: Next\n"},
        {"26 00 D2 FF FF FF FF", "0xffffffff - value: -1\n"},
        {"26 00 D3 04 00 00 00 00 00 00 00", "0x0000000000000004 - value: Next|Next\n"},
        {"26 00 D3 04 00 00 00 FF FF FF FF", "0xffffffff00000004 - value: Next|UNDEF_BIT31|Next|UNDEF_BIT63\n"},
        {"20 00 CC 00", "0x00 - value: 0\n"},
        {"20 00 CC 01", "0x01 - value: UP\n"},
    };
    for (const Row& row : rows) {
        for (const int id : {0x0001, 0x0004, 0x8001, 0x8002}) {
            const std::string dump = printItem(id, row.item);
            const size_t value = dump.find('\n', dump.find('\n') + 1) + 1;
            EXPECT_EQ(dump.substr(value), row.value) << row.item << " in message " << id;
        }
    }
}

TEST(Printer, NamesTagsByTheMessage) {
    struct Row {
        int id;
        const char* item;
        const char* dump;
    };
    const Row rows[] = {
        {0x0001, "08 00 C0", "0x0008 - tag: Unknown (8)\n0xc0 - encoding: Nil\n"},
        {0x0001, "FF FF CC 01", "0xffff - tag: Unknown (65535)\n0xcc - encoding: Uint8\n0x01 - value: 1\n"},
        {0x0006, "01 00 CC 01", "0x0001 - tag: BUT_KeyPressed\n0xcc - encoding: Uint8\n0x01 - value: 1\n"},
        {0x0006, "03 00 CC 0A", "0x0003 - tag: Unknown (3)\n0xcc - encoding: Uint8\n0x0a - value: 10\n"},
        {0x0007, "02 00 C5 02 00 AA BB", "0x0002 - tag: DTT_Data\n0xc5 - encoding: Bin16\n0x0002 - size: 2\n"},
        {0x0007, "04 00 CE F9 54 FC FE",
         "0x0004 - tag: DTT_DataCRC\n0xce - encoding: Uint32\n0xfefc54f9 - value: 4277949689\n"},
        {0x8007, "02 00 CC 02", "0x0002 - tag: Unknown (2)\n0xcc - encoding: Uint8\n0x02 - value: 2\n"},
        {0x0008, "01 00 CC 03", "0x0001 - tag: TCP_Data\n0xcc - encoding: Uint8\n0x03 - value: TCP_TranferFailed\n"},
        {0x8009, "01 00 CD 00 00", "0x0001 - tag: TCP_Data\n0xcd - encoding: Uint16\n0x0000 - value: TCP_Success\n"},
        {0x8009, "00 00 CC 00", "0x0000 - tag: TCP_Connection\n0xcc - encoding: Uint8\n0x00 - value: 0\n"},
    };
    for (const Row& row : rows) EXPECT_EQ(printItem(row.id, row.item), row.dump) << row.id << ": " << row.item;
}

TEST(Printer, PrintsItemsInOrder) {
    EXPECT_EQ(printMessage("04 00 03 03 00 CC 0A 0C 00 C5 02 00 41 42 0A 00 C0"),
              "0x0004 - message id: StateChangedMessage\n"
              "0x03 - count: 3\n"
              "0x0003 - tag: PowerState\n"
              "0xcc - encoding: Uint8\n"
              "0x0a - value: Online\n"
              "0x000c - tag: MetaTitle\n"
              "0xc5 - encoding: Bin16\n"
              "0x0002 - size: 2\n"
              "0x000a - tag: PlayerPlayTime\n"
              "0xc0 - encoding: Nil\n");
}

TEST(Printer, SaysInvalidTagOfEveryItemThatCannotBeRead) {
    // The second item has encoding 200; the third lies behind it.
    EXPECT_EQ(printMessage("01 00 03 03 00 CC 0A 04 00 C8 05 00 CC 01"), "0x0001 - message id: SetStateMessage\n"
                                                                         "0x03 - count: 3\n"
                                                                         "0x0003 - tag: PowerState\n"
                                                                         "0xcc - encoding: Uint8\n"
                                                                         "0x0a - value: Online\n"
                                                                         "Invalid tag\n"
                                                                         "Invalid tag\n");
    // The only item is cut.
    EXPECT_EQ(printMessage("01 00 01 03 00 CC"), "0x0001 - message id: SetStateMessage\n"
                                                 "0x01 - count: 1\n"
                                                 "Invalid tag\n");
}

TEST(Printer, PrintsNoItemsOfAValueMessageThatFailsToVerify) {
    EXPECT_EQ(printMessage("01 00 02 03 00 CC 0A"), "0x0001 - message id: SetStateMessage\n"
                                                    "0x00 - count: 0\n");
}

TEST(Printer, PrintsAMessageOf255Items) {
    ByteArray message = bytes("01 00 FF");
    std::string expected = "0x0001 - message id: SetStateMessage\n0xff - count: 255\n";
    for (int i = 0; i < 255; ++i) {
        message = message + bytes("07 00 CC 01");
        expected += "0x0007 - tag: PlayerMute\n0xcc - encoding: Uint8\n0x01 - value: 1\n";
    }
    EXPECT_EQ(HostLinkPrinter::printHostLinkMessage(message), expected);
}

TEST(Printer, LeavesItsInputAlone) {
    const ByteArray packet = bytes("FF FE 11 00 23 01 00 00 04 00 01 03 00 CC 0A 00 00");
    const ByteArray copy = packet;
    const std::string once = HostLinkPrinter::print(packet);
    EXPECT_EQ(packet, copy);
    EXPECT_EQ(HostLinkPrinter::print(packet), once);
}

// ---- states

TEST(Printer, SaysInvalidOfEveryState) {
    struct Row {
        int state;
        const char* text;
    };
    const Row rows[] = {{0, "Invalid (0)"},
                        {STA_AudioSourceID, "Invalid (21)"},
                        {STA_VolumeMode, "Invalid (62230)"},
                        {8, "Invalid (8)"},
                        {-1, "Invalid (-1)"},
                        {INT_MAX, "Invalid (2147483647)"},
                        {INT_MIN, "Invalid (-2147483648)"}};
    for (const Row& row : rows) {
        EXPECT_EQ(HostLinkPrinter::printHostLinkState(static_cast<State>(row.state)), row.text);
    }
}

TEST(Printer, WalksOverEachItemOnce) {
    for (const unsigned items : {1u, 10u, 255u}) {
        ByteArray message = {1, 0, static_cast<unsigned char>(items)};
        for (unsigned i = 0; i < items; ++i) message = message + bytes("09 00 CC 05");
        const long before = countedSteps();
        const std::string text = HostLinkPrinter::printHostLinkMessage(message);
        EXPECT_EQ(countedSteps() - before, static_cast<long>(items));
        EXPECT_NE(text.rfind("0x0009 - tag: PlayerVolume\n"), std::string::npos) << text;
    }
}
