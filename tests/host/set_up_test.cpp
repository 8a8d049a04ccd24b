// Setting a host up: what it refuses, and that the macros tell sizes that do.
#include <gtest/gtest.h>

#include <host/HostLinkHostBus.h>
#include <host/HostLinkHostUart.h>

#include "TestHost.h"

namespace {

constexpr uint32_t noStorage = 24;
constexpr uint32_t tooShort = 10;
constexpr uint32_t noRoom = 16;

uint32_t withSetup(void (*change)(HostLinkHostSetup&)) {
    TestHost test;
    change(test.setup);
    return test.start();
}

} // namespace

TEST(HostSetUp, DefaultsAreTheModulesOwnTimes) {
    TestHost test;
    EXPECT_EQ(test.setup.responseTimeout, 1000);
    EXPECT_EQ(test.setup.retryDelay, 10);
    EXPECT_EQ(test.setup.repeatWindow, 500);
    EXPECT_EQ(test.setup.attempts, 4);
}

TEST(HostSetUp, RefusesWhatIsMissing) {
    HostLinkHost host;
    EXPECT_EQ(hostLinkHostInit(nullptr, nullptr), noStorage);
    EXPECT_EQ(hostLinkHostInit(&host, nullptr), noStorage);
    EXPECT_EQ(withSetup([](HostLinkHostSetup& setup) { setup.frames = nullptr; }), noStorage);
    EXPECT_EQ(withSetup([](HostLinkHostSetup& setup) { setup.openFrames = 0; }), noStorage);
    EXPECT_EQ(withSetup([](HostLinkHostSetup& setup) { setup.messages = nullptr; }), noStorage);
    EXPECT_EQ(withSetup([](HostLinkHostSetup& setup) { setup.queue = nullptr; }), noStorage);
    EXPECT_EQ(withSetup([](HostLinkHostSetup& setup) { setup.packet = nullptr; }), noStorage);
    EXPECT_EQ(withSetup([](HostLinkHostSetup& setup) { setup.events.message = nullptr; }), noStorage);
}

TEST(HostSetUp, RefusesWhatIsTooSmall) {
    EXPECT_EQ(withSetup([](HostLinkHostSetup& setup) { setup.packetSize = 10; }), tooShort);
    EXPECT_EQ(withSetup([](HostLinkHostSetup& setup) { setup.packetSize = 11; }), 0U);
    EXPECT_EQ(withSetup([](HostLinkHostSetup& setup) { setup.messageSize = 2; }), noRoom);
    EXPECT_EQ(withSetup([](HostLinkHostSetup& setup) { setup.messageSize = 3; }), 0U);
    EXPECT_EQ(withSetup([](HostLinkHostSetup& setup) { setup.queueSize = 9; }), noRoom);
    EXPECT_EQ(withSetup([](HostLinkHostSetup& setup) { setup.queueSize = 10; }), 0U);
}

TEST(HostSetUp, TellsTheFirstThingThatIsWrong) {
    EXPECT_EQ(withSetup([](HostLinkHostSetup& setup) {
                  setup.packetSize = 10;
                  setup.queueSize = 0;
              }),
              tooShort);
    EXPECT_EQ(withSetup([](HostLinkHostSetup& setup) {
                  setup.packetSize = 10;
                  setup.queue = nullptr;
              }),
              noStorage);
}

TEST(HostSetUp, DoesWithoutTheEventsThatMayBeMissing) {
    TestHost test;
    test.setup.events.reset = nullptr;
    test.setup.events.outcome = nullptr;
    EXPECT_EQ(test.start(), 0U);
}

TEST(HostSetUp, WiresRefuseWhatIsMissingOrTooSmall) {
    TestHost test;
    uint8_t received[14];
    HostLinkHostUart uart;
    HostLinkHostUartSetup line;
    hostLinkHostUartDefaults(&line);
    EXPECT_EQ(line.packetTimeout, 100);
    line.receivedSize = 11;
    EXPECT_EQ(hostLinkHostUartInit(&uart, &test.host, &line), noStorage);
    line.received = received;
    EXPECT_EQ(hostLinkHostUartInit(&uart, nullptr, &line), noStorage);
    EXPECT_EQ(hostLinkHostUartInit(&uart, &test.host, &line), 0U);
    line.receivedSize = 10;
    EXPECT_EQ(hostLinkHostUartInit(&uart, &test.host, &line), tooShort);

    HostLinkHostBus bus;
    HostLinkHostBusSetup device;
    hostLinkHostBusDefaults(&device);
    EXPECT_EQ(device.interruptRepeat, 250);
    EXPECT_EQ(device.interruptGap, 1);
    device.receivedSize = 14;
    EXPECT_EQ(hostLinkHostBusInit(&bus, &test.host, &device), noStorage);
    device.received = received;
    EXPECT_EQ(hostLinkHostBusInit(&bus, nullptr, &device), noStorage);
    EXPECT_EQ(hostLinkHostBusInit(&bus, &test.host, &device), 0U);
    device.receivedSize = 13;
    EXPECT_EQ(hostLinkHostBusInit(&bus, &test.host, &device), tooShort);
}

TEST(HostSetUp, StorageInOnePieceFillsTheSetup) {
    static HOSTLINK_HOST_STORAGE(32, 100, 3, 5) storage;
    HostLinkHostSetup setup;
    hostLinkHostDefaults(&setup);
    HOSTLINK_HOST_USE_STORAGE(&setup, storage);
    EXPECT_EQ(setup.frames, storage.frames);
    EXPECT_EQ(setup.openFrames, 3);
    EXPECT_EQ(setup.messages, storage.messages);
    EXPECT_EQ(setup.messageSize, 100U);
    EXPECT_EQ(setup.queue, storage.queue);
    EXPECT_EQ(setup.queueSize, 612U); // six times 102
    EXPECT_EQ(setup.packet, storage.packet);
    EXPECT_EQ(setup.packetSize, 32);
    EXPECT_EQ(sizeof storage.received, 32U);
}
