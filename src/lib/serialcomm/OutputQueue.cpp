#include "OutputQueue.h"

#include <algorithm>
#include <cstdint>

#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>

#include "Descriptor.h"

using std::chrono::microseconds;
using std::chrono::milliseconds;

namespace serialcomm {

namespace {

using Clock = OutputProgress::Clock;

constexpr milliseconds drainPatience{500};
// A short queue is asked for again when it should be empty, a long one now and then: no event announces an empty queue.
constexpr milliseconds shortestSleep{10};
constexpr milliseconds longestSleep{100};

bool hasOutput(const OutputProgress& progress) {
    return progress.queued().value_or(0) > 0;
}

// A quarter more than the line takes, for clocks that differ and bytes that the queue does not count (the
// transmitter's own, some dozens).
milliseconds drainBound(int queued, const LineSettings& settings) {
    return std::chrono::ceil<milliseconds>(timeOnLine(queued, settings) * 5 / 4) + drainPatience;
}

milliseconds sleepFor(int queued, const LineSettings& settings) {
    return std::clamp(std::chrono::ceil<milliseconds>(timeOnLine(queued, settings)), shortestSleep, longestSleep);
}

void sleepUntil(Clock::time_point end) {
    const auto left = std::chrono::ceil<milliseconds>(end - Clock::now());
    ::poll(nullptr, 0, static_cast<int>(std::max(left, milliseconds(0)).count()));
}

} // namespace

std::optional<int> outputIn(int fd) {
    int bytes = 0;
    if (repeatInterrupted([&] { return ::ioctl(fd, TIOCOUTQ, &bytes); }) != 0) return std::nullopt;
    return bytes;
}

void OutputProgress::look(int fd) {
    const std::optional<int> before = length;
    length = outputIn(fd);
    if (before && length && *length < *before) moved();
}

OutputProgress::Clock::time_point OutputProgress::nextLook(milliseconds interval) const {
    return hasOutput(*this) ? std::min(deadline, Clock::now() + interval) : deadline;
}

void drain(int fd, const LineSettings& settings, bool cutOff) {
    OutputProgress progress(drainPatience);
    progress.look(fd);
    if (!hasOutput(progress)) return;
    const auto end = Clock::now() + (cutOff ? drainPatience : drainBound(*progress.queued(), settings));
    do {
        if (progress.isStuck() || Clock::now() >= end) {
            ::tcflush(fd, TCOFLUSH);
            return;
        }
        sleepUntil(std::min(end, progress.nextLook(sleepFor(*progress.queued(), settings))));
        progress.look(fd);
    } while (hasOutput(progress));
}

} // namespace serialcomm
