#include "PacedTerminal.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>

namespace sweep {

using std::chrono::milliseconds;

PlayedKernel::Answer PacedTerminal::ioctl(int fd, unsigned long request, void* argument) {
    if (request != TIOCOUTQ) return PlayedTerminal::ioctl(fd, request, argument);
    if (!tellsQueue) return -ENOTTY;
    const std::lock_guard lock(mutex);
    if (clock > endOfTime) return -EIO;
    *static_cast<int*>(argument) = queued();
    busy += strangersBytes * byteTime;
    return 0;
}

PlayedKernel::Answer PacedTerminal::poll(pollfd* entries, std::size_t count, int timeout) {
    const bool waitsForRoom = count > 0 && (entries[0].events & POLLOUT) != 0;
    if (count > 0 && !waitsForRoom) return {};
    if (waitsForRoom && sleepsForEver) {
        entries[0].events = 0;
        return {};
    }
    const std::lock_guard lock(mutex);
    const Time limit = milliseconds(std::max(timeout, 1)); // nothing takes no time at all
    const Time untilRoom = std::max(busy - (announced - 1) * byteTime, Time(0));
    const bool announces = waitsForRoom && untilRoom <= limit && clock + untilRoom <= holdsAt;
    pass(announces ? untilRoom : limit);
    if (announces) entries[0].revents = POLLOUT;
    return announces ? 1 : 0;
}

PlayedKernel::Answer PacedTerminal::write(int /*fd*/, const void* /*data*/, std::size_t size) {
    constexpr std::size_t eventSize = 8; // a write to an event descriptor is none to the line
    if (size == eventSize) return {};
    const std::lock_guard lock(mutex);
    if (clock > endOfTime) return -EIO;
    const int room = takesWithoutNotice || queued() < announced ? capacity - queued() : 0;
    if (room <= 0) {
        pass(std::exchange(standsStill, Time(0)));
        return -EAGAIN;
    }
    const int count = static_cast<int>(std::min<std::size_t>(size, static_cast<std::size_t>(room)));
    busy += count * byteTime;
    taken += count;
    return count;
}

PlayedKernel::Answer PacedTerminal::flush(int /*fd*/, int queue) {
    if (queue == TCIFLUSH) return {};
    const std::lock_guard lock(mutex);
    flushed += queued();
    busy = Time(0);
    return 0;
}

void PacedTerminal::pass(Time time) {
    const Time sending = std::clamp(holdsAt - clock, Time(0), time);
    clock += time;
    busy = std::max(busy - sending, Time(0));
}

PacedTerminal::Time PacedTerminal::elapsed() const {
    const std::lock_guard lock(mutex);
    return clock;
}

int PacedTerminal::sent() const {
    const std::lock_guard lock(mutex);
    return taken - flushed - queued();
}

int PacedTerminal::dropped() const {
    const std::lock_guard lock(mutex);
    return flushed;
}

void PacedTerminal::letGoOn() {
    const std::lock_guard lock(mutex);
    holdsAt = Time::max();
}

} // namespace sweep
