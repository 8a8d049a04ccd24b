// The simulated host as device on a bus with an interrupt line.
#include <gtest/gtest.h>

#include <hostsim/HostOnBus.h>

#include "support/Bytes.h"

using hostsim::HostOptions;
using hostsim::SimulatedHost;
using hostsim::Time;
using std::chrono::milliseconds;

namespace {

constexpr char getVolume[] = "FF FE 0F 00 23 11 00 00 02 00 01 09 00 00 00";
constexpr char ackOf11[] = "FF FE 08 00 A3 11 00 00";
constexpr char volumeAnswer[] = "FF FE 11 00 23 00 00 00 02 80 01 09 00 CC 1E 00 00"; // 17 bytes
constexpr char irq64[] = "FF FE 0E 00 22 07 00 00 40 00 00 00 00 00";
constexpr char irq11[] = "FF FE 0E 00 22 07 00 00 0B 00 00 00 00 00";
constexpr char irq16[] = "FF FE 0E 00 22 07 00 00 10 00 00 00 00 00";
constexpr char irq17[] = "FF FE 0E 00 22 07 00 00 11 00 00 00 00 00";
constexpr char ack[] = "FF FE 08 00 A3 12 00 00";
constexpr char nack[] = "FF FE 08 00 63 12 00 00";
constexpr char idle8[] = "FF FF FF FF FF FF FF FF";

/// In both ways to drive the engine: by whole phases, and byte by byte from an interrupt handler.
class HostOnBus : public ::testing::TestWithParam<bool> {
protected:
    struct Bus {
        SimulatedHost endpoint;
        hostsim::HostOnBus host;

        explicit Bus(const HostOptions& options = {}) : endpoint(options), host(endpoint, busOptions()) {}

        static hostsim::BusOptions busOptions() {
            hostsim::BusOptions options;
            options.byteByByte = GetParam();
            return options;
        }

        std::string read(size_t count, Time now = Time(0)) { return hex(host.read(count, now)); }
        void write(const std::string& text, Time now = Time(0)) { host.write(bytes(text), now); }
        std::string writeRead(const std::string& text, size_t count, Time now = Time(0)) {
            write(text, now);
            return read(count, now);
        }
        bool low(Time now = Time(0)) { return host.interruptLow(now); }
        void press() { endpoint.send({hostsim::HostApplication::press(1).front()}); }
    };
};

INSTANTIATE_TEST_SUITE_P(Driven, HostOnBus, ::testing::Bool(), [](const ::testing::TestParamInfo<bool>& byteByByte) {
    return byteByByte.param ? std::string("ByteByByte") : std::string("ByPhases");
});

std::string padded(const std::string& text, size_t count) {
    ByteArray data = bytes(text);
    data.resize(count, 0xFF);
    return hex(data);
}

std::string pressIn(const std::string& frame) {
    return "FF FE 12 00 23 " + frame + " 00 00 06 00 01 01 00 CD 01 00 00 00";
}

} // namespace

TEST_P(HostOnBus, AnswersAWrittenPacketInTheSameTransaction) {
    Bus bus;
    EXPECT_EQ(bus.writeRead(getVolume, 8), ackOf11);
    EXPECT_EQ(bus.endpoint.counts().acksSent, 1u);
}

TEST_P(HostOnBus, HearsAModuleThatStartsOverWithAnIrqFrame) {
    constexpr char firstIrq[] = "FF FE 0E 00 22 00 00 00 40 00 00 00 00 00";
    constexpr char first[] = "FF FE 0F 00 23 01 00 00 02 00 01 09 00 00 00"; // getVolume in frame 1
    Bus bus;
    bus.writeRead(firstIrq, 64);
    bus.writeRead(first, 8);
    bus.writeRead(first, 8, milliseconds(10)); // a retry
    EXPECT_EQ(bus.endpoint.counts().messagesReceived, 1u);
    bus.writeRead(firstIrq, 64, milliseconds(11));
    bus.writeRead(first, 8, milliseconds(12));
    EXPECT_EQ(bus.endpoint.counts().messagesReceived, 2u);
}

TEST_P(HostOnBus, IsIdleWhenNothingWasWritten) {
    Bus bus;
    EXPECT_EQ(bus.read(8), idle8);
    EXPECT_EQ(bus.read(0), "");
}

TEST_P(HostOnBus, PullsTheLineUntilItsPacketIsRead) {
    Bus bus;
    EXPECT_FALSE(bus.low());
    bus.writeRead(getVolume, 8);
    EXPECT_TRUE(bus.low());
    bus.write(irq64);
    EXPECT_TRUE(bus.low());
    EXPECT_EQ(bus.read(64), padded(volumeAnswer, 64));
    EXPECT_FALSE(bus.low());
    bus.write(ack);
    EXPECT_FALSE(bus.low());
    EXPECT_EQ(bus.endpoint.counts().messagesSent, 1u);
}

TEST_P(HostOnBus, PullsTheLineAgainForTheNextPacket) {
    Bus bus;
    bus.press();
    bus.press();
    EXPECT_EQ(bus.writeRead(irq64, 64), padded(pressIn("00"), 64));
    EXPECT_FALSE(bus.low());
    bus.write(ack);
    EXPECT_TRUE(bus.low());
    EXPECT_EQ(bus.writeRead(irq64, 64), padded(pressIn("01"), 64));
}

TEST_P(HostOnBus, AnnouncesTheSizeOfAPacketThatDoesNotFit) {
    Bus bus;
    bus.writeRead(getVolume, 8);
    EXPECT_EQ(bus.writeRead(irq16, 16), padded("FF FE 0E 00 22 07 00 00 11 00 00 00 00 00", 16));
    EXPECT_TRUE(bus.low());
    EXPECT_EQ(bus.writeRead(irq17, 17), volumeAnswer);
}

TEST_P(HostOnBus, OffersARefusedPacketAgain) {
    Bus bus;
    bus.press();
    bus.writeRead(irq64, 64);
    bus.write(nack, milliseconds(1));
    EXPECT_FALSE(bus.low(milliseconds(1)));
    EXPECT_EQ(bus.host.nextDeadline(milliseconds(1)), Time(milliseconds(11)));
    EXPECT_TRUE(bus.low(milliseconds(11)));
    EXPECT_EQ(bus.writeRead(irq64, 64, milliseconds(11)), padded(pressIn("00"), 64));
}

TEST_P(HostOnBus, GivesUpAPacketThatIsReadAndNotAcknowledged) {
    Bus bus;
    bus.press();
    bus.press();
    bus.writeRead(irq64, 64);
    bus.host.advance(milliseconds(999));
    EXPECT_FALSE(bus.low(milliseconds(999)));
    bus.host.advance(milliseconds(1000));
    EXPECT_TRUE(bus.low(milliseconds(1000)));
    EXPECT_EQ(bus.endpoint.counts().missingResponses, 1u);
    EXPECT_EQ(bus.writeRead(irq64, 64, milliseconds(1000)), padded(pressIn("01"), 64));
}

TEST_P(HostOnBus, AnswersAnIrqFrameWithNeitherBitWhenItHasNothing) {
    Bus bus;
    EXPECT_EQ(bus.writeRead(irq64, 14), padded("FF FE 08 00 23 07 00 00", 14));
}

TEST_P(HostOnBus, GivesTheAnswerFromItsBeginningToEachRead) {
    Bus bus;
    EXPECT_EQ(bus.writeRead(getVolume, 3), "FF FE 08");
    EXPECT_EQ(bus.read(8), ackOf11);
    EXPECT_EQ(bus.read(8), ackOf11);
    EXPECT_EQ(bus.endpoint.counts().acksSent, 1u);
}

TEST_P(HostOnBus, RefusesBytesThatAreNoPacket) {
    Bus bus;
    EXPECT_EQ(bus.writeRead("41 42 43", 8), "FF FE 08 00 63 00 00 00");
    EXPECT_EQ(bus.endpoint.counts().badPackets, 1u);
}

TEST_P(HostOnBus, AnEmptyWriteIsAScanAndChangesNothing) {
    Bus bus;
    EXPECT_EQ(bus.writeRead("", 8), idle8);
    bus.write(getVolume);
    EXPECT_EQ(bus.writeRead("", 8), ackOf11);
    EXPECT_EQ(bus.endpoint.counts().badPackets, 0u);
}

TEST_P(HostOnBus, AWriteOfWhichNoByteArrivesIsNone) {
    HostOptions options;
    options.faults.toHost.dropRate = 1;
    Bus bus(options);
    EXPECT_EQ(bus.writeRead(getVolume, 8), idle8);
    EXPECT_EQ(bus.endpoint.counts().bytesReceived, 15u);
    EXPECT_EQ(bus.endpoint.counts().badPackets, 0u);
}

TEST_P(HostOnBus, IgnoresBytesBehindAPacket) {
    Bus bus;
    EXPECT_EQ(bus.writeRead(std::string(getVolume) + " 41 42", 8), ackOf11);
}

TEST_P(HostOnBus, DoesNotAnswerAResponseFrame) {
    Bus bus;
    EXPECT_EQ(bus.writeRead(ack, 8), idle8);
}

TEST_P(HostOnBus, LiftsALineThatNobodyServesForAMoment) {
    Bus bus;
    bus.press();
    EXPECT_TRUE(bus.low(milliseconds(10)));
    EXPECT_EQ(bus.host.nextDeadline(milliseconds(10)), Time(milliseconds(260)));
    EXPECT_TRUE(bus.low(milliseconds(259)));
    EXPECT_FALSE(bus.low(milliseconds(260)));
    EXPECT_EQ(bus.host.nextDeadline(milliseconds(260)), Time(milliseconds(261)));
    EXPECT_TRUE(bus.low(milliseconds(261)));
    EXPECT_FALSE(bus.low(milliseconds(511)));
}

TEST_P(HostOnBus, AnIrqFrameKeepsTheLineLow) {
    Bus bus;
    bus.press();
    EXPECT_TRUE(bus.low());
    bus.write(irq64, milliseconds(200));
    EXPECT_TRUE(bus.low(milliseconds(250)));
    EXPECT_EQ(bus.host.nextDeadline(milliseconds(250)), Time(milliseconds(450)));
}

// ---- faults

TEST_P(HostOnBus, StartsLateOnRequest) {
    HostOptions options;
    options.faults.lateTransfers = 2;
    Bus bus(options);
    EXPECT_EQ(bus.writeRead(getVolume, 8), idle8);
    EXPECT_EQ(bus.read(8), idle8);
    EXPECT_TRUE(bus.low());
    EXPECT_EQ(bus.read(8), ackOf11);
    EXPECT_EQ(bus.writeRead(irq64, 64), padded("", 64));
    EXPECT_TRUE(bus.low()); // not read yet
    EXPECT_EQ(bus.read(64), padded("", 64));
    EXPECT_EQ(bus.read(64), padded(volumeAnswer, 64));
    EXPECT_FALSE(bus.low());
    EXPECT_EQ(bus.endpoint.counts().faultLateTransfers, 2u);
}

TEST_P(HostOnBus, IsIdleUntilALateAnswerIsDue) {
    HostOptions options;
    options.faults.lateEvery = 1;
    options.faults.lateBy = milliseconds(3);
    Bus bus(options);
    EXPECT_EQ(bus.writeRead(getVolume, 8), idle8);
    EXPECT_EQ(bus.read(8, milliseconds(2)), idle8);
    EXPECT_EQ(bus.read(8, milliseconds(3)), ackOf11);
}

TEST_P(HostOnBus, RefusesIrqFramesOnRequest) {
    HostOptions options;
    options.faults.irqNackFirst = 1;
    Bus bus(options);
    bus.press();
    EXPECT_EQ(bus.writeRead(irq64, 14), padded("FF FE 08 00 63 07 00 00", 14));
    EXPECT_TRUE(bus.low());
    EXPECT_EQ(bus.writeRead(irq64, 64), padded(pressIn("00"), 64));
    bus.write(ack);
    bus.press();
    EXPECT_EQ(bus.writeRead(irq64, 14), padded("FF FE 08 00 63 07 00 00", 14)); // the next packet, once more
    EXPECT_EQ(bus.endpoint.counts().faultIrqNacks, 2u);
}

TEST_P(HostOnBus, AnnouncesTheSizeOnRequestAlthoughThePacketFits) {
    HostOptions options;
    options.faults.irqAnnounceFirst = 2;
    Bus bus(options);
    bus.press();
    EXPECT_EQ(bus.writeRead(irq64, 14), "FF FE 0E 00 22 07 00 00 12 00 00 00 00 00");
    EXPECT_EQ(bus.writeRead(irq64, 14), "FF FE 0E 00 22 07 00 00 12 00 00 00 00 00");
    EXPECT_EQ(bus.writeRead(irq64, 64), padded(pressIn("00"), 64));
}

TEST_P(HostOnBus, AnnouncesNoSizeIntoAReadThatIsTooShortForIt) {
    HostOptions options;
    options.faults.irqAnnounceFirst = 2;
    Bus bus(options);
    bus.endpoint.send({bytes("2A")});
    EXPECT_EQ(bus.writeRead(irq64, 64), padded("FF FE 0E 00 22 07 00 00 0B 00 00 00 00 00", 64));
    EXPECT_EQ(bus.writeRead(irq11, 11), "FF FE 0B 00 23 00 00 00 2A 00 00");
    EXPECT_EQ(bus.endpoint.counts().faultIrqAnnouncements, 1u);
}

TEST_P(HostOnBus, AnIrqFrameThatIsRefusedKeepsTheLineLowToo) {
    HostOptions options;
    options.faults.irqNackFirst = 1;
    Bus bus(options);
    bus.press();
    EXPECT_TRUE(bus.low());
    bus.writeRead(irq64, 14, milliseconds(200));
    EXPECT_TRUE(bus.low(milliseconds(449)));
    EXPECT_FALSE(bus.low(milliseconds(450)));
}

TEST_P(HostOnBus, RepeatsAPacketAfterItsAcknowledgementOnRequest) {
    HostOptions options;
    options.faults.repeatEvery = 1;
    Bus bus(options);
    bus.press();
    EXPECT_EQ(bus.writeRead(irq64, 64), padded(pressIn("00"), 64));
    bus.write(ack);
    EXPECT_FALSE(bus.low());
    EXPECT_TRUE(bus.low(milliseconds(10)));
    EXPECT_EQ(bus.writeRead(irq64, 64, milliseconds(10)), padded(pressIn("00"), 64));
    EXPECT_EQ(bus.endpoint.counts().messagesSent, 0u);
    bus.write(ack, milliseconds(10));
    EXPECT_EQ(bus.endpoint.counts().messagesSent, 1u);
    EXPECT_EQ(bus.endpoint.counts().faultRepeatedPackets, 1u);
    EXPECT_FALSE(bus.low(milliseconds(30)));
}

TEST_P(HostOnBus, AFaultyAnswerStandsInPlaceOfTheEngines) {
    HostOptions options;
    options.faults.neitherEvery = 2;
    Bus bus(options);
    EXPECT_EQ(bus.writeRead(getVolume, 8), ackOf11);
    EXPECT_EQ(bus.writeRead("FF FE 0F 00 23 12 00 00 02 00 01 09 00 00 00", 8), "FF FE 08 00 23 12 00 00");
    EXPECT_EQ(bus.read(3), "FF FE 08");
    EXPECT_EQ(bus.read(9), "FF FE 08 00 23 12 00 00 FF");
    EXPECT_EQ(bus.writeRead("FF FE 0F 00 23 12 00 00 02 00 01 09 00 00 00", 8), "FF FE 08 00 A3 12 00 00");
    EXPECT_EQ(bus.endpoint.counts().messagesReceived, 2u);
}

TEST_P(HostOnBus, StaysSilentOnRequest) {
    HostOptions options;
    options.faults.silentEvery = 1;
    Bus bus(options);
    EXPECT_EQ(bus.writeRead(getVolume, 8), idle8);
    EXPECT_EQ(bus.read(8), idle8);
}

TEST_P(HostOnBus, GivesGarbageOnceAndThenThePacketOnRequest) {
    HostOptions options;
    options.faults.garbageEvery = 1;
    Bus bus(options);
    bus.press();
    const std::string garbage = bus.writeRead(irq64, 64);
    EXPECT_NE(garbage.substr(0, 5), "FF FE");
    EXPECT_TRUE(bus.low());
    EXPECT_EQ(bus.read(64), padded(pressIn("00"), 64));
}

TEST_P(HostOnBus, AReadIsAlwaysAsLongAsTheMasterClocks) {
    HostOptions options;
    options.faults.toModule.dropRate = 0.5;
    options.faults.toModule.insertRate = 0.5;
    Bus bus(options);
    bus.write(getVolume);
    for (size_t count = 0; count < 100; ++count) EXPECT_EQ(bus.host.read(count, Time(0)).size(), count);
}
