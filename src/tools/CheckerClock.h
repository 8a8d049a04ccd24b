/// @file
/// Whose time the checker of hosts goes by.
#pragma once

#include <memory>
#include <string>

#include <hostcheck/Wire.h>

/// Never goes back. Used by one thread.
class CheckerClock {
public:
    virtual ~CheckerClock() = default;
    /// @throw hostcheck::LineLost it stands still
    virtual hostcheck::Time now() = 0;

    /// This machine's, whatever else is used.
    static hostcheck::Time ofMachine();
};

/// @param source empty: this machine's clock. Else "FILE:OFFSET": the host's own milliseconds, 32 bits and
/// little-endian,
///        in memory that an emulator shares as a file. A host that is given less time than has passed is then not late.
/// @throw std::invalid_argument it is not of that form
/// @throw std::system_error the file cannot be read there
std::unique_ptr<CheckerClock> makeClock(const std::string& source);
