/// @file
/// Baud rates that classic termios has no code for.
#pragma once

namespace serialcomm {

/// Sets both directions of the open terminal `fd` to `bitsPerSecond` and leaves everything else; false with errno set.
bool setArbitraryBaudRate(int fd, unsigned bitsPerSecond);

} // namespace serialcomm
