/// @file
/// The host's interrupt line, whichever of the kernel's two interfaces it is watched through.
#pragma once

#include <cstddef>
#include <memory>

#include "hostlink/HostLinkPhysicalLayer.h"

/// One line on which the host announces packets by a falling edge.
///
/// `open` and `close` are called while nobody watches, or by the watcher as it leaves; `beforeWait` and `afterWait` by
/// the watcher; `isLow` by any thread that keeps `close` away meanwhile.
class InterruptLine {
public:
    /// What the watcher hands to poll(2).
    struct Wait {
        int descriptor;
        short events;
        int timeout; ///< milliseconds; −1 for none
    };
    /// What one wait has brought.
    struct Seen {
        bool watchable;    ///< false, after an ERROR line: the line can no longer be watched
        std::size_t edges; ///< falling edges to serve
    };

    InterruptLine() = default;
    InterruptLine(const InterruptLine&) = delete;
    InterruptLine& operator=(const InterruptLine&) = delete;
    virtual ~InterruptLine() = default;

    /// Makes the line an input that reports falling edges. False, with nothing left open, after an ERROR line that says
    /// why. A line that is low already counts as an edge.
    virtual bool open() = 0;
    /// Right before each poll.
    virtual Wait beforeWait() = 0;
    /// Right after it, also after a time-out, with what poll reported of the line.
    virtual Seen afterWait(short reported) = 0;
    /// Whether the line is low now. False when that cannot be told. Takes no edge away from the watcher.
    virtual bool isLow() = 0;
    /// Gives the line back; without effect when it is not open.
    virtual void close() = 0;
};

/// The line that the properties name: `number` through sysfs, or, where they have `GpioChip`, a line of that chip
/// through its character device. Opens nothing.
/// @throw std::invalid_argument, std::out_of_range a number in the properties cannot be read
std::unique_ptr<InterruptLine> makeInterruptLine(const HostLinkPhysicalLayer::Properties& properties, int number);
