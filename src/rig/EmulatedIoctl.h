/// @file
/// How a program under user emulation gets the ioctls of bus devices to the rig.
#pragma once

#include <cstdint>

namespace busrig {

/// The emulator knows no ioctl of i2c-dev and spidev. A program that runs under it therefore writes the call to the
/// device, at an offset that no device has, and finds the result in its own memory (EmulatedIoctl.cpp does that for any
/// program, preloaded). Addresses mean the same to the program and to the rig: the emulator gives a 64-bit program the
/// addresses of its own process.
struct EmulatedIoctl {
    static constexpr int64_t offset = int64_t{1} << 62;

    uint64_t command;
    uint64_t argument;      ///< the third argument: a number or an address in the caller's memory
    uint64_t resultAddress; ///< where the result goes, an int: what ioctl(2) returns, or a negative errno
};

} // namespace busrig
