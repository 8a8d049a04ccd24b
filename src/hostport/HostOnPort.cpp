#include "HostOnPort.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <stdexcept>

#include <poll.h>
#include <unistd.h>

#include <terminal/SystemError.h>

using hostsim::Time;

namespace {

constexpr size_t readSize = 4096;
constexpr size_t maxOnTheWay = 65536;   // bytes on a slowed line; whoever writes more has to wait, as on a real one
constexpr uint64_t packetsUnderWay = 2; // the host's packet and the answer to it

} // namespace

hostsim::HostOptions HostOnPort::withLineTime(hostsim::HostOptions options, unsigned long baud) {
    const auto size = static_cast<uint64_t>(options.outgoing.maxPacketSize);
    options.outgoing.responseTimeout += hostsim::LinePacer(baud).duration(packetsUnderWay * size);
    return options;
}

HostOnPort::HostOnPort(const hostsim::HostOptions& options, LinePort& linePort, unsigned long baud,
                       const hostsim::LineOptions& lineOptions)
    : port(linePort),
      began(std::chrono::steady_clock::now()),
      endpoint(options),
      line(endpoint, lineOptions),
      fromModule(baud),
      toModule(baud) {}

Time HostOnPort::now() const {
    return std::chrono::duration_cast<Time>(std::chrono::steady_clock::now() - began);
}

void HostOnPort::advance(Time time) {
    const ByteArray arrived = fromModule.take(time);
    if (!arrived.empty()) line.receive(arrived, time);
    line.advance(time);
}

void HostOnPort::write(Time time) {
    while (flush(time)) {
        if (toModule.empty()) {
            const ByteArray bytes = line.nextWrite(time);
            if (bytes.empty()) return;
            toModule.push(bytes, time);
        }
        unwritten = toModule.take(time);
        if (unwritten.empty()) return;
    }
}

// False while the system takes no more.
bool HostOnPort::flush(Time time) {
    while (!unwritten.empty()) {
        const ssize_t count = ::write(port.descriptor(), unwritten.data(), unwritten.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0 && errno == EAGAIN) return false;
        if (count < 0) throwSystemError("line lost: cannot write to " + port.path());
        unwritten.erase(unwritten.begin(), unwritten.begin() + count);
        activity = time;
    }
    return true;
}

void HostOnPort::read(Time time) {
    ByteArray bytes(readSize);
    const ssize_t count = ::read(port.descriptor(), bytes.data(), bytes.size());
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) return;
    if (count < 0) throwSystemError("line lost: cannot read from " + port.path());
    if (count == 0) throw std::runtime_error("line lost: " + port.path() + " hung up");
    bytes.resize(static_cast<size_t>(count));
    fromModule.push(bytes, time);
    activity = time;
}

pollfd HostOnPort::entry() const {
    const bool room = fromModule.size() < maxOnTheWay;
    const auto events = static_cast<short>((room ? POLLIN : 0) | (unwritten.empty() ? 0 : POLLOUT));
    return {port.descriptor(), events, 0};
}

void HostOnPort::handle(short revents, Time time) {
    if ((revents & ~POLLOUT) != 0) read(time);
}

std::optional<Time> HostOnPort::nextWake(Time time) const {
    std::optional<Time> wake = fromModule.nextDeadline();
    if (!unwritten.empty()) return wake;
    const std::optional<Time> other = toModule.empty() ? line.nextDeadline(time) : toModule.nextDeadline();
    if (other && (!wake || *other < *wake)) wake = other;
    return wake;
}

int HostOnPort::wait(pollfd* entries, std::size_t count, std::optional<Time> until) const {
    timespec span{};
    if (until) {
        const auto left = std::max(*until - now(), Time::zero());
        span.tv_sec = std::chrono::duration_cast<std::chrono::seconds>(left).count();
        span.tv_nsec = std::chrono::nanoseconds(left % std::chrono::seconds(1)).count();
    }
    const int ready = ::ppoll(entries, count, until ? &span : nullptr, nullptr);
    if (ready < 0 && errno != EINTR) throwSystemError("cannot wait for input");
    return std::max(ready, 0);
}
