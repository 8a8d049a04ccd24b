// What a bus link does otherwise when it is asked to, over a real kernel's adapters and its GPIO character device; and
// all of it by a client's wires.
#include <chrono>
#include <fstream>
#include <stdexcept>
#include <string>

#include <hostlinkclient/Client.h>

#include "physicalLayers/bus/BusRigTest.h"

using testing::HasSubstr;
using testing::IsEmpty;

namespace {

const ByteArray message{0x02, 0x00, 0x01, 0x15, 0x00}; // what a host sends on its own

/// As long as this is there, the adapters take one message at a time.
class AdaptersThatCannotCombine {
public:
    AdaptersThatCannotCombine() { set("Y"); }
    ~AdaptersThatCannotCombine() { set("N"); }
    AdaptersThatCannotCombine(const AdaptersThatCannotCombine&) = delete;
    AdaptersThatCannotCombine& operator=(const AdaptersThatCannotCombine&) = delete;

private:
    static void set(const char* text) {
        std::ofstream file("/sys/module/rigbus/parameters/single");
        EXPECT_TRUE(file << text << std::flush);
    }
};

class KernelBusOptions : public BusRigTest {
protected:
    HostLinkPhysicalLayer::Properties onChip(int secondLook) const {
        HostLinkPhysicalLayer::Properties all = properties();
        all.setString(GpioChip, "riggpio");
        all.setString(GpioLine, "HOST_IRQ");
        all.setInt(GpioSecondLook, secondLook);
        return all;
    }
    void startOnChip(const HostLinkPhysicalLayer::Properties& all) {
        make(all);
        log.clear();
        ASSERT_TRUE(link->init()) << log.texts().back();
    }
    /// A host that is not ready before the last re-read, once, and holds the line.
    void announceFromASlowHost() {
        rig.fault("late 4");
        rig.send(message);
        ASSERT_TRUE(waitForExchanges(1));
    }
};

OVER_BOTH_WIRES(KernelBusOptions);

TEST_P(KernelBusOptions, SlowHostIsServedAfterASecondLookThroughTheChip) {
    startOnChip(onChip(20));
    announceFromASlowHost();
    EXPECT_TRUE(delivered.waitForCount(1));
    EXPECT_TRUE(rig.waitForCount("messagesSent", 1));
    link->shutdown();
    EXPECT_EQ(log.count("Sending IRQ frame: "), 2U);
    EXPECT_EQ(rig.count("interrupts"), 1U);
}

TEST_P(KernelBusOptions, SlowHostWaitsForItsNextEdgeWithoutASecondLook) {
    startOnChip(onChip(0));
    announceFromASlowHost();
    link->shutdown();
    EXPECT_EQ(log.count("Sending IRQ frame: "), 1U);
    EXPECT_EQ(delivered.count(), 0U);
}

class KernelI2cOptions : public KernelBusOptions {};
INSTANTIATE_TEST_SUITE_P(Wires, KernelI2cOptions, testing::Values(Wire::I2c));

TEST_P(KernelI2cOptions, AdapterThatCannotCombineNeedsTwoTransactions) {
    const AdaptersThatCannotCombine now;
    const LogCapture serial("SerialComm");
    start();
    EXPECT_EQ(link->writeData(numberedMessage(1)), NoResponse);
    EXPECT_THAT(serial.texts(log4cplus::ERROR_LOG_LEVEL).front(), HasSubstr("cannot write and read"));
    EXPECT_THAT(serial.texts(log4cplus::ERROR_LOG_LEVEL).front(), HasSubstr("Operation not supported"));
    link->shutdown();
    HostLinkPhysicalLayer::Properties all = properties();
    all.setInt(I2cOptions, 1);
    start(all);
    log.clear();
    EXPECT_EQ(link->writeData(numberedMessage(1)), Accepted);
    rig.send(message);
    EXPECT_TRUE(delivered.waitForCount(1));
    EXPECT_TRUE(rig.waitForCount("messagesSent", 1));
    EXPECT_THAT(errors(), IsEmpty());
}

// --- A client ---

void expectService(const hostlink::Wire& wire) {
    hostlink::Options patient; // a busy machine is no slow host
    patient.deadline = std::chrono::seconds(50);
    patient.answerTime = std::chrono::seconds(20);
    hostlink::Client client(wire, patient);
    EXPECT_EQ(client.set(STA_PlayerVolume, 30).text(), "");
    const auto volume = client.get(STA_PlayerVolume);
    ASSERT_TRUE(volume) << volume.text();
    EXPECT_EQ(volume.value(), hostlink::Value(30));
}

TEST_P(KernelBusOptions, ClientsWireTakesThemAll) {
    hostlink::LineWatch watch;
    watch.chip = "riggpio";
    watch.line = "HOST_IRQ";
    watch.secondLook = std::chrono::milliseconds(20);
    if (GetParam() == Wire::Spi) {
        hostlink::Spi spi{devicePathOf(Wire::Spi), 1000000};
        spi.watch = watch;
        expectService(spi);
        return;
    }
    const AdaptersThatCannotCombine now;
    hostlink::I2c i2c{devicePathOf(Wire::I2c), 0x42};
    i2c.watch = watch;
    i2c.twoTransactions = true;
    expectService(i2c);
}

} // namespace
