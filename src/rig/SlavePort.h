/// @file
/// The place where a slave is connected: its address, its interrupt line, what disturbs the connection and what was
/// seen on it. Pure: no device, no thread, no lock. The owner serialises the calls.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "BusFaults.h"
#include "BusSlave.h"
#include "Bytes.h"

namespace busrig {

/// A part of a transaction in which the data goes in one direction.
struct BusPhase {
    static BusPhase write(Bytes bytes) { return {false, std::move(bytes)}; }
    static BusPhase read(size_t count) { return {true, Bytes(count)}; }

    bool isRead;
    /// Bytes to write, or room for the bytes to read: its size is what the master asks for.
    Bytes bytes;
};

struct BusResult {
    int error = 0; ///< errno, or 0
    size_t phasesDone = 0;
    bool isShort = false; ///< not everything was carried out, although there was no error
};

class SlavePort {
public:
    SlavePort(int interruptLine, std::unique_ptr<BusSlave> slave);

    /// One transaction, from start to stop (I2C) or as long as the chip is selected (SPI). A phase that was carried out
    /// in part has its bytes cut to that part. `bus` names the wire in the log.
    BusResult transact(const std::string& bus, std::vector<BusPhase>& phases, Time now);

    /// Lets the slave do what the time has come for. Returns the levels (true: high) that the slave's end of the
    /// interrupt line goes through in order, usually none or one.
    std::vector<bool> lineMoves(Time now);
    std::optional<Time> nextDeadline(Time now) const;

    int interruptLine() const { return line; }
    BusSlave& slave() { return *attached; }

    /// Without the slave, what is written is only logged and what is read comes from the script.
    void setManual(bool on) { manual = on; }
    /// The next read phases get these bytes, filled up with idle ones, in place of the slave's answers.
    void scriptReply(Bytes reply) { script.push_back({std::move(reply), 0}); }
    /// A transaction that meets this entry ends with the errno instead.
    void scriptError(int number) { script.push_back({{}, number}); }

    BusFaults faults;

    std::map<std::string, uint64_t> counts() const;
    /// The latest phases, oldest first: "i2c w fffe...", "spi r ...", "i2c ! ENXIO".
    const std::deque<std::string>& log() const { return entries; }

private:
    struct Scripted {
        Bytes bytes;
        int error;
    };
    struct Counters {
        uint64_t transactions = 0, writes = 0, reads = 0, bytesWritten = 0, bytesRead = 0;
        uint64_t errors = 0, faults = 0, interrupts = 0, logDropped = 0;
    };

    BusResult fail(const std::string& bus, int error);
    bool carryOut(const std::string& bus, BusPhase& phase, Time now);
    void carryOutWrite(const Bytes& bytes, Time now);
    Bytes carryOutRead(size_t count, Time now);
    bool hit(unsigned& fault);
    void remember(std::string entry);

    const int line;
    const std::unique_ptr<BusSlave> attached;
    bool manual = false;
    /// The slave did not get the latest write, or its answer is lost: nothing answers until the next write.
    bool unanswered = false;
    bool asking = false;    ///< the slave wanted an interrupt when last looked at
    bool pulledLow = false; ///< what the slave's end of the line was left at
    std::deque<Scripted> script;
    std::deque<std::string> entries;
    Counters counters;
};

} // namespace busrig
