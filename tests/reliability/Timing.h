/// @file
/// The times of a truth run, and how long a call may take by them.
#pragma once

#include <chrono>
#include <cstddef>

#include "support/Sanitizers.h"

namespace truth {

using Duration = std::chrono::microseconds;

/// Instrumented and foreign code is slower, and so are the machines that run it.
#if HOSTLINK_ADDRESS_SANITIZER || HOSTLINK_THREAD_SANITIZER || !(defined(__x86_64__) || defined(__i386__))
constexpr int slowness = 2;
#else
constexpr int slowness = 1;
#endif

struct Timing {
    /// @param patience how many times as long as on a machine with time to spare
    explicit Timing(int patience = 1) : response(std::chrono::milliseconds(40) * slowness * patience) {}

    Duration response;                    ///< UartResponseTimeout
    Duration hostResponse = response * 3; ///< how long the host waits for the module
    Duration lateBy = response * 3 / 2;   ///< by which an answer is late: too late
    Duration packetPause = response / 2;  ///< after which the host gives up half a packet
    Duration allowance = response * 6;    ///< for the scheduler of a busy machine
};

constexpr int attemptsOfPacket = 4;
constexpr Duration retrySleep = std::chrono::milliseconds(10);
constexpr int transfersOfAttempt = 4; ///< one write-and-read and three reads
constexpr Duration rereadSleeps = std::chrono::microseconds(3 * 1500);
constexpr Duration transfer = std::chrono::milliseconds(5); ///< far more than one takes on the rig

/// UART: packets x (4 attempts x time-out + 3 retry sleeps) + allowance.
inline Duration uartBound(size_t packets, const Timing& timing) {
    const Duration ofPacket = attemptsOfPacket * timing.response + (attemptsOfPacket - 1) * retrySleep;
    return static_cast<int>(packets) * ofPacket + timing.allowance;
}

/// I2C, SPI: packets x (4 attempts x (4 transfers + 4.5 ms) + 3 retry sleeps), the same 4 transfers + 4.5 ms and one
/// transfer for the acknowledgement for each exchange that held the bus meanwhile, and the allowance.
inline Duration busBound(size_t packets, size_t exchanges, const Timing& timing) {
    const Duration ofAttempt = transfersOfAttempt * transfer + rereadSleeps;
    const Duration ofPacket = attemptsOfPacket * ofAttempt + (attemptsOfPacket - 1) * retrySleep;
    return static_cast<int>(packets) * ofPacket + static_cast<int>(exchanges) * (ofAttempt + transfer) +
           timing.allowance;
}

} // namespace truth
