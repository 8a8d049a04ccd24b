/// @file
/// A serial driver's answers for a pseudo terminal, which has no such driver.
#pragma once

#include <atomic>
#include <chrono>
#include <optional>

#include "PlayedKernel.h"

namespace sweep {

/// Takes any baud rate, parity and low latency, and has bytes in its output queue. All else is the pty's own.
class PlayedTerminal : public PlayedKernel {
public:
    Answer ioctl(int fd, unsigned long request, void* argument) override;
    Answer poll(pollfd* entries, std::size_t count, int timeout) override;
    Answer write(int fd, const void* data, std::size_t size) override;
    std::optional<std::chrono::nanoseconds> now() override { return timeStandsAt; }

    // What the line was told.
    std::atomic<unsigned> arbitraryBaudRate{0};
    std::atomic<unsigned> controlFlags{0};
    std::atomic<unsigned> inputFlags{0};
    std::atomic<unsigned> speed{9600}; // of the line; as it is found
    std::atomic<bool> lowLatency{false};
    std::atomic<bool> driverOtherwiseKept{false}; // all but low latency was set as it was found

    // What it shall do.
    std::optional<std::chrono::nanoseconds> timeStandsAt; // none: the real one. Set while nobody asks
    std::atomic<unsigned> speedInstead{0};                // whatever it is told, it does this speed; 0: what it is told
    std::atomic<bool> takesLowLatency{true};
    std::atomic<int> driverFlags{0};    // what it answers of them
    std::atomic<int> queueQuestions{1}; // how often it answers that bytes are queued; negative: for ever
    std::atomic<int> busyWrites{0};     // how many writes find no room
};

} // namespace sweep
