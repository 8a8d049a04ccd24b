/// @file
/// The wire over which a recording is played.
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include <hostlink/ByteArray.h>

#include "BusScript.h"
#include "command/WireOptions.h"

namespace command {

/// One thread.
class PlayPort {
public:
    virtual ~PlayPort() = default;
    /// What the other side opens, or what was opened.
    virtual const std::string& path() const = 0;
    /// Says what the step holds. False when the other side takes nothing, or is gone.
    virtual bool say(const Step& step) = 0;
    /// What has come, once something has; empty when nothing has within that time.
    virtual ByteArray read(std::chrono::milliseconds within) = 0;
    /// What came last was taken for this step of the recording; null: for none.
    virtual void taken(const Step* /*step*/) {}
    /// Waits until the other side has asked by the interrupt line; false when it has not within that time.
    virtual bool awaitRequest(std::chrono::milliseconds /*within*/) { return true; }
    /// Nobody is played any more; the other side is left to itself.
    virtual void leave() {}
    /// Whether nothing can come any more.
    virtual bool isGone() const = 0;
};

/// A pseudo terminal that programs open.
/// @param link of a symbolic link to it; empty: none
/// @throw std::system_error there is none to be had
std::unique_ptr<PlayPort> makeTerminal(const std::string& link);
/// A serial port.
/// @throw UsageError it is not named, or cannot be opened
std::unique_ptr<PlayPort> openSerialPort(const WireOptions& wire);
/// The bus of a host, for the module.
/// @throw UsageError it is not named whole, or cannot be opened
std::unique_ptr<PlayPort> openBus(const WireOptions& wire);
/// The place of the host in the rig around this process, on both buses of its first board, for the recorded host.
/// @param exchanges what it answers; lives longer
/// @param kind of the recorded wire, "i2c" or "spi": which of the buses `path` names
/// @throw UsageError there is no rig around
std::unique_ptr<PlayPort> standInTheRig(const std::vector<BusExchange>& exchanges, const std::string& kind);

} // namespace command
