// A bus link whose interrupt line is watched through a real kernel's GPIO character device.
#include <fstream>
#include <string>

#include "physicalLayers/bus/BusRigTest.h"

using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class KernelChipLine : public BusRigTest {
protected:
    HostLinkPhysicalLayer::Properties onChip(const std::string& chip = "riggpio", int offset = gpio) const {
        HostLinkPhysicalLayer::Properties all = properties();
        all.setString(GpioChip, chip);
        all.setInt(GpioNumber, offset);
        return all;
    }
    void startOnChip(const HostLinkPhysicalLayer::Properties& all) {
        make(all);
        log.clear();
        ASSERT_TRUE(link->init()) << log.texts().back();
    }
    void expectRefused(const HostLinkPhysicalLayer::Properties& all, const std::string& why) {
        make(all);
        log.clear();
        EXPECT_FALSE(link->init());
        ASSERT_EQ(errors().size(), 1U);
        EXPECT_THAT(errors().front(), HasSubstr(why));
    }
    static bool writeTo(const std::string& file, const std::string& text) {
        std::ofstream stream("/sys/class/gpio/" + file);
        stream << text << std::flush;
        return stream.good();
    }
    void pulse(int times) {
        for (int i = 0; i < times; ++i) {
            rig.line(gpio, false);
            rig.line(gpio, true);
        }
    }
};

OVER_BOTH_WIRES(KernelChipLine);

TEST_P(KernelChipLine, MessagesFlowInBothDirections) {
    startOnChip(onChip());
    rig.press(1); // two messages
    EXPECT_TRUE(delivered.waitForCount(2));
    EXPECT_EQ(link->writeData(numberedMessage(1)), Accepted);
    link->shutdown();
    ASSERT_TRUE(link->init());
    rig.press(1);
    EXPECT_TRUE(delivered.waitForCount(4));
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_P(KernelChipLine, WhatTheHostAnnouncedBeforeTheStartIsRead) {
    make(onChip());
    rig.press(1);
    log.clear();
    ASSERT_TRUE(link->init());
    EXPECT_TRUE(delivered.waitForCount(2));
    EXPECT_THAT(errors(), IsEmpty());
}

// Through sysfs each would be a line that is high again. Pulses that follow one another faster than the kernel's
// interrupt thread runs are one to the kernel itself.
TEST_P(KernelChipLine, ThreePulsesAreThreeExchanges) {
    rig.slaveManual();
    startOnChip(onChip());
    for (size_t seen = 1; seen <= 3; ++seen) {
        pulse(1);
        ASSERT_TRUE(log.waitFor("IRQ GPIO falling edges: 1", seen));
    }
    EXPECT_TRUE(waitForExchanges(3));
    link->shutdown();
    EXPECT_EQ(log.count("Sending IRQ frame: "), 3U);
}

TEST_P(KernelChipLine, DebounceLeavesOutShortPulses) {
    rig.slaveManual();
    HostLinkPhysicalLayer::Properties all = onChip();
    all.setInt(GpioDebounce, 2000000);
    startOnChip(all);
    pulse(5); // each far shorter
    rig.line(gpio, false);
    EXPECT_TRUE(waitForExchanges(1));
    link->shutdown();
    EXPECT_EQ(log.count("Sending IRQ frame: "), 1U);
    rig.line(gpio, true);
}

TEST_P(KernelChipLine, HolderIsNamedAndTheLineIsFreeAfterShutdown) {
    ASSERT_TRUE(writeTo("export", "17"));
    expectRefused(onChip(), R"(is held by "sysfs")");
    ASSERT_TRUE(writeTo("unexport", "17"));
    ASSERT_TRUE(link->init());
    EXPECT_FALSE(writeTo("export", "17"));
    link->shutdown();
    EXPECT_TRUE(writeTo("export", "17"));
    EXPECT_TRUE(writeTo("unexport", "17"));
}

TEST_P(KernelChipLine, WhatTheKernelRefusesIsTold) {
    expectRefused(onChip("riggpio-plain", 0), "its controller cannot interrupt; choose another line: ");
    expectRefused(onChip("riggpio", 64), "has no line 64; it has 0 to 63");
    expectRefused(onChip("nobody"), "no chip has this label");
    expectRefused(onChip("/dev/gpiochip4711"), "No such file or directory");
}

// --- sysfs ---

using Texts = std::vector<std::string>;

TEST(KernelSysfsLineTold, LineOfAControllerWithoutInterruptsIsToldToBeDeaf) {
    busrig::RigControl rig;
    rig.reset();
    const LogCapture log("HostLinkPhysicalLayer");
    HostLinkPhysicalLayer::Properties properties = propertiesOf(Wire::I2c);
    properties.setInt(GpioNumber, 64);
    const std::unique_ptr<HostLinkPhysicalLayer> link(HostLinkPhysicalLayer::create("i2c", properties));
    EXPECT_TRUE(link->init());
    EXPECT_EQ(log.texts(log4cplus::WARN_LOG_LEVEL),
              (Texts{"Gpio direction failed: 64", "Gpio edge failed: 64",
                     "Gpio 64: edge could not be set to falling: No such file or directory; its controller cannot "
                     "interrupt: the link is deaf, the host's packets are not read"}));
    std::ofstream("/sys/class/gpio/unexport") << 64 << std::flush;
}

TEST(KernelSysfsLineTold, LineThatAnotherHoldsIsToldToBeHeld) {
    busrig::RigControl rig;
    rig.reset();
    HostLinkPhysicalLayer::Properties properties = propertiesOf(Wire::I2c);
    HostLinkPhysicalLayer::Properties onChip = properties;
    onChip.setString(GpioChip, "riggpio");
    const std::unique_ptr<HostLinkPhysicalLayer> holder(HostLinkPhysicalLayer::create("i2c", onChip));
    ASSERT_TRUE(holder->init());
    const LogCapture log("HostLinkPhysicalLayer");
    const std::unique_ptr<HostLinkPhysicalLayer> link(HostLinkPhysicalLayer::create("i2c", properties));
    EXPECT_FALSE(link->init());
    EXPECT_EQ(log.texts(log4cplus::WARN_LOG_LEVEL),
              (Texts{"Gpio direction failed: 17", "Gpio edge failed: 17", "Open failed: 17",
                     "Gpio 17: a driver or another program holds the line (gpioinfo names it): it cannot be exported, "
                     "and the link cannot start until it is free"}));
}

TEST(KernelSysfsLineTold, NumberOfNoControllerIsToldToBeNone) {
    busrig::RigControl rig;
    rig.reset();
    const LogCapture log("HostLinkPhysicalLayer");
    HostLinkPhysicalLayer::Properties properties = propertiesOf(Wire::I2c);
    properties.setInt(GpioNumber, 4711);
    const std::unique_ptr<HostLinkPhysicalLayer> link(HostLinkPhysicalLayer::create("i2c", properties));
    EXPECT_FALSE(link->init());
    EXPECT_EQ(
        log.texts(log4cplus::WARN_LOG_LEVEL),
        (Texts{"Gpio direction failed: 4711", "Gpio edge failed: 4711", "Open failed: 4711",
               "Gpio 4711: could not be exported: Invalid argument (no controller has a line of this number); the "
               "link cannot start until it is"}));
}

} // namespace
