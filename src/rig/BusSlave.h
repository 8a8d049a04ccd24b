/// @file
/// What sits behind the devices of the rig.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "Bytes.h"

namespace busrig {

/// Time since the rig started. Never goes back.
using Time = std::chrono::microseconds;

/// What an idle bus reads as when no slave drives it.
constexpr unsigned char idleByte = 0xFF;

/// A device on the bus with an interrupt line. Not locked: the rig makes one call at a time.
class BusSlave {
public:
    virtual ~BusSlave() = default;

    /// The bytes of one write phase.
    virtual void write(const Bytes& bytes, Time now) = 0;
    /// Exactly `count` bytes for one read phase.
    virtual Bytes read(size_t count, Time now) = 0;
    /// Does what the time has come for.
    virtual void advance(Time now) = 0;
    /// Whether the slave pulls its interrupt line low.
    virtual bool wantsInterrupt(Time now) const = 0;
    /// When to look again although nothing happened on the bus; none when only the bus can change anything.
    virtual std::optional<Time> nextDeadline(Time now) const = 0;

    /// A command of the control interface that the rig itself does not know, such as "send" or "press", with
    /// everything behind it: the answer, or nothing when the slave does not know it either. Throws
    /// std::invalid_argument with a text for a bad argument.
    virtual std::optional<std::string> command(const std::string& name, const std::string& argument, Time now) = 0;
    /// What the slave has counted, by name.
    virtual std::map<std::string, uint64_t> counts() const = 0;
};

} // namespace busrig
