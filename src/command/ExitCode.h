/// @file
/// What the program tells the one that ran it.
#pragma once

#include <hostlinkclient/Outcome.h>

namespace command {

enum class ExitCode {
    Good = 0,
    HostSaidNo = 1, ///< the host answered, and not as asked
    BadUsage = 2,   ///< nothing was sent
    NoLink = 3,     ///< the host has not got it
    Unknown = 4     ///< the host may have acted on it
};

ExitCode exitCodeOf(hostlink::Outcome outcome);

} // namespace command
