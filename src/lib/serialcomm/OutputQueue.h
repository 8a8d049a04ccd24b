/// @file
/// The bytes that a serial port has taken and not yet sent.
#pragma once

#include <chrono>
#include <optional>

#include "LineSettings.h"

namespace serialcomm {

/// How many bytes the open terminal `fd` has still to send, as far as it tells; without those in the transmitter.
std::optional<int> outputIn(int fd);

/// Tells a far side that takes bytes slowly from one that takes none. A port announces room for more only once its
/// queue is nearly empty (256 bytes in the line discipline), which a slow line takes longer for than anyone's patience;
/// so what counts is whether the queue shrinks. One thread.
class OutputProgress {
public:
    using Clock = std::chrono::steady_clock;

    explicit OutputProgress(std::chrono::milliseconds longestPause) : patience(longestPause) {}

    /// The port has taken bytes.
    void moved() { deadline = Clock::now() + patience; }
    /// Asks the open terminal `fd` for the length of its queue; shorter than at the last look is a move.
    void look(int fd);

    /// Nothing has moved for as long as the patience lasts.
    bool isStuck() const { return Clock::now() >= deadline; }
    /// None when the terminal does not tell, or has not been asked.
    std::optional<int> queued() const { return length; }
    /// When to look again: at the end of the patience, or after `interval` where a queue may shrink meanwhile.
    Clock::time_point nextLook(std::chrono::milliseconds interval) const;

private:
    const std::chrono::milliseconds patience;
    Clock::time_point deadline = Clock::now() + patience;
    std::optional<int> length;
};

/// Before the port `fd` is closed: waits until its queue has been sent. What does not move for half a second is
/// dropped, and so is what is left when one and a quarter times the time that the line takes for the queue, and half a
/// second, are over. The head of a packet whose rest will never come (`cutOff`) has half a second in all.
void drain(int fd, const LineSettings& settings, bool cutOff);

} // namespace serialcomm
