/// @file
/// One board's buses: transactions come from the kernel and are carried out by the rig's slave.
#pragma once

#include <cstddef>
#include <vector>

#include <descriptor/Descriptor.h>
#include <rig/Rig.h>

#include "../modules/rigbus.h"

namespace kernelrig {

/// A transaction as the kernel's module tells it, and the outcome as it wants to hear it. Pure.
class Transaction {
public:
    /// Throws std::runtime_error when the message is cut.
    explicit Transaction(const busrig::Bytes& message);

    const char* bus() const { return head.bus == RIG_I2C ? "i2c" : "spi"; }
    bool isFor(unsigned slave) const { return head.bus != RIG_I2C || head.address == slave; }
    /// As the slave sees it: on I2C a message is a phase; on SPI neighbours in one direction are one, and a transfer in
    /// both directions gives what the slave has ready, then takes what is sent.
    std::vector<busrig::BusPhase>& phases() { return busPhases; }
    busrig::Bytes outcome(const busrig::BusResult& result) const;

private:
    struct Target { ///< where a received part is
        size_t phase, offset, length;
    };
    void add(const rig_phase& phase, const unsigned char* out);
    busrig::Bytes& roomFor(bool isRead);
    rig_outcome summary(const busrig::BusResult& result) const;

    rig_transaction head{};
    std::vector<busrig::BusPhase> busPhases;
    std::vector<Target> targets;
    size_t total = 0;
};

/// /dev/rigbusN, which has somebody behind it from now on: transactions wait to be served. Ends the program when it
/// cannot.
descriptor::Descriptor openBoard(size_t board);

/// Serves what openBoard() has opened until that fails, which ends the program.
[[noreturn]] void serveBoard(busrig::Rig& rig, size_t board, const descriptor::Descriptor& device);

} // namespace kernelrig
