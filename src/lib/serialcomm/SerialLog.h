/// @file
/// Log lines of this library. All go to the logger "SerialComm" and read "<device>: <what happened>".
#pragma once

#include <string>
#include <string_view>

namespace serialcomm {

/// What the system says about an errno value. Unlike `strerror`, safe on every thread.
std::string errorText(int error);

/// One ERROR line; `what` says what failed and, where that helps, what to do.
void logError(const std::string& device, std::string_view what);

/// One ERROR line that ends with the text of `error`, an errno value. Plain text may stand beside `errno` in the call:
/// a view of it allocates nothing that could change errno before it is taken.
void logSystemError(const std::string& device, std::string_view what, int error);

/// One WARN line: the device works, but not quite as asked.
void logWarning(const std::string& device, std::string_view what);

} // namespace serialcomm
