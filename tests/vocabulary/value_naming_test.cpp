// How the tags and values of value messages are named.
#include <climits>
#include <limits>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include <hostlink/HostLinkPrinter.h>
#include <hostlink/vocabulary/ValueNaming.h>

#include "support/Bytes.h"

namespace {

constexpr uint16_t audioSource = STA_AudioSourceID;
constexpr uint16_t controlFlags = STA_PlayerControlFlags;

/// Gives a value of `PlayerControlFlags` a name for the length of a test, so that values which no single bit makes
/// reach the list of bits.
class TemporaryFlagName {
public:
    TemporaryFlagName(int32_t value, const std::string& name)
        : names(messageIdToTagMap.at(MSG_SetState).tagAndValueToString.at(controlFlags)), saved(names) {
        names[value] = name;
    }
    TemporaryFlagName(const TemporaryFlagName&) = delete;
    TemporaryFlagName& operator=(const TemporaryFlagName&) = delete;
    ~TemporaryFlagName() { names = saved; }

private:
    std::map<int32_t, std::string>& names;
    const std::map<int32_t, std::string> saved;
};

std::string nameTag(MessageId id, uint16_t tag) {
    Text named;
    named += "before ";
    appendTagName(named, parsingOf(id), tag);
    const std::string text = named.string();
    EXPECT_EQ(text.substr(0, 7), "before ");
    return text.substr(7);
}

template <typename T> std::string nameValue(MessageId id, uint16_t tag, T value) {
    Text named;
    named += "before|"; // ends as a list of bits does while it is built
    appendValueName(named, parsingOf(id), tag, value);
    const std::string text = named.string();
    EXPECT_EQ(text.substr(0, 7), "before|");
    return text.substr(7);
}

template <typename T> std::string flags(T value) {
    return nameValue<T>(MSG_SetState, controlFlags, value);
}

template <typename T> std::string source(T value) {
    return nameValue<T>(MSG_SetState, audioSource, value);
}

/// Calls `check` with a zero of each width.
template <typename Check> void forEveryWidth(Check check) {
    check(uint8_t{});
    check(uint16_t{});
    check(uint32_t{});
    check(uint64_t{});
    check(int8_t{});
    check(int16_t{});
    check(int32_t{});
    check(int64_t{});
}

} // namespace

// ---- tags

TEST(TagNaming, TakesTheNameOfTheMessagesTable) {
    EXPECT_EQ(nameTag(MSG_SetState, 0x0015), "AudioSourceID");
    EXPECT_EQ(nameTag(MSG_StateChanged, 0x0003), "PowerState");
    EXPECT_EQ(nameTag(MSG_SetStateResponse, 0xF316), "VolumeMode");
    EXPECT_EQ(nameTag(MSG_GetStateResponse, 0), "Undefined");
    EXPECT_EQ(nameTag(MSG_InputEvent, 1), "BUT_KeyPressed");
    EXPECT_EQ(nameTag(MSG_DataTransfer, 4), "DTT_DataCRC");
    EXPECT_EQ(nameTag(MSG_TcpTunneling, 1), "TCP_Data");
    EXPECT_EQ(nameTag(MSG_TcpTunnelingResponse, 2), "TCP_Command");
}

TEST(TagNaming, SaysUnknownWithTheNumber) {
    EXPECT_EQ(nameTag(MSG_GetState, 0x0015), "Unknown (21)");
    EXPECT_EQ(nameTag(MSG_SetState, 8), "Unknown (8)");
    EXPECT_EQ(nameTag(MSG_SetState, 0xFFFF), "Unknown (65535)");
    EXPECT_EQ(nameTag(MSG_InputEvent, 3), "Unknown (3)");
    EXPECT_EQ(nameTag(MSG_DataTransferResponse, 2), "Unknown (2)");
    EXPECT_EQ(nameTag(static_cast<MessageId>(0x8008), 1), "Unknown (1)");
}

// ---- values

TEST(ValueNaming, NamesAnEnumeratedValueInEveryWidth) {
    forEveryWidth([](auto zero) {
        using T = decltype(zero);
        EXPECT_EQ(source(T{6}), "VTuner");
        EXPECT_EQ(source(T{5}), "5");
        EXPECT_EQ(source(T{50}), "QobuzConnect");
        EXPECT_EQ(source(T{51}), "51");
        EXPECT_EQ(nameValue(MSG_StateChanged, STA_SystemUpState, T{0}), "0");
        EXPECT_EQ(nameValue(MSG_StateChanged, STA_SystemUpState, T{1}), "UP");
        EXPECT_EQ(nameValue(MSG_StateChanged, STA_PowerState, T{10}), "Online");
        EXPECT_EQ(nameValue(MSG_TcpTunnelingResponse, TCP_Data, T{3}), "TCP_TranferFailed");
    });
}

TEST(ValueNaming, ShowsTheNumberWhereNothingNamesIt) {
    forEveryWidth([](auto zero) {
        using T = decltype(zero);
        EXPECT_EQ(nameValue<T>(MSG_GetState, audioSource, T{6}), "6") << "no tables for this message";
        EXPECT_EQ(nameValue<T>(MSG_DataTransferResponse, audioSource, T{6}), "6");
        EXPECT_EQ(nameValue<T>(MSG_SetState, STA_PlayerVolume, T{77}), "77") << "no value names for this tag";
        EXPECT_EQ(nameValue<T>(MSG_SetState, 8, T{77}), "77") << "no such tag";
        EXPECT_EQ(nameValue<T>(MSG_InputEvent, BUT_KeyPressed, T{1}), "1") << "no value names for this message";
        EXPECT_EQ(nameValue<T>(MSG_DataTransfer, DTT_SequenceNum, T{1}), "1");
        EXPECT_EQ(nameValue<T>(MSG_TcpTunneling, TCP_Connection, T{0}), "0");
    });
}

TEST(ValueNaming, ShowsTheLimitsOfEveryWidthInDecimal) {
    EXPECT_EQ(source<uint8_t>(255), "255");
    EXPECT_EQ(source<uint16_t>(65535), "65535");
    EXPECT_EQ(source<uint32_t>(4294967295u), "4294967295");
    EXPECT_EQ(source<uint64_t>(18446744073709551615u), "18446744073709551615");
    EXPECT_EQ(source<int8_t>(-128), "-128");
    EXPECT_EQ(source<int8_t>(-1), "-1");
    EXPECT_EQ(source<int16_t>(-32768), "-32768");
    EXPECT_EQ(source<int32_t>(INT_MIN), "-2147483648");
    EXPECT_EQ(source<int64_t>(LONG_MIN + 5), "-9223372036854775803");
    EXPECT_EQ(nameValue<uint64_t>(MSG_GetState, 1, 18446744073709551615u), "18446744073709551615");
    EXPECT_EQ(nameValue<int64_t>(MSG_GetState, 1, LONG_MIN), "-9223372036854775808");
}

TEST(ValueNaming, ComparesSixtyFourBitValuesByTheirLowThirtyTwoBits) {
    EXPECT_EQ(source<uint64_t>(0x100000006u), "VTuner");
    EXPECT_EQ(source<uint64_t>(0xFFFFFFFF00000006u), "VTuner");
    EXPECT_EQ(source<uint64_t>(0x100000005u), "4294967301");
    EXPECT_EQ(source<int64_t>(0x100000006), "VTuner");
    EXPECT_EQ(source<int64_t>(-4294967290), "VTuner");
    EXPECT_EQ(source<int64_t>(LONG_MIN), "Unknown");
    EXPECT_EQ(source<int64_t>(-4294967291), "-4294967291");
}

// ---- bit flags

TEST(ValueNaming, NamesASingleFlagInEveryWidthThatHoldsIt) {
    const std::pair<unsigned, const char*> rows[] = {
        {1, "Pause"},       {2, "Stop"},       {4, "Next"},         {8, "Previous"},
        {16, "Like"},       {32, "Dislike"},   {64, "Shuffle"},     {128, "RepeatOne"},
        {256, "RepeatAll"}, {512, "SeekTime"}, {1024, "SeekTrack"}, {2048, "SeekBytes"},
    };
    for (const auto& row : rows) {
        const unsigned bit = row.first;
        const std::string name = row.second;
        if (bit <= 128) {
            EXPECT_EQ(flags(static_cast<uint8_t>(bit)), name);
        }
        if (bit <= 64) {
            EXPECT_EQ(flags(static_cast<int8_t>(bit)), name);
        }
        EXPECT_EQ(flags(static_cast<uint16_t>(bit)), name);
        EXPECT_EQ(flags(static_cast<int16_t>(bit)), name);
        EXPECT_EQ(flags(static_cast<uint32_t>(bit)), name);
        EXPECT_EQ(flags(static_cast<int32_t>(bit)), name);
        // Bits 32 to 63 test the low bits again.
        EXPECT_EQ(flags(static_cast<uint64_t>(bit)), name + "|" + name);
        EXPECT_EQ(flags(static_cast<int64_t>(bit)), name + "|" + name);
    }
}

TEST(ValueNaming, ShowsSeveralFlagsAsANumber) {
    forEveryWidth([](auto zero) {
        using T = decltype(zero);
        EXPECT_EQ(flags(T{5}), "5");
        EXPECT_EQ(flags(T{3}), "3");
        EXPECT_EQ(flags(T{0}), "0");
        EXPECT_EQ(flags(T{127}), "127");
    });
    EXPECT_EQ(flags<uint16_t>(4096), "4096");
    EXPECT_EQ(flags<uint32_t>(0x80000000u), "2147483648");
    EXPECT_EQ(flags<int8_t>(-1), "-1");
    EXPECT_EQ(flags<int64_t>(-1), "-1");
    EXPECT_EQ(flags<uint64_t>(0x100000000u), "4294967296"); // its low bits are 0, which has no name
}

TEST(ValueNaming, ListsBit31And63ForAnyBitAbove31) {
    EXPECT_EQ(flags<uint64_t>(0x100000004u), "Next|UNDEF_BIT31|Next|UNDEF_BIT63");
    EXPECT_EQ(flags<uint64_t>(0x8000000000000001u), "Pause|UNDEF_BIT31|Pause|UNDEF_BIT63");
    EXPECT_EQ(flags<uint64_t>(0xFFFFFFFF00000800u), "SeekBytes|UNDEF_BIT31|SeekBytes|UNDEF_BIT63");
    EXPECT_EQ(flags<int64_t>(0x100000004), "Next|UNDEF_BIT31|Next|UNDEF_BIT63");
    EXPECT_EQ(flags<int64_t>(-4294967292), "Next|UNDEF_BIT31|Next|UNDEF_BIT63"); // 0xFFFFFFFF00000004
}

TEST(ValueNaming, ListsTheBitsOfANamedValue) {
    const TemporaryFlagName three(3, "both");
    EXPECT_EQ(flags<uint8_t>(3), "Pause|Stop");
    EXPECT_EQ(flags<int8_t>(3), "Pause|Stop");
    EXPECT_EQ(flags<uint16_t>(3), "Pause|Stop");
    EXPECT_EQ(flags<int16_t>(3), "Pause|Stop");
    EXPECT_EQ(flags<uint32_t>(3), "Pause|Stop");
    EXPECT_EQ(flags<int32_t>(3), "Pause|Stop");
    EXPECT_EQ(flags<uint64_t>(3), "Pause|Stop|Pause|Stop");
    EXPECT_EQ(flags<int64_t>(3), "Pause|Stop|Pause|Stop");
}

TEST(ValueNaming, ListsBitsWithoutANameByTheirIndex) {
    const TemporaryFlagName wide(0x1001, "wide");
    EXPECT_EQ(flags<uint16_t>(0x1001), "Pause|UNDEF_BIT12");
    EXPECT_EQ(flags<int32_t>(0x1001), "Pause|UNDEF_BIT12");
    EXPECT_EQ(flags<uint64_t>(0x1001), "Pause|UNDEF_BIT12|Pause|UNDEF_BIT44");
}

TEST(ValueNaming, SaysNoneOfANamedValueWithoutBits) {
    const TemporaryFlagName zero(0, "nothing set");
    forEveryWidth([](auto none) { EXPECT_EQ(flags(none), "None"); });
    // All low bits are 0; those above show as bit 31 and 63.
    EXPECT_EQ(flags<uint64_t>(0x100000000u), "UNDEF_BIT31|UNDEF_BIT63");
}

TEST(ValueNaming, ListsTheBitsOfTheWidthOnly) {
    const TemporaryFlagName all(-1, "all");
    EXPECT_EQ(flags<int8_t>(-1), "Pause|Stop|Next|Previous|Like|Dislike|Shuffle|RepeatOne");
    EXPECT_EQ(flags<int16_t>(-1), "Pause|Stop|Next|Previous|Like|Dislike|Shuffle|RepeatOne|RepeatAll|SeekTime|"
                                  "SeekTrack|SeekBytes|UNDEF_BIT12|UNDEF_BIT13|UNDEF_BIT14|UNDEF_BIT15");
    const std::string wide = flags<uint32_t>(0xFFFFFFFFu);
    EXPECT_EQ(wide.substr(wide.size() - 24), "|UNDEF_BIT30|UNDEF_BIT31");
}

TEST(ValueNaming, LooksUpBit31AsItStands) {
    const TemporaryFlagName top(INT_MIN, "Top");
    EXPECT_EQ(flags<uint32_t>(0x80000000u), "Top");
    EXPECT_EQ(flags<int32_t>(INT_MIN), "Top");
    EXPECT_EQ(flags<uint64_t>(0x80000000u), "Top|Top");
    EXPECT_EQ(flags<int64_t>(INT_MIN), "Top|Top");
}

// What the printer makes of flags, for each width that a message can carry.
TEST(PrintedFlags, AreListedInEachWidth) {
    struct Width {
        const char* encoding;
        size_t bytes;
        const char* second; // name of the second bit that is set
        size_t secondByte;
        unsigned char secondBit;
    };
    const Width widths[] = {
        {"CC", 1, "Shuffle", 0, 0x40},     {"CD", 2, "UNDEF_BIT15", 1, 0x80}, {"CE", 4, "UNDEF_BIT16", 2, 0x01},
        {"CF", 8, "UNDEF_BIT17", 2, 0x02}, {"D0", 1, "Dislike", 0, 0x20},     {"D1", 2, "UNDEF_BIT12", 1, 0x10},
        {"D2", 4, "UNDEF_BIT18", 2, 0x04}, {"D3", 8, "UNDEF_BIT19", 2, 0x08},
    };
    for (const Width& width : widths) {
        const TemporaryFlagName noneSet(0, "Nothing");
        ByteArray message = bytes("01 00 01 26 00") + bytes(width.encoding) + ByteArray(width.bytes, 0);
        const auto endsWith = [&](const std::string& end) {
            const std::string text = HostLinkPrinter::printHostLinkMessage(message);
            return text.size() > end.size() && text.substr(text.size() - end.size()) == end;
        };
        EXPECT_TRUE(endsWith(" - value: None\n")) << width.encoding;

        unsigned char* const value = message.data() + message.size() - width.bytes;
        value[0] = 0x01;
        value[width.secondByte] |= width.secondBit;
        int32_t number = 0;
        for (size_t i = 0; i < width.bytes && i < sizeof number; ++i)
            number |= static_cast<int32_t>(uint32_t{value[i]} << 8 * i);
        // A signed value of two bytes that is negative would be another number; none here is.
        const TemporaryFlagName bothSet(number, "Both");
        const std::string repeated = width.bytes == 8 ? "|" : "\n"; // the upper half tests the same bits again
        const std::string text = HostLinkPrinter::printHostLinkMessage(message);
        EXPECT_NE(text.find(std::string(" - value: Pause|") + width.second + repeated), std::string::npos) << text;
    }
}
