// What the simulated host answers to messages.
#include <gtest/gtest.h>

#include <hostsim/HostApplication.h>

#include "support/Bytes.h"

using hostsim::HostApplication;
using hostsim::HostStates;

namespace {

using Texts = std::vector<std::string>;

Texts asText(const std::vector<ByteArray>& messages) {
    Texts texts;
    for (const ByteArray& message : messages) texts.push_back(hex(message));
    return texts;
}

/// A host without any state, asked in hex text.
struct Host {
    HostApplication app{HostStates{}};

    Texts ask(const std::string& message) { return asText(app.handle(bytes(message))); }
};

const char unsupported[] = "00 80 00";

} // namespace

TEST(HostApplication, SetStateIsAnsweredWithTheValuesHeld) {
    Host host;
    // PlayerVolume (9) Uint8 5, MetaTitle (0x000C) Bin16 "Hi"
    EXPECT_EQ(host.ask("01 00 02 09 00 CC 05 0C 00 C5 02 00 48 69"),
              Texts{"01 80 02 09 00 CC 05 0C 00 C5 02 00 48 69"});
}

TEST(HostApplication, GetStateGivesEachIdInOrderAndNilForTheUnknown) {
    Host host;
    host.ask("01 00 01 09 00 CC 05");
    EXPECT_EQ(host.ask("02 00 03 08 00 09 00 08 00"), Texts{"02 80 03 08 00 C0 09 00 CC 05 08 00 C0"});
}

TEST(HostApplication, AStateKeepsTheEncodingInWhichItCame) {
    Host host;
    host.ask("01 00 01 09 00 D1 FE FF");
    EXPECT_EQ(host.ask("02 00 01 09 00"), Texts{"02 80 01 09 00 D1 FE FF"});
    host.ask("01 00 01 09 00 CF 01 02 03 04 05 06 07 08");
    EXPECT_EQ(host.ask("02 00 01 09 00"), Texts{"02 80 01 09 00 CF 01 02 03 04 05 06 07 08"});
}

TEST(HostApplication, SubscribedStatesAreToldWhenTheyChange) {
    Host host;
    EXPECT_EQ(host.ask("03 00 02 09 00 0B 00"), Texts{"03 80 02 09 00 0B 00"});
    // 9 and 0x0B change and are subscribed to, 7 is not
    EXPECT_EQ(host.ask("01 00 03 09 00 CC 05 07 00 CC 01 0B 00 CC 02"),
              (Texts{"01 80 03 09 00 CC 05 07 00 CC 01 0B 00 CC 02", "04 00 02 09 00 CC 05 0B 00 CC 02"}));
}

TEST(HostApplication, AStateSetToTheValueThatItHasIsNoChange) {
    Host host;
    host.ask("03 00 01 09 00");
    host.ask("01 00 01 09 00 CC 05");
    EXPECT_EQ(host.ask("01 00 01 09 00 CC 05"), Texts{"01 80 01 09 00 CC 05"});
}

TEST(HostApplication, TheSameNumberInAnotherEncodingIsAChange) {
    Host host;
    host.ask("03 00 01 09 00");
    host.ask("01 00 01 09 00 CC 05");
    EXPECT_EQ(host.ask("01 00 01 09 00 CD 05 00"), (Texts{"01 80 01 09 00 CD 05 00", "04 00 01 09 00 CD 05 00"}));
}

TEST(HostApplication, WhatAnAnswerHasNoRoomForIsLeftOut) {
    Host host;
    host.app.setState(9, ByteArray(40000, 1));
    host.app.setState(10, ByteArray(40000, 2));
    const auto answers = host.app.handle(bytes("02 00 02 09 00 0A 00"));
    ASSERT_EQ(answers.size(), 1u);
    EXPECT_EQ(hex(ByteArray(answers[0].begin(), answers[0].begin() + 9)), "02 80 01 09 00 C5 40 9C 01");
    EXPECT_EQ(answers[0].size(), 40008u);
}

TEST(HostApplication, UnsubscribedStatesAreNotToldAnyMore) {
    Host host;
    host.ask("03 00 02 09 00 0B 00");
    EXPECT_EQ(host.ask("05 00 01 09 00"), Texts{"05 80 01 09 00"});
    EXPECT_EQ(host.ask("01 00 02 09 00 CC 05 0B 00 CC 02"),
              (Texts{"01 80 02 09 00 CC 05 0B 00 CC 02", "04 00 01 0B 00 CC 02"}));
}

TEST(HostApplication, AResetEndsEverySubscription) {
    Host host;
    host.ask("03 00 01 09 00");
    host.app.moduleReset();
    EXPECT_EQ(host.ask("01 00 01 09 00 CC 05"), Texts{"01 80 01 09 00 CC 05"});
}

TEST(HostApplication, TheHostsOwnChangesAreToldToSubscribersOnly) {
    Host host;
    const hostlink::Value volume = 0x2A;
    EXPECT_TRUE(host.app.setState(9, volume).empty());
    host.ask("03 00 01 09 00");
    EXPECT_TRUE(host.app.setState(9, volume).empty()); // no change
    EXPECT_EQ(asText(host.app.setState(9, 0x2B)), Texts{"04 00 01 09 00 CC 2B"});
}

TEST(HostApplication, AMessageWithOneUnreadableItemHasNoEffect) {
    Host host;
    host.ask("03 00 01 09 00");
    EXPECT_EQ(host.ask("01 00 02 09 00 CC 05 0B 00 CC"), Texts{unsupported});    // the second value is missing
    EXPECT_EQ(host.ask("01 00 02 09 00 CC 05 0B 00 C8 02"), Texts{unsupported}); // 0xC8 is no encoding
    EXPECT_EQ(host.ask("02 00 01 09 00"), Texts{"02 80 01 09 00 C0"});
}

TEST(HostApplication, UnsupportedRequestsAreNamedSo) {
    Host host;
    for (const char* message : {"09 00 01 00 00 CC 01", // SetLedApi
                                "00 00 00", "0A 00 00", "FF 7F 00", "", "01", "02 00", "02 00 02 09 00", "03 00 01"})
        EXPECT_EQ(host.ask(message), Texts{unsupported}) << message;
}

TEST(HostApplication, WhatTellsAndAsksNothingIsNotAnswered) {
    Host host;
    EXPECT_TRUE(host.ask("04 00 01 09 00 CC 01").empty()); // StateChanged: the host holds the states
    EXPECT_EQ(host.ask("02 00 01 09 00"), Texts{"02 80 01 09 00 C0"});
    EXPECT_TRUE(host.ask("06 00 01 01 00 CC 01").empty()); // InputEvent: the buttons are the host's
}

TEST(HostApplication, ResponsesAreNeverAnswered) {
    Host host;
    for (const char* message : {"00 80 00", "01 80 01 09 00 CC 01", "03 80 00", "07 80 00", "3F 80 00", "FF FF"})
        EXPECT_TRUE(host.ask(message).empty()) << message;
}

TEST(HostApplication, TunnelledDataComesBackAfterTheResult) {
    Host host;
    // TCP_Connection (0) Uint16 7, TCP_Data (1) Bin16 "abc"
    EXPECT_EQ(host.ask("08 00 02 00 00 CD 07 00 01 00 C5 03 00 61 62 63"),
              (Texts{"09 80 02 00 00 CD 07 00 01 00 CC 00", "08 00 02 00 00 CD 07 00 01 00 C5 03 00 61 62 63"}));
}

TEST(HostApplication, TunnelCommandsAreAcceptedWithoutAnEcho) {
    Host host;
    EXPECT_EQ(host.ask("08 00 02 00 00 CC 07 02 00 CC 01"), Texts{"09 80 02 00 00 CC 07 01 00 CC 00"});
}

TEST(HostApplication, TunnelRequestsThatLackSomethingGetTheReason) {
    Host host;
    EXPECT_EQ(host.ask("08 00 01 01 00 C5 00 00"), Texts{"09 80 01 01 00 CC 02"});          // TCP_InvalidConnection
    EXPECT_EQ(host.ask("08 00 01 00 00 CC 07"), Texts{"09 80 02 00 00 CC 07 01 00 CC 01"}); // TCP_InvalidMessage
    EXPECT_EQ(host.ask("08 00 02 00 00 CC 07 01 00 CC 05"), Texts{"09 80 02 00 00 CC 07 01 00 CC 01"}); // not binary
}

TEST(HostApplication, AButtonIsPressedAndReleased) {
    EXPECT_EQ(asText(HostApplication::press(0x0103)), (Texts{"06 00 01 01 00 CD 03 01", "06 00 01 00 00 CD 03 01"}));
}

TEST(HostApplication, ABurstCountsUpFromZero) {
    EXPECT_TRUE(HostApplication::burst(0).empty());
    EXPECT_EQ(asText(HostApplication::burst(2)),
              (Texts{"06 00 01 02 00 CE 00 00 00 00", "06 00 01 02 00 CE 01 00 00 00"}));
}

TEST(HostApplication, AHostThatComesUpHoldsItsVersionAndAQuietPlayer) {
    HostApplication app;
    // HostFirmwareVersion "1.0.0", PlayerVolume 30, PlayerPlayStatus 0
    EXPECT_EQ(asText(app.handle(bytes("02 00 03 01 F0 09 00 0B 00"))),
              Texts{"02 80 03 01 F0 C5 05 00 31 2E 30 2E 30 09 00 CC 1E 0B 00 CC 00"});
}

TEST(HostApplication, AMessageWith255ItemsIsAnsweredWhole) {
    Host host;
    std::string request = "02 00 FF";
    std::string answer = "02 80 FF";
    for (int i = 0; i < 255; ++i) {
        request += " 08 00";
        answer += " 08 00 C0";
    }
    EXPECT_EQ(host.ask(request), Texts{answer});
}
