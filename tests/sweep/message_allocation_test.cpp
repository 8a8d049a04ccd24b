// Messages, frames, printed text and properties while memory runs out.
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <hostlink/HostLinkFrame.h>
#include <hostlink/HostLinkIrqFrame.h>
#include <hostlink/HostLinkMsgFrame.h>
#include <hostlink/HostLinkPhysicalLayer.h>
#include <hostlink/HostLinkPrinter.h>
#include <hostlink/HostLinkRspFrame.h>
#include <hostlink/HostLinkRstFrame.h>
#include <hostlink/HostLinkUInt16Message.h>
#include <hostlink/HostLinkValueMessage.h>
#include <hostlink/HostLinkVocabulary.h>

#include "AllocationSweep.h"
#include "support/Packets.h"

using namespace sweep;

namespace {

using Properties = HostLinkPhysicalLayer::Properties;

void expectAllGivenBack(const Outcome& outcome) {
    EXPECT_EQ(outcome.live, 0);
}

/// More than a message or a frame holds without asking for memory.
const ByteArray manyBytes = patternBytes(300);

// --- Appending ---

// One append to a message whose store is full, so that it has to grow.
struct Append {
    const char* name;
    std::function<void(HostLinkValueMessage&)> run;
};
std::ostream& operator<<(std::ostream& out, const Append& append) {
    return out << append.name;
}

const std::vector<Append> appends = {
    {"Uint8", [](auto& message) { message.addValueUint8(1, 2); }},
    {"Uint16", [](auto& message) { message.addValueUint16(1, 2); }},
    {"Uint32", [](auto& message) { message.addValueUint32(1, 2); }},
    {"Uint64", [](auto& message) { message.addValueUint64(1, 2); }},
    {"Int8", [](auto& message) { message.addValueInt8(1, -2); }},
    {"Int16", [](auto& message) { message.addValueInt16(1, -2); }},
    {"Int32", [](auto& message) { message.addValueInt32(1, -2); }},
    {"Int64", [](auto& message) { message.addValueInt64(1, -2); }},
    {"Nil", [](auto& message) { message.addValueNil(1); }},
    {"Bin16", [](auto& message) { message.addValueBin16(1, ByteArray(100, 7)); }},
    {"String", [](auto& message) { message.addValueString(1, std::string(100, 'x')); }},
};

class AppendWithoutMemory : public testing::TestWithParam<Append> {};

TEST_P(AppendWithoutMemory, LeavesTheMessageAsItWas) {
    HostLinkValueMessage built(MSG_SetState);
    built.addValueBin16(9, manyBytes);
    const ByteArray before = built.serialize();
    const HostLinkValueMessage full(before); // without room to spare
    HostLinkValueMessage expected = full;
    GetParam().run(expected);

    HostLinkValueMessage message = full;
    sweepAllocations([&] { GetParam().run(message); },
                     [&](const Outcome& outcome) {
                         EXPECT_EQ(outcome.live, 0);
                         EXPECT_TRUE(message.isValid());
                         EXPECT_EQ(message.serialize(), outcome.completed ? expected.serialize() : before);
                         if (!outcome.completed) GetParam().run(message);
                         EXPECT_EQ(message.serialize(), expected.serialize());
                         message = full;
                     });
}

INSTANTIATE_TEST_SUITE_P(Encodings, AppendWithoutMemory, testing::ValuesIn(appends),
                         [](const auto& append) { return append.param.name; });

TEST(ListWithoutMemory, IsLeftAsItWas) {
    const HostLinkUInt16Message full(HostLinkUInt16Message(MSG_GetState).addValue(5).serialize());
    HostLinkUInt16Message expected = full;
    expected.addValue(6);

    HostLinkUInt16Message message = full;
    sweepAllocations([&] { message.addValue(6); },
                     [&](const Outcome& outcome) {
                         EXPECT_EQ(outcome.live, 0);
                         EXPECT_TRUE(outcome.completed || message.serialize() == full.serialize());
                         if (!outcome.completed) message.addValue(6);
                         EXPECT_EQ(message.serialize(), expected.serialize());
                         message = full;
                     });
}

TEST(MessageWithoutMemory, GrowsNotAtAllOrWhole) {
    HostLinkValueMessage message(MSG_SetState);
    const ByteArray before = message.serialize();
    sweepAllocations([&] { message.resize(5000); },
                     [&](const Outcome&) {
                         EXPECT_EQ(message.serialize(), before);
                         EXPECT_EQ(message.addValueUint8(1, 2).size(), 1);
                         message = HostLinkValueMessage(MSG_SetState);
                     });
}

// --- Whole lives ---

TEST(MessageWithoutMemory, IsBuiltSerializedParsedAndReadWithoutALeak) {
    sweepAllocations(
        [] {
            HostLinkValueMessage built(MSG_SetState);
            for (const Append& append : appends) append.run(built);
            const HostLinkValueMessage parsed(built.serialize());
            HostLinkValueMessage copied = parsed;
            copied = built;
            bool ok = false;
            parsed.getString(10, &ok);
            parsed.getBin16(9, &ok);
            HostLinkUInt16Message list(MSG_GetState);
            for (unsigned short i = 0; i < 100; ++i) list.addValue(i);
            HostLinkUInt16Message(list.serialize()).get(99, &ok);
        },
        expectAllGivenBack);
}

TEST(FrameWithoutMemory, IsCutAndAssembledWithoutALeak) {
    const ByteArray& message = manyBytes;
    sweepAllocations(
        [&] {
            const HostLinkMsgFrame cut(message, 1, 64);
            HostLinkFrame whole;
            for (int i = 0; i < cut.packetCount(); ++i) whole.addPacket(cut.serializePacket(i));
            HostLinkFrame copy = whole;
            copy = HostLinkFrame();
            whole = copy;
            whole.data();
            HostLinkIrqFrame::create(1, 64);
            HostLinkRspFrame::create(1, AcknowledgeType::Ack);
            HostLinkRstFrame::create(1);
        },
        expectAllGivenBack);
}

TEST(FrameWithoutMemory, IsLeftAsItWasAndTakesThePacketLater) {
    const ByteArray packet = messageEnd(1, 1, patternBytes(1200));
    HostLinkFrame frame;
    frame.addPacket(messagePart(1, 0, manyBytes));
    const HostLinkFrame before = frame;
    sweepAllocations([&] { frame.addPacket(packet); },
                     [&](const Outcome& outcome) {
                         EXPECT_EQ(outcome.live, 0);
                         if (!outcome.completed) {
                             EXPECT_FALSE(frame.complete());
                             EXPECT_EQ(frame.data(), manyBytes);
                             EXPECT_EQ(frame.addPacket(packet), 0U);
                         }
                         EXPECT_TRUE(frame.complete());
                         EXPECT_EQ(frame.data(), manyBytes + patternBytes(1200));
                         frame = before;
                     });
}

// --- Assignment ---

template <typename Value> void expectAssignmentIsAllOrNothing(const Value& from, Value to) {
    const Value before = to;
    sweepAllocations([&] { to = from; },
                     [&](const Outcome& outcome) {
                         EXPECT_EQ(outcome.live, 0);
                         EXPECT_EQ(to.serialize(), (outcome.completed ? from : before).serialize());
                         to = before;
                     });
}

TEST(MessageWithoutMemory, IsAssignedNotAtAllOrWhole) {
    HostLinkValueMessage values(MSG_SetState);
    values.addValueBin16(1, manyBytes);
    HostLinkValueMessage assigned(MSG_InputEvent);
    assigned.addValueBin16(2, manyBytes + manyBytes);
    expectAssignmentIsAllOrNothing(values, assigned);
    HostLinkUInt16Message list(MSG_GetState);
    for (unsigned short i = 0; i < 100; ++i) list.addValue(i);
    expectAssignmentIsAllOrNothing(list, HostLinkUInt16Message(MSG_SubscribeState));
}

// --- Text ---

// One packet for each way in which text is made.
std::vector<ByteArray> printedPackets() {
    HostLinkValueMessage states(MSG_SetState);
    for (const Append& append : appends) append.run(states);
    // Every tag that has named values, with one of the names.
    for (const auto& [tag, names] : messageIdToTagMap.at(MSG_SetState).tagAndValueToString)
        if (states.size() < 255) states.addValueInt32(static_cast<unsigned short>(tag), names.begin()->first);
    HostLinkUInt16Message list(MSG_GetState);
    list.addValue(1).addValue(0xFFFF);
    return {messageEnd(1, 0, states.serialize()), messageEnd(1, 0, list.serialize()), HostLinkIrqFrame::create(1, 64),
            HostLinkRspFrame::create(1, AcknowledgeType::Nack), HostLinkRstFrame::create(1)};
}

TEST(PrinterWithoutMemory, PrintsTheSameTextAfterwards) {
    for (const ByteArray& packet : printedPackets()) {
        const std::string expected = HostLinkPrinter::print(packet);
        sweepAllocations([&] { EXPECT_EQ(HostLinkPrinter::print(packet), expected); },
                         [&](const Outcome& outcome) {
                             EXPECT_EQ(outcome.live, 0);
                             EXPECT_EQ(HostLinkPrinter::print(packet), expected);
                         });
    }
}

// The one table that grows: an unknown format gains an entry without a name.
TEST(PrinterWithoutMemory, GainsTheUnknownFormatLater) {
    ByteArray packet = HostLinkRspFrame::create(1, AcknowledgeType::Ack);
    packet[4] = 0x05;
    const auto unknown = static_cast<LinkFrameFormat>(5);
    sweepAllocations([&] { HostLinkPrinter::print(packet); },
                     [&](const Outcome&) {
                         HostLinkPrinter::print(packet);
                         EXPECT_EQ(formatToString.count(unknown), 1U);
                         formatToString.erase(unknown);
                     });
}

TEST(HexDumpWithoutMemory, IsNotMadeWhileTracingIsOff) {
    const Allocations memory(1);
    HostLinkPhysicalLayer::printBuffer({}, "title");
    EXPECT_EQ(memory.count(), 0U);
}

// --- Properties ---

const std::string longPath(100, 'p');

TEST(PropertiesWithoutMemory, KeepsWhatItHadWhenTextCannotBeSet) {
    Properties properties;
    properties.setString(DevicePath, "/dev/old");
    sweepAllocations([&] { properties.setString(DevicePath, longPath); },
                     [&](const Outcome& outcome) {
                         EXPECT_EQ(properties.getString(DevicePath), outcome.completed ? longPath : "/dev/old");
                         properties = {};
                         properties.setString(DevicePath, "/dev/old");
                     });
}

TEST(PropertiesWithoutMemory, GainsNoKeyWhoseTextCannotBeSet) {
    Properties properties;
    sweepAllocations([&] { properties.setString(DevicePath, longPath); },
                     [&](const Outcome& outcome) {
                         EXPECT_EQ(properties.contains(DevicePath), outcome.completed);
                         properties = {};
                     });
}

TEST(PropertiesWithoutMemory, IsFilledCopiedAndReadWithoutALeak) {
    sweepAllocations(
        [] {
            Properties properties;
            properties.setString(DevicePath, longPath);
            properties.setInt(UartBaudRate, 115200);
            properties.setString(DevicePath, longPath + longPath);
            const Properties copy = properties;
            properties = copy;
            properties.getInt(UartBaudRate);
            properties.getString(DevicePath);
        },
        expectAllGivenBack);
}

} // namespace
