/// @file
/// A serial port that sends at the speed of its line, in a time of its own.
#pragma once

#include <atomic>
#include <chrono>
#include <mutex>
#include <optional>

#include "PlayedTerminal.h"

namespace sweep {

/// Takes 4096 bytes, sends them one after another, and announces room as the kernel does: with fewer than 256 left.
/// The monotonic clock of the code under test goes on only while that waits, so that minutes pass at once. All but its
/// output is the pty's own. Any thread.
class PacedTerminal : public PlayedTerminal {
public:
    using Time = std::chrono::nanoseconds; // since the beginning

    Answer ioctl(int fd, unsigned long request, void* argument) override;
    Answer poll(pollfd* entries, std::size_t count, int timeout) override;
    Answer write(int fd, const void* data, std::size_t size) override;
    Answer flush(int fd, int queue) override;
    std::optional<Time> now() override { return elapsed(); }

    Time elapsed() const;
    int sent() const;    // bytes that reached the far side
    int dropped() const; // bytes that were flushed
    void letGoOn();      // the far side is ready again for good

    // What it shall do. Set before it is used.
    Time byteTime = std::chrono::milliseconds(1); // about that of 9600 baud
    Time holdsAt = Time::max();                   // from then on the far side is not ready
    bool tellsQueue = true;                       // it answers how many bytes are queued
    bool takesWithoutNotice = true;               // it takes bytes before it announces room
    Time standsStill{0};                          // the process, once, when the line has refused a byte
    int strangersBytes = 0;                       // what another program writes between two questions for the queue
    std::atomic<bool> sleepsForEver{false};       // who waits for room waits until it is woken

private:
    static constexpr Time endOfTime = std::chrono::minutes(10); // then the line is lost: who waits for ever is seen
    static constexpr int capacity = 4096;
    static constexpr int announced = 256;

    int queued() const { return static_cast<int>((busy + byteTime - Time(1)) / byteTime); }
    void pass(Time time);

    mutable std::mutex mutex; // guards all below
    Time clock{0};
    Time busy{0}; // how long what is queued takes
    int taken = 0;
    int flushed = 0;
};

} // namespace sweep
