/// @file
/// The client's log.
#pragma once

#include <string>

#include "hostlinkclient/Options.h"

namespace hostlink {

/// Writes a line to the logger "HostLinkClient". Any thread, also while the process ends: nothing is written then.
void writeLog(LogLevel level, const std::string& line);

/// Has loggers of the libraries that nobody listens to stay silent: without an appender the first line of each would be
/// a complaint on the standard error. What is configured later is not changed by it. Any thread.
void acceptSilence();

} // namespace hostlink
