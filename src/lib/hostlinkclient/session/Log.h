/// @file
/// The client's log.
#pragma once

#include <string>

#include "hostlinkclient/Options.h"

namespace hostlink {

/// Writes a line to the logger "HostLinkClient". Any thread, also while the process ends: nothing is written then.
void writeLog(LogLevel level, const std::string& line);

} // namespace hostlink
