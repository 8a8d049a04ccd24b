/// @file
/// A log line as log4cplus brings it.
#pragma once

#include <cstdint>

namespace bench {

/// Logs at TRACE, and returns the value.
uint64_t plainLogLine(uint64_t value);

} // namespace bench
