/// @file
/// A host's end of a serial line, whatever the host is.
#pragma once

#include <optional>

#include <hostlink/ByteArray.h>

#include "HostTime.h"

namespace hostsim {

/// Bytes in, packets out. Not locked: one thread at a time.
class LineEnd {
public:
    virtual ~LineEnd() = default;

    /// Bytes have come from the module.
    virtual void receive(const ByteArray& bytes, Time now) = 0;
    /// The bytes of the next write; empty when there is nothing to write by now.
    virtual ByteArray nextWrite(Time now) = 0;
    /// Does what the time has come for.
    virtual void advance(Time now) = 0;
    /// When `advance` and `nextWrite` are to be called next although nothing has come in; none when only the module or
    /// a new message can change anything. May be in the past.
    virtual std::optional<Time> nextDeadline(Time now) const = 0;
};

} // namespace hostsim
