/// @file
/// The moment between two looks at what nobody tells.
#pragma once

#include <ctime>

#include <sys/syscall.h>
#include <unistd.h>

/// Lets 100 µs go by: what is waited for has the processor meanwhile, which two threads that only yield to each other
/// would keep busy. Asks the kernel itself, since a test may have put something else in the C library's place.
inline void pauseBetweenLooks() {
    const timespec moment{0, 100'000};
    ::syscall(SYS_clock_nanosleep, CLOCK_MONOTONIC, 0, &moment, nullptr);
}
