// The simulated host at the other end of a serial line: bytes in, bytes out, time handed in.
#include <gtest/gtest.h>

#include <hostsim/HostOnLine.h>

#include "support/Bytes.h"

using hostsim::HostOnLine;
using hostsim::HostOptions;
using hostsim::SimulatedHost;
using hostsim::Time;
using std::chrono::milliseconds;

namespace {

using Texts = std::vector<std::string>;

// GetState of state 9 in frame 0x11, and what answers it in the host's frame 0. Volume 30 is there from power-on.
constexpr char getVolume[] = "FF FE 0F 00 23 11 00 00 02 00 01 09 00 00 00";
constexpr char ackOf11[] = "FF FE 08 00 A3 11 00 00";
constexpr char nackOf11[] = "FF FE 08 00 63 11 00 00";
constexpr char volumeAnswer[] = "FF FE 11 00 23 00 00 00 02 80 01 09 00 CC 1E 00 00";
constexpr char badPacketNack[] = "FF FE 08 00 63 00 00 00";
// What the module answers.
constexpr char ack[] = "FF FE 08 00 A3 12 00 00";
constexpr char nack[] = "FF FE 08 00 63 12 00 00";
constexpr char both[] = "FF FE 08 00 E3 12 00 00";

struct Line {
    SimulatedHost endpoint;
    HostOnLine host;

    explicit Line(const HostOptions& options = {}) : endpoint(options), host(endpoint) {}

    /// Everything that is to be written by now.
    Texts writes(Time now) {
        Texts texts;
        for (ByteArray bytes = host.nextWrite(now); !bytes.empty(); bytes = host.nextWrite(now))
            texts.push_back(hex(bytes));
        return texts;
    }
    Texts after(const std::string& received, Time now = Time(0)) {
        host.receive(bytes(received), now);
        return writes(now);
    }
    Texts at(Time now) {
        host.advance(now);
        return writes(now);
    }
    void press(uint16_t button) { endpoint.send({hostsim::HostApplication::press(button).front()}); }
    const hostsim::HostCounts& counts() const { return endpoint.counts(); }
};

// A press of button 1 in the given frame of the host.
std::string pressIn(const std::string& frame) {
    return "FF FE 12 00 23 " + frame + " 00 00 06 00 01 01 00 CD 01 00 00 00";
}

} // namespace

TEST(HostOnLine, AcknowledgesBeforeItAnswers) {
    Line line;
    EXPECT_EQ(line.after(getVolume), (Texts{ackOf11, volumeAnswer}));
    EXPECT_EQ(line.counts().packetsReceived, 1u);
    EXPECT_EQ(line.counts().messagesReceived, 1u);
    EXPECT_EQ(line.counts().bytesReceived, 15u);
    EXPECT_EQ(line.counts().bytesSent, 8u + 17u);
    EXPECT_EQ(line.counts().acksSent, 1u);
}

TEST(HostOnLine, WaitsWithTheNextPacketForTheAnswerToTheLast) {
    Line line;
    line.press(1);
    line.press(1);
    EXPECT_EQ(line.writes(Time(0)), Texts{pressIn("00")});
    EXPECT_EQ(line.writes(milliseconds(10)), Texts{});
    EXPECT_EQ(line.after(ack), Texts{pressIn("01")});
    EXPECT_EQ(line.after(ack), Texts{});
    EXPECT_EQ(line.counts().messagesSent, 2u);
    EXPECT_EQ(line.counts().acksReceived, 2u);
}

TEST(HostOnLine, AcknowledgesWhileItWaits) {
    Line line;
    line.press(1);
    line.writes(Time(0));
    EXPECT_EQ(line.after(getVolume), Texts{ackOf11});
    EXPECT_EQ(line.after(ack), Texts{"FF FE 11 00 23 01 00 00 02 80 01 09 00 CC 1E 00 00"});
}

TEST(HostOnLine, CutsAMessageByTheLongestPacket) {
    HostOptions options;
    options.outgoing.maxPacketSize = 15; // five bytes of the message in each packet
    Line line(options);
    line.press(1); // 06 00 01 01 00 CD 01 00
    EXPECT_EQ(line.writes(Time(0)), Texts{"FF FE 0F 00 03 00 00 00 06 00 01 01 00 00 00"});
    EXPECT_EQ(line.after(ack), Texts{"FF FE 0D 00 23 00 01 00 CD 01 00 00 00"});
    EXPECT_EQ(line.counts().messagesSent, 0u);
    line.after(ack);
    EXPECT_EQ(line.counts().messagesSent, 1u);
}

TEST(HostOnLine, SendsARefusedPacketAgainAfterTenMilliseconds) {
    Line line;
    line.press(1);
    line.writes(Time(0));
    EXPECT_EQ(line.after(nack, milliseconds(3)), Texts{});
    EXPECT_EQ(line.host.nextDeadline(milliseconds(3)), Time(milliseconds(13)));
    EXPECT_EQ(line.at(milliseconds(12)), Texts{});
    EXPECT_EQ(line.at(milliseconds(13)), Texts{pressIn("00")});
}

TEST(HostOnLine, GivesUpAMessageThatIsRefusedFourTimes) {
    Line line;
    line.press(1);
    line.press(1);
    for (int attempt = 0; attempt < 4; ++attempt) {
        EXPECT_EQ(line.at(milliseconds(100 * attempt)), Texts{pressIn("00")});
        line.host.receive(bytes(nack), milliseconds(100 * attempt));
    }
    EXPECT_EQ(line.counts().messagesGivenUp, 1u);
    EXPECT_EQ(line.at(milliseconds(400)), Texts{pressIn("01")});
}

TEST(HostOnLine, GivesUpAMessageThatIsNotAcknowledgedInTime) {
    Line line;
    line.press(1);
    line.press(1);
    line.writes(Time(0));
    EXPECT_EQ(line.host.nextDeadline(Time(0)), Time(milliseconds(1000)));
    EXPECT_EQ(line.at(milliseconds(999)), Texts{});
    EXPECT_EQ(line.at(milliseconds(1000)), Texts{pressIn("01")});
    EXPECT_EQ(line.counts().missingResponses, 1u);
    EXPECT_EQ(line.counts().messagesGivenUp, 1u);
    EXPECT_FALSE(line.endpoint.moduleAnswers());
}

TEST(HostOnLine, GivesUpAMessageThatTheModuleCallsAnError) {
    Line line;
    line.press(1);
    line.press(1);
    line.writes(Time(0));
    EXPECT_EQ(line.after(both), Texts{pressIn("01")});
    EXPECT_EQ(line.counts().messagesGivenUp, 1u);
}

TEST(HostOnLine, DoesNotUseTheIdOfAFrameAgainThatTheModuleHoldsHalf) {
    HostOptions options;
    options.outgoing.maxPacketSize = 15;
    Line line(options);
    line.press(1);
    line.writes(Time(0));
    line.after(ack);                // the first of two packets
    line.at(milliseconds(1000));    // the second is not acknowledged
    for (int i = 1; i < 256; ++i) { // frames 1 to 255
        line.press(1);
        line.writes(milliseconds(2000));
        line.after(ack, milliseconds(2000));
        line.after(ack, milliseconds(2000));
    }
    line.press(1);
    EXPECT_EQ(line.writes(milliseconds(2000)), Texts{"FF FE 0F 00 03 01 00 00 06 00 01 01 00 00 00"}); // not 0
}

TEST(HostOnLine, CountsAnAcknowledgementThatNobodyWaitsFor) {
    Line line;
    EXPECT_EQ(line.after(ack), Texts{});
    EXPECT_EQ(line.counts().strayResponses, 1u);
}

TEST(HostOnLine, RefusesABadPacketAndTakesTheNext) {
    Line line;
    EXPECT_EQ(line.after(std::string("FF FE 09 00 23 11 00 00 ") + getVolume),
              (Texts{badPacketNack, ackOf11, volumeAnswer}));
    EXPECT_EQ(line.counts().badPackets, 1u);
    EXPECT_EQ(line.counts().nacksSent, 1u);
    EXPECT_EQ(line.counts().bytesSkipped, 8u);
}

TEST(HostOnLine, RefusesAPacketThatStopsInTheMiddle) {
    Line line;
    EXPECT_EQ(line.after("FF FE 0F 00 23 11 00 00 02 00"), Texts{});
    EXPECT_EQ(line.host.nextDeadline(Time(0)), Time(milliseconds(100)));
    EXPECT_EQ(line.at(milliseconds(100)), Texts{badPacketNack});
    EXPECT_EQ(line.after(getVolume, milliseconds(110)), (Texts{ackOf11, volumeAnswer}));
}

TEST(HostOnLine, RefusesIrqFramesAndUnknownFormats) {
    Line line;
    EXPECT_EQ(line.after("FF FE 0E 00 22 07 00 00 40 00 00 00 00 00"), Texts{"FF FE 08 00 63 07 00 00"});
    EXPECT_EQ(line.after("FF FE 0B 00 24 08 00 00 40 00 00"), Texts{"FF FE 08 00 63 08 00 00"});
}

TEST(HostOnLine, AResetDropsSubscriptionsAndQueuedMessages) {
    Line line;
    line.after("FF FE 0F 00 23 11 00 00 03 00 01 09 00 00 00"); // subscribe to state 9
    line.after(ack);
    line.press(1);
    line.press(1);
    line.writes(Time(0));
    EXPECT_EQ(line.after("FF FE 08 00 21 13 00 00"), Texts{"FF FE 08 00 A3 13 00 00"});
    EXPECT_EQ(line.after(ack), Texts{}); // stray: nothing is in flight any more
    EXPECT_TRUE(line.endpoint.application().setState(9, 1).empty());
}

TEST(HostOnLine, TakesARepeatedPacketOnce) {
    Line line;
    line.after(getVolume);
    line.after(ack);
    EXPECT_EQ(line.after(getVolume, milliseconds(10)), Texts{ackOf11});
    EXPECT_EQ(line.counts().messagesReceived, 1u);
    EXPECT_EQ(line.counts().duplicatePackets, 1u);
}

TEST(HostOnLine, HearsAModuleThatStartsOverWithTheSameMessage) {
    constexpr char first[] = "FF FE 0F 00 23 00 00 00 02 00 01 09 00 00 00"; // getVolume in frame 0
    constexpr char itsAck[] = "FF FE 08 00 A3 01 00 00";
    Line line;
    EXPECT_EQ(line.after(first), (Texts{"FF FE 08 00 A3 00 00 00", volumeAnswer}));
    EXPECT_EQ(line.after(itsAck, milliseconds(1)), Texts{});
    EXPECT_EQ(line.after(first, milliseconds(2)),
              (Texts{"FF FE 08 00 A3 00 00 00", "FF FE 11 00 23 01 00 00 02 80 01 09 00 CC 1E 00 00"}));
    EXPECT_EQ(line.counts().messagesReceived, 2u);
    EXPECT_EQ(line.counts().duplicatePackets, 0u);
}

TEST(HostOnLine, HearsAModuleThatStartsOverWithAResponse) {
    constexpr char firstAck[] = "FF FE 08 00 A3 00 00 00";
    constexpr char first[] = "FF FE 0F 00 23 01 00 00 02 00 01 09 00 00 00"; // getVolume in frame 1
    Line line;
    line.after(firstAck);
    line.after(first);
    line.after("FF FE 08 00 A3 02 00 00", milliseconds(1));
    line.after(first, milliseconds(2)); // a retry
    EXPECT_EQ(line.counts().messagesReceived, 1u);
    line.after(firstAck, milliseconds(3));
    line.after(first, milliseconds(4));
    EXPECT_EQ(line.counts().messagesReceived, 2u);
}

TEST(HostOnLine, TheModuleAnswersOnceItHasBeenHeard) {
    Line line;
    EXPECT_FALSE(line.endpoint.moduleAnswers());
    line.host.receive(bytes("41 42 43"), Time(0));
    EXPECT_FALSE(line.endpoint.moduleAnswers());
    line.host.receive(bytes(getVolume), Time(0));
    EXPECT_TRUE(line.endpoint.moduleAnswers());
}

TEST(HostOnLine, AnEmptyMessageAndOneOfTooManyPacketsAreNotSent) {
    HostOptions options;
    options.outgoing.maxPacketSize = 11; // one byte in each packet
    Line line(options);
    line.endpoint.send({ByteArray(), ByteArray(257, 1), ByteArray(1, 2)});
    EXPECT_EQ(line.counts().messagesGivenUp, 2u);
    EXPECT_EQ(line.writes(Time(0)), Texts{"FF FE 0B 00 23 00 00 00 02 00 00"});
}

// ---- faults

TEST(HostOnLine, RefusesTheFirstAttemptsOfEachPacketOnRequest) {
    HostOptions options;
    options.faults.nackFirst = 2;
    Line line(options);
    EXPECT_EQ(line.after(getVolume), Texts{nackOf11});
    EXPECT_EQ(line.after(getVolume), Texts{nackOf11});
    EXPECT_EQ(line.after(getVolume), (Texts{ackOf11, volumeAnswer}));
    EXPECT_EQ(line.after("FF FE 0F 00 23 12 00 00 02 00 01 09 00 00 00"), Texts{"FF FE 08 00 63 12 00 00"});
    EXPECT_EQ(line.counts().faultNacks, 3u);
}

TEST(HostOnLine, AnswersOtherThanAckOnRequestAndDoesNotTakeThePacket) {
    struct Case {
        unsigned hostsim::FaultOptions::*fault;
        Texts answer;
    };
    const Case cases[] = {
        {&hostsim::FaultOptions::silentEvery, {}},
        {&hostsim::FaultOptions::ackNackEvery, {"FF FE 08 00 E3 11 00 00"}},
        {&hostsim::FaultOptions::neitherEvery, {"FF FE 08 00 23 11 00 00"}},
    };
    for (const Case& row : cases) {
        HostOptions options;
        options.faults.*row.fault = 2;
        Line line(options);
        line.after("FF FE 0B 00 23 10 00 00 44 00 00"); // packet 1
        line.after(ack);
        EXPECT_EQ(line.after(getVolume), row.answer); // packet 2
        EXPECT_EQ(line.counts().messagesReceived, 1u);
        EXPECT_EQ(line.counts().faults(), 1u);
    }
}

TEST(HostOnLine, AnswersLateOnRequestAndKeepsTheOrder) {
    HostOptions options;
    options.faults.lateEvery = 1;
    options.faults.lateBy = milliseconds(30);
    Line line(options);
    EXPECT_EQ(line.after(getVolume), Texts{});
    EXPECT_EQ(line.host.nextDeadline(Time(0)), Time(milliseconds(30)));
    EXPECT_EQ(line.at(milliseconds(29)), Texts{});
    EXPECT_EQ(line.at(milliseconds(30)), (Texts{ackOf11, volumeAnswer}));
}

TEST(HostOnLine, APacketWaitsBehindALateAnswerWithoutADeadlineOfItsOwn) {
    HostOptions options;
    options.faults.lateEvery = 1;
    options.faults.lateBy = milliseconds(30);
    Line line(options);
    line.press(1);
    line.writes(Time(0));
    line.host.receive(bytes(nack), Time(0)); // due again at 10
    line.host.receive(bytes("FF FE 0B 00 23 10 00 00 44 00 00"), Time(0));
    EXPECT_EQ(line.host.nextDeadline(Time(0)), Time(milliseconds(10)));
    EXPECT_EQ(line.at(milliseconds(10)), Texts{});
    EXPECT_EQ(line.host.nextDeadline(milliseconds(10)), Time(milliseconds(30)));
    EXPECT_EQ(line.at(milliseconds(30)), (Texts{"FF FE 08 00 A3 10 00 00", pressIn("00")}));
}

TEST(HostOnLine, StopsMisbehavingAtTheLimit) {
    HostOptions options;
    options.faults.silentEvery = 1;
    options.faults.limit = 2;
    Line line(options);
    EXPECT_EQ(line.after(getVolume), Texts{});
    EXPECT_EQ(line.after(getVolume), Texts{});
    EXPECT_EQ(line.after(getVolume), (Texts{ackOf11, volumeAnswer}));
}

TEST(HostOnLine, RepeatsAPacketAfterItsAcknowledgementOnRequest) {
    HostOptions options;
    options.faults.repeatEvery = 2;
    Line line(options);
    line.press(1);
    line.press(1);
    line.press(1);
    EXPECT_EQ(line.writes(Time(0)), Texts{pressIn("00")});
    EXPECT_EQ(line.after(ack), Texts{pressIn("01")});
    EXPECT_EQ(line.after(ack), Texts{}); // to the engine it was refused
    EXPECT_EQ(line.host.nextDeadline(Time(0)), Time(milliseconds(10)));
    EXPECT_EQ(line.at(milliseconds(10)), Texts{pressIn("01")});
    EXPECT_EQ(line.after(ack, milliseconds(10)), Texts{pressIn("02")});
    EXPECT_EQ(line.counts().messagesSent, 2u);
    EXPECT_EQ(line.counts().acksReceived, 3u);
    EXPECT_EQ(line.counts().nacksReceived, 0u);
    EXPECT_EQ(line.counts().faultRepeatedPackets, 1u);
}

TEST(HostOnLine, RepeatsAPacketOnlyWhereThatDoesNotEndIt) {
    HostOptions options;
    options.faults.repeatEvery = 1;
    Line line(options);
    line.press(1);
    for (int attempt = 0; attempt < 4; ++attempt) {
        EXPECT_EQ(line.at(milliseconds(100 * attempt)), Texts{pressIn("00")});
        line.host.receive(bytes(attempt < 3 ? nack : ack), milliseconds(100 * attempt));
    }
    EXPECT_EQ(line.counts().messagesSent, 1u);
    EXPECT_EQ(line.counts().faultRepeatedPackets, 0u);
}

TEST(HostOnLine, AnAcknowledgementThatComesTooLateRepeatsNothing) {
    HostOptions options;
    options.faults.repeatEvery = 1;
    Line line(options);
    line.press(1);
    line.writes(Time(0));
    line.at(milliseconds(1000));
    EXPECT_EQ(line.after(ack, milliseconds(1001)), Texts{});
    EXPECT_EQ(line.counts().strayResponses, 1u);
    EXPECT_EQ(line.counts().faultRepeatedPackets, 0u);
}

TEST(HostOnLine, GivesUpAMessageThatFindsTheQueueFull) {
    HostOptions options;
    options.outgoing.maxQueued = 2;
    Line line(options);
    for (int i = 0; i < 3; ++i) line.press(1);
    EXPECT_EQ(line.counts().messagesGivenUp, 1u);
    EXPECT_EQ(line.writes(Time(0)), Texts{pressIn("00")});
    EXPECT_EQ(line.after(ack), Texts{pressIn("01")});
    EXPECT_EQ(line.after(ack), Texts{});
    EXPECT_TRUE(line.endpoint.isIdle());
}

TEST(HostOnLine, KeepsToWholeMillisecondsOfItsClock) {
    Line line;
    line.press(1);
    line.writes(Time(999)); // in millisecond 0
    EXPECT_EQ(line.host.nextDeadline(Time(999)), Time(milliseconds(1000)));
    line.at(Time(999999));
    EXPECT_EQ(line.counts().missingResponses, 0u);
    line.at(Time(1000000));
    EXPECT_EQ(line.counts().missingResponses, 1u);
}

TEST(HostOnLine, SendsABurstBeforeTheAnswerOnRequest) {
    HostOptions options;
    options.faults.burst = 2;
    options.faults.limit = 1;
    Line line(options);
    EXPECT_EQ(line.after(getVolume), (Texts{ackOf11, "FF FE 14 00 23 00 00 00 06 00 01 02 00 CE 00 00 00 00 00 00"}));
    EXPECT_EQ(line.after(ack), Texts{"FF FE 14 00 23 01 00 00 06 00 01 02 00 CE 01 00 00 00 00 00"});
    EXPECT_EQ(line.after(ack), Texts{"FF FE 11 00 23 02 00 00 02 80 01 09 00 CC 1E 00 00"});
}

TEST(HostOnLine, SplitsWritesOnRequest) {
    HostOptions options;
    options.faults.splitWrites = true;
    Line line(options);
    const Texts writes = line.after("FF FE 0B 00 25 11 00 00 44 00 00"); // an unknown format
    EXPECT_EQ(writes, (Texts{"FF", "FE", "08", "00", "63", "11", "00", "00"}));
}

TEST(HostOnLine, PutsGarbageBeforeItsPacketsOnRequest) {
    HostOptions options;
    options.faults.garbageEvery = 1;
    options.faults.garbageBytes = 5;
    Line line(options);
    line.press(1);
    const Texts writes = line.writes(Time(0));
    ASSERT_EQ(writes.size(), 1u);
    const ByteArray sent = bytes(writes[0]);
    ASSERT_EQ(sent.size(), 5u + 18u);
    EXPECT_EQ(hex(slice(sent, 5, sent.size())), pressIn("00"));
}

TEST(HostOnLine, ALineThatLosesEverythingSendsNothingAndDoesNotHang) {
    HostOptions options;
    options.faults.toModule.dropRate = 1;
    Line line(options);
    EXPECT_EQ(line.after(getVolume), Texts{});
    EXPECT_EQ(line.counts().faultDroppedBytes, 8u + 17u);
    EXPECT_EQ(line.counts().bytesSent, 0u);
}

TEST(HostOnLine, ALineThatLosesEverythingOnTheWayInTakesNothing) {
    HostOptions options;
    options.faults.toHost.dropRate = 1;
    Line line(options);
    EXPECT_EQ(line.after(getVolume), Texts{});
    EXPECT_EQ(line.counts().bytesReceived, 15u);
    EXPECT_EQ(line.counts().packetsReceived, 0u);
}
