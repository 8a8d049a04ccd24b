// The engine behind the interrupt of an I2C peripheral.
#include <gtest/gtest.h>

#include <hostsim/I2cPeripheral.h>
#include <hostsim/SimulatedHost.h>

#include "support/Bytes.h"

namespace {

constexpr char getVolume[] = "FF FE 0F 00 23 11 00 00 02 00 01 09 00 00 00"; // 15 bytes
constexpr char ackOf11[] = "FF FE 08 00 A3 11 00 00";

struct Device {
    hostsim::SimulatedHost host{hostsim::HostOptions{}};
    uint8_t received[64] = {};
    HostLinkHostBus bus{};
    hostsim::I2cPeripheral peripheral{bus};

    Device() {
        HostLinkHostBusSetup setup;
        hostLinkHostBusDefaults(&setup);
        setup.received = received;
        setup.receivedSize = sizeof received;
        EXPECT_EQ(hostLinkHostBusInit(&bus, &host.engine(), &setup), HOSTLINK_SUCCESS);
    }
};

} // namespace

TEST(I2cPeripheral, InterruptsForEachAddressByteAndStop) {
    Device device;
    device.peripheral.write(bytes(getVolume), 0);
    EXPECT_EQ(device.peripheral.interrupts(), 1u + 15 + 1);
    EXPECT_EQ(hex(device.peripheral.read(8, 1)), ackOf11);
    EXPECT_EQ(device.peripheral.interrupts(), 17u + 1 + 8 + 1);
}

TEST(I2cPeripheral, AScanIsAnAddressAndAStop) {
    Device device;
    device.peripheral.write({}, 0);
    EXPECT_EQ(device.peripheral.interrupts(), 2u);
    EXPECT_EQ(hex(device.peripheral.read(2, 1)), "FF FF");
}

TEST(I2cPeripheral, EachReadGetsTheAnswerFromItsBeginning) {
    Device device;
    device.peripheral.write(bytes(getVolume), 0);
    EXPECT_EQ(hex(device.peripheral.read(3, 1)), "FF FE 08");
    EXPECT_EQ(hex(device.peripheral.read(10, 2)), "FF FE 08 00 A3 11 00 00 FF FF");
}
