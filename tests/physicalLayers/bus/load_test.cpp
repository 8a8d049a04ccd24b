// Many messages in each direction at once.
//
// HOSTLINK_BUS_MESSAGES in the environment sets how many; 10,000 unless that is given, 1,000 under a sanitizer, where
// each costs several times as much.
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>

#include <hostlink/HostLinkTransportLayer.h>

#include "BusRigTest.h"
#include "support/Sanitizers.h"
#include "support/Watchdog.h"

namespace {

constexpr unsigned usualCount = HOSTLINK_ADDRESS_SANITIZER || HOSTLINK_THREAD_SANITIZER ? 1000 : 10000;

unsigned messageCount() {
    const char* given = std::getenv("HOSTLINK_BUS_MESSAGES");
    return given != nullptr ? static_cast<unsigned>(std::strtoul(given, nullptr, 10)) : usualCount;
}

ByteArray numbered(const std::string& start, unsigned number) {
    const auto byte = [&](int at) { return static_cast<unsigned char>((number >> (8 * at)) & 0xFF); };
    return bytes(start) + ByteArray{byte(0), byte(1), byte(2), byte(3)};
}

/// "SetStateMessage", PlayerVolume (9) as Uint32, and the host's answer with the value that it then holds.
ByteArray request(unsigned number) {
    return numbered("01 00 01 09 00 CE", number);
}
ByteArray answer(unsigned number) {
    return numbered("01 80 01 09 00 CE", number);
}
/// "InputEventMessage", BUT_KeyRepeated as Uint32.
ByteArray event(unsigned number) {
    return numbered("06 00 01 02 00 CE", number);
}

/// Counts numbered messages of the two kinds, which have to come one by one in order. On one thread at a time.
struct Sequence {
    void take(const ByteArray& message) {
        if (message == event(events)) {
            ++events;
        } else if (message == answer(answers)) {
            ++answers;
        } else if (wrong++ == 0) {
            firstWrong = hex(message);
        }
    }

    unsigned events = 0;
    unsigned answers = 0;
    unsigned wrong = 0; // out of order, twice, or not ours
    std::string firstWrong;
};

// No LogCapture here: it would keep every line.
class BusLoad : public testing::TestWithParam<Wire> {
protected:
    void SetUp() override {
        rig.reset();
        // A usual host gives a message up after a second: where a busy machine holds the link up for that long, it
        // would be missing.
        rig.command("host-options responseTimeoutMs=60000");
    }

    busrig::RigControl rig;
};

OVER_BOTH_WIRES(BusLoad);

TEST_P(BusLoad, MessagesInBothDirectionsAtOnceArriveCompleteInOrderAndOnce) {
    const unsigned count = messageCount();
    Sequence sequence; // the reader thread's until it has ended
    const std::unique_ptr<HostLinkPhysicalLayer> link(
        HostLinkPhysicalLayer::create(nameOf(GetParam()).c_str(), propertiesOf(GetParam())));
    HostLinkTransportLayer transport(link.get());
    transport.addMessageReceivedObserver([&](const ByteArray& message) { sequence.take(message); });
    transport.initTransportLayer();

    rig.burst(count);
    unsigned refused = 0;
    const auto begin = std::chrono::steady_clock::now();
    for (unsigned number = 0; number < count; ++number) {
        if (number % 500 == 0) testIsAt("message " + std::to_string(number));
        refused += transport.writeMessage(request(number)) ? 0 : 1;
    }
    const auto written = std::chrono::steady_clock::now();
    const uint64_t sentMeanwhile = rig.count("messagesSent");
    const uint64_t all = 2 * uint64_t{count};
    for (uint64_t sent = sentMeanwhile; sent < all;) {
        testIsAt("message " + std::to_string(sent) + " of the host");
        sent = std::min(sent + 500, all);
        ASSERT_TRUE(rig.waitForCount("messagesSent", sent, std::chrono::seconds(50))) << sent;
    }
    const std::chrono::duration<double> writing = written - begin;
    const std::chrono::duration<double> whole = std::chrono::steady_clock::now() - begin;
    transport.shutdown();

    const busrig::RigControl::Counts host = rig.counts();
    std::cout << nameOf(GetParam()) << ": " << count << " messages to the host, " << sequence.events << " events and "
              << sequence.answers << " answers from it, in order, " << sequence.wrong
              << " others; host: " << host.at("messagesReceived") << " received, " << host.at("messagesSent")
              << " sent, " << sentMeanwhile << " of them while it received, " << host.at("interrupts")
              << " interrupts, " << host.at("transactions") << " transactions; " << writing.count() << " s writing, "
              << whole.count() << " s in all" << std::endl;
    EXPECT_EQ(refused, 0U);
    EXPECT_EQ(sequence.events, count);
    EXPECT_EQ(sequence.answers, count);
    EXPECT_EQ(sequence.wrong, 0U) << sequence.firstWrong;
    EXPECT_EQ(host.at("messagesReceived"), count);
    EXPECT_EQ(host.at("messagesSent"), 2 * uint64_t{count});
    EXPECT_EQ(host.at("duplicatePackets"), 0U);
    EXPECT_EQ(host.at("messagesGivenUp"), 0U);
    EXPECT_EQ(host.at("nacksReceived"), 0U);
    EXPECT_EQ(host.at("badPackets"), 0U);
}

} // namespace
