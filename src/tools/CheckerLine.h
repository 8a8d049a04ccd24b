/// @file
/// The host's interrupt line, as the checker of hosts watches it.
#pragma once

#include <memory>

#include <hostcheck/Wire.h>

#include "HostcheckOptions.h"

/// Tells each falling edge, also one behind which the line is high again: whether that is right the checks judge. A
/// line that is low at first counts as an edge. Used by one thread.
class CheckerLine {
public:
    virtual ~CheckerLine() = default;

    /// Takes no edge away.
    virtual bool isLow() = 0;
    /// Waits for an edge that has not been told yet, at most for so long.
    /// @throw hostcheck::LineLost the line cannot be watched any more
    virtual bool waitForEdge(hostcheck::Time span) = 0;
};

/// Through the character device of the chip that the options name, else through sysfs.
/// @throw std::runtime_error, std::system_error it cannot be opened
std::unique_ptr<CheckerLine> openLine(const HostcheckOptions& options);
