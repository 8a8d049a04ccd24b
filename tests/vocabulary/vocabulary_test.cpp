// The tables of names.
#include <algorithm>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <hostlink/HostLinkVocabulary.h>

namespace {

#include "vectors/state_names.inc"
#include "vectors/state_value_names.inc"

using Rows = std::vector<std::pair<long, std::string>>;

/// A table as rows of plain numbers, in its own order.
template <typename Key> Rows rowsOf(const std::map<Key, std::string>& table) {
    Rows rows;
    for (const auto& [number, name] : table) rows.emplace_back(static_cast<long>(number), name);
    return rows;
}

/// The value names of one state, as the vectors have them.
std::map<int32_t, std::string> valueNamesOf(uint16_t state) {
    std::map<int32_t, std::string> names;
    for (const StateValueName& row : stateValueNames) {
        if (row.state == state) names[row.value] = row.name;
    }
    return names;
}

} // namespace

TEST(Vocabulary, NamesFlags) {
    EXPECT_EQ(rowsOf(flagsToString), (Rows{{0x20, "last"}, {0x40, "nack"}, {0x80, "ack"}}));
}

TEST(Vocabulary, NamesFormats) {
    EXPECT_EQ(rowsOf(formatToString), (Rows{{1, "reset"}, {2, "irq"}, {3, "message"}}));
}

TEST(Vocabulary, NamesMessages) {
    const Rows expected = {
        {0x0000, "InvalidMessage"},
        {0x0001, "SetStateMessage"},
        {0x0002, "GetStateMessage"},
        {0x0003, "SubscribeStateMessage"},
        {0x0004, "StateChangedMessage"},
        {0x0005, "UnsubscribeStateMessage"},
        {0x0006, "InputEventMessage"},
        {0x0007, "DataTransfer"},
        {0x0008, "TcpTunnelingMessage"},
        {0x0009, "SetLedApi"},
        {0x8000, "UnsupportedMessageResponse"},
        {0x8001, "SetStateResponseMessage"},
        {0x8002, "GetStateResponseMessage"},
        {0x8003, "SubscribeStateResponseMessage"},
        {0x8005, "UnsubscribeStateResponseMessage"},
        {0x8007, "DataTransferResponseMessage"},
        {0x8009, "TcpTunnelingResponseMessage"},
    };
    EXPECT_EQ(rowsOf(messageIdToString), expected);
}

TEST(Vocabulary, HasNoNameForResponsesThatDoNotExist) {
    for (const int id : {0x8004, 0x8006, 0x8008}) {
        EXPECT_EQ(messageIdToString.count(static_cast<MessageId>(id)), 0u) << id;
    }
}

TEST(Vocabulary, NamesEncodings) {
    const Rows expected = {
        {192, "Nil"},    {197, "Bin16"}, {204, "Uint8"}, {205, "Uint16"}, {206, "Uint32"},
        {207, "Uint64"}, {208, "Int8"},  {209, "Int16"}, {210, "Int32"},  {211, "Int64"},
    };
    EXPECT_EQ(rowsOf(encodingToString), expected);
}

TEST(Vocabulary, NamesLedCommands) {
    EXPECT_EQ(rowsOf(ledApiCmdToString), (Rows{{0, "LED_SetPalette"}, {1, "LED_SetPattern"}}));
}

TEST(Vocabulary, NamesButtons) {
    EXPECT_EQ(rowsOf(buttonStateToString),
              (Rows{{0, "BUT_KeyReleased"}, {1, "BUT_KeyPressed"}, {2, "BUT_KeyRepeated"}}));
}

TEST(Vocabulary, NamesTunnelling) {
    EXPECT_EQ(rowsOf(tcpTunnelingStateToString), (Rows{{0, "TCP_Connection"}, {1, "TCP_Data"}, {2, "TCP_Command"}}));
    ASSERT_EQ(tcpTunnelingStateAndValueToString.size(), 1u);
    ASSERT_EQ(tcpTunnelingStateAndValueToString.count(1), 1u);
    EXPECT_EQ(rowsOf(tcpTunnelingStateAndValueToString.at(1)), (Rows{{0, "TCP_Success"},
                                                                     {1, "TCP_InvalidMessage"},
                                                                     {2, "TCP_InvalidConnection"},
                                                                     {3, "TCP_TranferFailed"},
                                                                     {4, "TCP_InvalidCommand"}}));
}

TEST(Vocabulary, NamesDataTransfer) {
    EXPECT_EQ(rowsOf(dataTransferStateToString), (Rows{{0, "DTT_FileName"},
                                                       {1, "DTT_SequenceNum"},
                                                       {2, "DTT_Data"},
                                                       {3, "DTT_LastChunk"},
                                                       {4, "DTT_DataCRC"},
                                                       {5, "DTT_AbortTransfer"},
                                                       {6, "DTT_FileSize"}}));
}

TEST(Vocabulary, Names126States) {
    Rows expected;
    for (const StateName& row : stateNames) expected.emplace_back(row.id, row.name);
    EXPECT_EQ(expected.size(), 126u);
    EXPECT_EQ(rowsOf(stateToString), expected);
}

TEST(Vocabulary, HasNoNameForStatesInTheGaps) {
    for (const int id :
         {8, 46, 47, 0x38, 0x300, 0x307, 0x30F, 0x322, 0xA00F, 0xA047, 0xF000, 0xF004, 0xF2FF, 0xF317, 0xFFFF}) {
        EXPECT_EQ(stateToString.count(static_cast<uint16_t>(id)), 0u) << id;
    }
}

TEST(Vocabulary, KeepsTheIrregularSpellings) {
    EXPECT_EQ(stateToString.at(STA_AudioBass), "STA_AudioBass");
    EXPECT_EQ(stateToString.at(STA_TelvorDiracFilering), "STA_TelvorDiracFilering");
    EXPECT_EQ(stateToString.at(STA_KorvaAudioInput), "KORVA Audio Input");
    EXPECT_EQ(stateToString.at(STA_KorvaDeviceUpgradeJumpToOffset), "KORVA Device Upgrade Jump to Offset");
    EXPECT_EQ(stateAndValueToString.at(STA_AlexaVoiceServiceState).at(4), "UnrecoverrableError");
}

TEST(Vocabulary, NamesTheValuesOfSixteenStates) {
    std::map<uint16_t, std::map<int32_t, std::string>> expected;
    for (const StateValueName& row : stateValueNames) expected[row.state][row.value] = row.name;
    EXPECT_EQ(expected.size(), 16u);
    EXPECT_EQ(stateAndValueToString.size(), 16u);
    for (const auto& [state, names] : expected) {
        ASSERT_EQ(stateAndValueToString.count(state), 1u) << state;
        EXPECT_EQ(rowsOf(stateAndValueToString.at(state)), rowsOf(names)) << state;
    }
    EXPECT_EQ(valueNamesOf(STA_PowerState), valueNamesOf(STA_NextPowerState));
    EXPECT_EQ(stateAndValueToString.at(STA_AudioSourceID).size(), 48u);
    EXPECT_EQ(stateAndValueToString.at(STA_PlayerControlFlags).size(), 12u);
}

TEST(Vocabulary, HasOneStateOfBitFlags) {
    EXPECT_EQ(stateBitFlag, std::set<uint16_t>{0x0026});
}

TEST(Vocabulary, TellsWhichTablesNameWhichMessage) {
    EXPECT_EQ(messageIdToTagMap.size(), 8u);
    for (const MessageId id : {MSG_SetState, MSG_StateChanged, MSG_SetStateResponse, MSG_GetStateResponse}) {
        ASSERT_EQ(messageIdToTagMap.count(id), 1u) << id;
        EXPECT_EQ(messageIdToTagMap.at(id).tagToString, stateToString) << id;
        EXPECT_EQ(messageIdToTagMap.at(id).tagAndValueToString, stateAndValueToString) << id;
    }
    for (const MessageId id : {MSG_TcpTunneling, MSG_TcpTunnelingResponse}) {
        ASSERT_EQ(messageIdToTagMap.count(id), 1u) << id;
        EXPECT_EQ(messageIdToTagMap.at(id).tagToString, tcpTunnelingStateToString) << id;
        EXPECT_EQ(messageIdToTagMap.at(id).tagAndValueToString, tcpTunnelingStateAndValueToString) << id;
    }
    ASSERT_EQ(messageIdToTagMap.count(MSG_InputEvent), 1u);
    EXPECT_EQ(messageIdToTagMap.at(MSG_InputEvent).tagToString, buttonStateToString);
    EXPECT_TRUE(messageIdToTagMap.at(MSG_InputEvent).tagAndValueToString.empty());
    ASSERT_EQ(messageIdToTagMap.count(MSG_DataTransfer), 1u);
    EXPECT_EQ(messageIdToTagMap.at(MSG_DataTransfer).tagToString, dataTransferStateToString);
    EXPECT_TRUE(messageIdToTagMap.at(MSG_DataTransfer).tagAndValueToString.empty());
}

TEST(Vocabulary, ShowsTheOtherMessagesByNumber) {
    for (const MessageId id : {MSG_Invalid, MSG_GetState, MSG_SubscribeState, MSG_UnsubscribeState, MSG_SetLedApi,
                               MSG_UnsupportedMessageResponse, MSG_SubscribeStateResponse, MSG_UnsubscribeStateResponse,
                               MSG_DataTransferResponse}) {
        EXPECT_EQ(messageIdToTagMap.count(id), 0u) << id;
    }
}

TEST(Vocabulary, CopiesTheTablesThatNameMessages) {
    stateToString[8] = "added later";
    EXPECT_EQ(messageIdToTagMap.at(MSG_SetState).tagToString.count(8), 0u);
    stateToString.erase(8);
    EXPECT_EQ(stateToString.size(), 126u);
}

TEST(Vocabulary, EnumeratorsHaveTheNumbersOfTheTables) {
    EXPECT_EQ(LED_SetPattern, 1);
    EXPECT_EQ(BUT_KeyRepeated, 2);
    EXPECT_EQ(TCP_Command, 2);
    EXPECT_EQ(TCP_InvalidCommand, 4);
    EXPECT_EQ(DTT_DataCRC, 4);
    EXPECT_EQ(DTT_FileSize, 6);
    EXPECT_EQ(STA_Undefined, 0);
    EXPECT_EQ(STA_PowerState, 3);
    EXPECT_EQ(STA_AudioSourceID, 0x15);
    EXPECT_EQ(STA_PlayerControlFlags, 0x26);
    EXPECT_EQ(STA_RoonCustomSignalPath, 0x37);
    EXPECT_EQ(STA_IpAddress, 0x301);
    EXPECT_EQ(STA_TelvorSubMode, 0xA046);
    EXPECT_EQ(STA_VolumeMode, 0xF316);
}
