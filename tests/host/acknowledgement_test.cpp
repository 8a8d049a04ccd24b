// What a host answers to a packet: over a serial line, the packets of the wire's description.
#include <gtest/gtest.h>

#include "UartLine.h"
#include "support/Packets.h"

namespace {

using Told = std::vector<std::string>;

constexpr char getState[] = "FF FE 0F 00 23 2A 00 00 02 00 01 15 00 00 00";
constexpr char ackOf2A[] = "FF FE 08 00 A3 2A 00 00";
constexpr char irq64[] = "FF FE 0E 00 22 07 00 00 40 00 00 00 00 00";
constexpr char reset3[] = "FF FE 08 00 21 03 00 00";
constexpr char nackOf0[] = "FF FE 08 00 63 00 00 00";

} // namespace

TEST(HostAcknowledgement, AMessagePacketIsAcknowledgedUnderItsFrameId) {
    UartLine line;
    EXPECT_EQ(line.answerTo(getState), ackOf2A);
    line.deliver();
    EXPECT_EQ(line.told, Told{"02 00 01 15 00"});
    EXPECT_EQ(line.host.counts.packets, 1U);
}

TEST(HostAcknowledgement, ARepetitionIsAcknowledgedAndNotTakenTwice) {
    UartLine line;
    line.answerTo(getState);
    line.now += 10;
    EXPECT_EQ(line.answerTo(getState), ackOf2A);
    EXPECT_EQ(line.deliver(), 1);
    EXPECT_EQ(line.host.counts.repetitions, 1U);
    line.now += 500;
    EXPECT_EQ(line.answerTo(getState), ackOf2A);
    EXPECT_EQ(line.deliver(), 1);
}

TEST(HostAcknowledgement, APacketIsNoRepetitionWhenTheClockHasComeRound) {
    UartLine line;
    line.answerTo(getState);
    line.advance(line.now + 500);
    line.now -= 490; // 49 days and 10 milliseconds after it
    line.answerTo(getState);
    EXPECT_EQ(line.deliver(), 2);
}

TEST(HostAcknowledgement, ARestartedModuleIsHeard) {
    UartLine line;
    const std::string first = hex(messageEnd(0, 0, {1, 0, 0}));
    line.answerTo(first);
    line.answerTo(first);
    EXPECT_EQ(line.deliver(), 2);
}

TEST(HostAcknowledgement, AResponseOfALaterLifeEndsTheRepetition) {
    UartLine line;
    line.answerTo(getState);
    EXPECT_EQ(line.answerTo(hex(responseFrame(0xA3, 0))), "");
    line.answerTo(getState);
    EXPECT_EQ(line.deliver(), 2);
    EXPECT_EQ(line.host.counts.strays, 1U);
}

TEST(HostAcknowledgement, ARepetitionOfAPartIsNotAddedTwice) {
    UartLine line;
    const std::string part = hex(messagePart(5, 0, {1, 2}));
    line.answerTo(part);
    EXPECT_EQ(line.answerTo(part), "FF FE 08 00 A3 05 00 00");
    line.answerTo(hex(messageEnd(5, 1, {3})));
    line.deliver();
    EXPECT_EQ(line.told, Told{"01 02 03"});
    EXPECT_EQ(line.host.counts.abandoned, 0U);
}

TEST(HostAcknowledgement, APacketWithoutTheOnesBeforeItIsRefused) {
    UartLine line;
    EXPECT_EQ(line.answerTo(hex(messageEnd(5, 1, {3}))), "FF FE 08 00 63 05 00 00");
    EXPECT_EQ(line.host.counts.refused, 1U);
    EXPECT_EQ(line.deliver(), 0);
}

TEST(HostAcknowledgement, ARefusedPacketIsTakenWhenItComesAgain) {
    UartLine line({64, 16, 1, 1});
    line.answerTo(hex(messageEnd(1, 0, {1})));
    EXPECT_EQ(line.answerTo(hex(messageEnd(2, 0, {2}))), "FF FE 08 00 63 02 00 00");
    line.deliver();
    line.now += 10;
    EXPECT_EQ(line.answerTo(hex(messageEnd(2, 0, {2}))), "FF FE 08 00 A3 02 00 00");
    line.deliver();
    EXPECT_EQ(line.told, (Told{"01", "02"}));
}

TEST(HostAcknowledgement, AnIrqFrameIsRefusedOnASerialLine) {
    UartLine line;
    EXPECT_EQ(line.answerTo(irq64), "FF FE 08 00 63 07 00 00");
}

TEST(HostAcknowledgement, FormatsThatAreNotUsedAreRefused) {
    for (const unsigned format : {4U, 5U, 6U, 7U}) {
        UartLine line;
        EXPECT_EQ(line.answerTo(hex(packetOf(format, 9, 0, {1}))), "FF FE 08 00 63 09 00 00") << format;
        EXPECT_EQ(line.deliver(), 0);
    }
}

TEST(HostAcknowledgement, BytesThatAreNoPacketAreRefusedUnderIdZero) {
    UartLine line;
    EXPECT_EQ(line.answerTo("FF FE 09 00 23 05 00 00"), nackOf0);
    EXPECT_EQ(line.host.counts.badPackets, 1U);
    EXPECT_EQ(line.host.counts.packets, 0U);
}

TEST(HostAcknowledgement, NoiseWithoutAStartMarkIsNotAnswered) {
    UartLine line;
    EXPECT_EQ(line.answerTo("00 11 22 33 44 55 66 77 88"), "");
    EXPECT_EQ(hostLinkHostUartSkipped(&line.uart), 9U);
}

TEST(HostAcknowledgement, AResetIsAcknowledgedAndDropsWhatIsUnderWay) {
    UartLine line;
    line.answerTo(hex(messageEnd(7, 0, {7})));
    line.answerTo(hex(messagePart(8, 0, {8})));
    line.send({1, 1, 1});
    line.send({2, 2, 2});
    EXPECT_EQ(line.transmit(), "FF FE 0D 00 23 00 00 00 01 01 01 00 00");
    EXPECT_EQ(line.answerTo(reset3), "FF FE 08 00 A3 03 00 00");
    EXPECT_EQ(line.outcomes, (std::vector<std::string>{"1 reset", "2 reset"}));
    EXPECT_EQ(line.answerTo(hex(messageEnd(8, 1, {9}))), "FF FE 08 00 63 08 00 00");
    line.deliver();
    EXPECT_EQ(line.told, (Told{"07", "reset"}));
    EXPECT_EQ(line.answerTo(hex(responseFrame(0xA3, 4))), "");
    EXPECT_EQ(line.host.counts.strays, 1U);
}

TEST(HostAcknowledgement, AnAnswerToAMessageFromBeforeAResetIsDropped) {
    UartLine line;
    line.answer = {1, 1, 1};
    line.answerTo(hex(messageEnd(7, 0, {7}))); // accepted, and not told before the reset comes
    line.answerTo(reset3);
    line.answerTo(hex(messageEnd(9, 0, {9})));
    line.deliver();
    EXPECT_EQ(line.told, (Told{"07", "reset", "09"}));
    EXPECT_EQ(hostLinkHostQueued(&line.host), 1U);
    EXPECT_EQ(line.transmit(), "FF FE 0D 00 23 00 00 00 01 01 01 00 00");
    EXPECT_EQ(line.outcomes, std::vector<std::string>());
}

TEST(HostAcknowledgement, ADroppedAnswerHasNoTicket) {
    static uint32_t ticket;
    UartLine line;
    line.setup.events.message = [](void* context, const uint8_t* message, uint32_t length) {
        hostLinkHostSend(&static_cast<TestHost*>(context)->host, message, length, &ticket);
    };
    line.host.setup.events.message = line.setup.events.message;
    line.answerTo(hex(messageEnd(7, 0, {7})));
    line.answerTo(reset3);
    ticket = 9;
    line.deliver();
    EXPECT_EQ(ticket, 0U);
}

TEST(HostAcknowledgement, APacketFromBeforeAResetIsNoRepetition) {
    UartLine line;
    line.answerTo(getState);
    line.answerTo("FF FE 08 00 21 2B 00 00");
    line.answerTo(getState);
    EXPECT_EQ(line.deliver(), 3);
}

TEST(HostAcknowledgement, TheModuleAnswersFromItsFirstPacketUntilItMissesAResponse) {
    UartLine line;
    EXPECT_EQ(hostLinkHostModuleAnswers(&line.host), 0);
    line.receive("FF FE 09 00 23 05 00 00");
    EXPECT_EQ(hostLinkHostModuleAnswers(&line.host), 0);
    line.receive(getState);
    EXPECT_EQ(hostLinkHostModuleAnswers(&line.host), 1);
    line.send({1, 1, 1});
    line.transmit();
    line.advance(line.now + 1000);
    EXPECT_EQ(hostLinkHostModuleAnswers(&line.host), 0);
    line.receive(responseFrame(0xA3, 5));
    EXPECT_EQ(hostLinkHostModuleAnswers(&line.host), 1);
}
