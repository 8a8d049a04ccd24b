// A controller that goes while a link watches one of its lines. In a program of its own: Linux 6.1 never lets go of a
// controller that went with a line requested, so that another one cannot have its numbers.
#include <chrono>
#include <string>

#include "physicalLayers/bus/BusRigTest.h"
#include "support/Watchdog.h"

namespace {

// The watch of the tests ends one that waits for as long as this; so a minute and more is waited for in parts.
constexpr std::chrono::seconds part{30};
constexpr int partsAboveAMinute = 5;

// Linux 6.1 does not wake who sleeps in poll: the watcher looks once a minute.
TEST(KernelChipGone, IsNoticedWithinAMinute) {
    busrig::RigControl rig;
    rig.reset();
    const NewThreads linkThreads;
    const LogCapture log("HostLinkPhysicalLayer");
    HostLinkPhysicalLayer::Properties properties = propertiesOf(Wire::I2c);
    properties.setString(GpioChip, "riggpio");
    const std::unique_ptr<HostLinkPhysicalLayer> link(HostLinkPhysicalLayer::create("i2c", properties));
    ASSERT_TRUE(link->init());
    ASSERT_NE(linkThreads.polling(), -1) << "it would be told at once";
    rig.command("controller 0");
    bool told = false;
    for (int i = 0; i < partsAboveAMinute && !told; ++i) {
        testIsAt("the minute until the watcher looks");
        told = log.waitFor("lost: No such device; no interrupts", 1, part);
    }
    EXPECT_TRUE(told);
    link->shutdown();
    EXPECT_FALSE(link->init()) << "nothing is there";
}

} // namespace
