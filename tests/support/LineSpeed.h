/// @file
/// The baud rate of a terminal as a number, whatever it is.
#pragma once

/// Bits per second in each direction.
struct LineSpeed {
    unsigned input;
    unsigned output;
};

/// The speed of the open terminal `fd`; on a pty's master that of its slave. Throws std::system_error on failure.
LineSpeed lineSpeed(int fd);
/// Sets both directions to any speed. Throws std::system_error on failure.
void setLineSpeed(int fd, unsigned speed);
