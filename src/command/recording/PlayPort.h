/// @file
/// The line over which a recording is played.
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include <hostlink/ByteArray.h>

#include "command/WireOptions.h"

namespace command {

/// One thread.
class PlayPort {
public:
    virtual ~PlayPort() = default;
    /// What the other side opens, or what was opened.
    virtual const std::string& path() const = 0;
    /// False when the other side takes nothing, or is gone.
    virtual bool write(const ByteArray& bytes) = 0;
    /// What has come, once something has; empty when nothing has within that time.
    virtual ByteArray read(std::chrono::milliseconds within) = 0;
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

} // namespace command
