/// @file
/// The log of the libraries, for whoever runs a program.
#pragma once

#include <string>

namespace console {

/// Sends what the libraries log, from this level on, to the standard error; "off" is silent. After log4cplus has been
/// initialised.
/// @param level "trace", "debug", "info", "warn", "error" or "off"
void startLogging(std::string level);

} // namespace console
