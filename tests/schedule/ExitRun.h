/// @file
/// One run of exit_under_traffic, from outside.
#pragma once

#include <cstdint>
#include <string>

/// How a program ended.
struct ExitOutcome {
    std::string how;    ///< "exit code 0", "signal 11", "does not end"
    std::string output; ///< both streams
    std::string report; ///< a sanitizer's part of it: the program may be gone before it can make a failure of that
};

/// Runs it to its end, at most a minute. The seed gives the moment; in a hunt it is also the seed of its schedule.
ExitOutcome exitUnderTraffic(const std::string& link, const std::string& device, std::uint64_t seed);
