/// @file
/// Everything that the rig knows, in one place. Pure: no file system, no thread, no lock.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "BusSlave.h"
#include "GpioLines.h"
#include "LineWiring.h"
#include "SlavePort.h"
#include "SpiSettings.h"
#include "StandIn.h"
#include "SysfsSetup.h"

namespace busrig {

/// What is connected where. There are two boards, so that a program can have two links at once.
struct Board {
    int interruptLine;
    const char* i2cDevice; ///< below /dev
    const char* spiDevice;
};
constexpr std::array<Board, 2> boards{{{17, "i2c-1", "spidev0.0"}, {27, "i2c-2", "spidev0.1"}}};
/// The address of the slave on either I2C bus.
constexpr unsigned slaveAddress = 0x42;

/// Makes the slave of a board.
using SlaveFactory = std::function<std::unique_ptr<BusSlave>()>;

class RigState {
public:
    explicit RigState(const SlaveFactory& slaveFactory);

    /// A real kernel stands in front, from now on. Not owned, lives longer.
    void lead(KernelSide& kernelSide);

    /// Writes of a program to the files of /sys/class/gpio: bytes taken, or a negative errno.
    int writeExport(const std::string& text);
    int writeUnexport(const std::string& text);
    int writeAttribute(GpioFile& file, const std::string& text);
    /// 0 or a negative errno.
    int openAttribute(GpioFile& file, int line, GpioAttribute attribute);

    BusResult transact(size_t board, const std::string& bus, std::vector<BusPhase>& phases, Time now);

    /// Puts every interrupt line where its slave wants it; after every call that a slave may have noticed, and when
    /// `nextDeadline` has come.
    void updateLines(Time now, Wakeups& wakeups);
    std::optional<Time> nextDeadline(Time now) const;

    /// Holds the line low until the slave is next spoken to.
    void lowUntilServed(size_t board) { isLowUntilServed.at(board) = true; }

    std::map<std::string, uint64_t> counts(size_t board) const;

    /// Of both boards. An export that a fault has undone stays undone.
    void clearFaults(Wakeups& wakeups);

    /// Everything as freshly started. Files that are open are as after an unexport.
    void reset(Wakeups& wakeups);

    SlavePort& port(size_t board) { return *ports.at(board); }
    const SlavePort& port(size_t board) const { return *ports.at(board); }

    GpioLines lines;
    LineWiring wiring{lines};
    /// By board. They outlive the programs that made them.
    std::array<SpiSettings, boards.size()> spiSettings;
    SysfsSetup sysfs;
    bool valueFileMissing = false;
    /// By board: whether transactions wait before they begin, and how many do.
    std::array<bool, boards.size()> held{};
    std::array<uint64_t, boards.size()> waiting{};
    /// By board: who may be in the slave's place.
    std::array<StandIn, boards.size()> standIns;

private:
    void connectSlaves();

    const SlaveFactory makeSlave;
    KernelSide* kernel = nullptr; ///< or none
    std::array<std::unique_ptr<SlavePort>, boards.size()> ports;
    std::array<bool, boards.size()> isLowUntilServed{};
};

/// "direction", "edge" or "value".
const char* attributeName(GpioAttribute attribute);

} // namespace busrig
