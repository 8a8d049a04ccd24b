/// @file
/// The host's engine behind the interrupt of an I2C peripheral.
#pragma once

#include <cstddef>
#include <cstdint>

#include <host/HostLinkHostBus.h>
#include <hostlink/ByteArray.h>

namespace hostsim {

/// A peripheral as a micro-controller has it: one interrupt, and a data register of one byte. Each address match, each
/// byte and each stop calls the handler once; the handler has nothing else to go by.
class I2cPeripheral {
public:
    /// @param engine not owned, must live longer
    explicit I2cPeripheral(HostLinkHostBus& engine) : bus(engine) {}

    /// A master addresses the device, sends these bytes and stops.
    void write(const ByteArray& bytes, uint32_t now);

    /// A master addresses the device, takes so many bytes and stops.
    ByteArray read(size_t count, uint32_t now);

    /// How often the handler has run.
    uint64_t interrupts() const { return handled; }

private:
    enum class Cause { AddressedForWrite, ByteReceived, AddressedForRead, ByteRequested, Stopped };

    void interrupt(Cause cause, uint32_t now);

    HostLinkHostBus& bus;
    uint8_t dataRegister = 0;
    uint64_t handled = 0;
};

} // namespace hostsim
