#include "Simulator.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <ostream>
#include <stdexcept>
#include <utility>

#include <poll.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <terminal/SystemError.h>

#include "PacketDump.h"
#include "UserCommands.h"

using hostsim::Time;

namespace {

constexpr size_t readSize = 4096;
constexpr size_t maxOnTheWay = 65536; // bytes on a slowed line; whoever writes more has to wait, as on a real one
constexpr uint16_t buttons = 8;
constexpr uint64_t packetsUnderWay = 2; // the host's packet and the answer to it

// The module may need the line's time before it can acknowledge anything.
hostsim::HostOptions withLineTime(const SimulatorOptions& options) {
    hostsim::HostOptions host = options.host;
    const auto size = static_cast<uint64_t>(host.outgoing.maxPacketSize);
    host.outgoing.responseTimeout += hostsim::LinePacer(options.baud).duration(packetsUnderWay * size);
    return host;
}

unsigned long pace(const SimulatorOptions& options) {
    return options.device.empty() ? options.baud : 0; // a device has its own
}

} // namespace

descriptor::Descriptor Simulator::takeSignals() {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&set, signal);
    checked(::sigprocmask(SIG_BLOCK, &set, nullptr), "cannot take over signals");
    return descriptor::Descriptor(
        checked(::signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC), "cannot take over signals"));
}

Simulator::Simulator(const SimulatorOptions& simulatorOptions, LinePort& linePort,
                     descriptor::Descriptor signalDescriptor, std::ostream& output, std::ostream& log)
    : options(simulatorOptions),
      port(linePort),
      out(output),
      began(std::chrono::steady_clock::now()),
      endpoint(withLineTime(options)),
      host(endpoint),
      fromModule(pace(options)),
      toModule(pace(options)),
      signals(std::move(signalDescriptor)),
      commandsOpen(options.commands || ::isatty(STDIN_FILENO) == 1) {
    if (!options.tunnel.empty())
        endpoint.application().attach(tunnel.emplace(options.tunnel, options.host.outgoing.maxPacketSize));
    ::prctl(PR_SET_TIMERSLACK, 1UL); // ns; the default of 50 us would be half a byte time at 115200 baud
    if (options.verbose) {
        endpoint.setTrace(
            [this, &log](hostsim::TraceEvent event, const ByteArray& bytes) { dump(log, now(), event, bytes); });
    }
}

Time Simulator::now() const {
    return std::chrono::duration_cast<Time>(std::chrono::steady_clock::now() - began);
}

void Simulator::run() {
    while (!ended) {
        const Time time = now();
        step(time);
        if (isIdle(time)) return;
        wait(time);
    }
}

void Simulator::step(Time time) {
    const ByteArray arrived = fromModule.take(time);
    if (!arrived.empty()) host.receive(arrived, time);
    host.advance(time);
    sendInputEvents(time);
    if (tunnel) endpoint.send(tunnel->messages(time));
    writeToLine(time);
}

// Only while the module answers: nobody wants to find yesterday's events on the line.
void Simulator::sendInputEvents(Time time) {
    if (!options.inputEventEvery) return;
    if (!endpoint.moduleAnswers()) {
        nextInputEvent.reset();
        return;
    }
    if (!nextInputEvent) nextInputEvent = time + *options.inputEventEvery;
    if (time < *nextInputEvent) return;
    endpoint.send(hostsim::HostApplication::press(nextButton));
    nextButton = static_cast<uint16_t>(nextButton % buttons + 1);
    nextInputEvent = std::max(*nextInputEvent + *options.inputEventEvery, time);
}

void Simulator::writeToLine(Time time) {
    while (flush(time)) {
        if (toModule.empty()) {
            const ByteArray bytes = host.nextWrite(time);
            if (bytes.empty()) return;
            toModule.push(bytes, time);
        }
        unwritten = toModule.take(time);
        if (unwritten.empty()) return;
    }
}

// False while the system takes no more.
bool Simulator::flush(Time time) {
    while (!unwritten.empty()) {
        const ssize_t count = ::write(port.descriptor(), unwritten.data(), unwritten.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0 && errno == EAGAIN) return false;
        if (count < 0) throwSystemError("line lost: cannot write to " + port.path());
        unwritten.erase(unwritten.begin(), unwritten.begin() + count);
        lastActivity = time;
    }
    return true;
}

void Simulator::readFromLine(Time time) {
    ByteArray bytes(readSize);
    const ssize_t count = ::read(port.descriptor(), bytes.data(), bytes.size());
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) return;
    if (count < 0) throwSystemError("line lost: cannot read from " + port.path());
    if (count == 0) throw std::runtime_error("line lost: " + port.path() + " hung up");
    bytes.resize(static_cast<size_t>(count));
    fromModule.push(bytes, time);
    lastActivity = time;
}

void Simulator::readCommands(Time time) {
    std::array<char, readSize> text{};
    const ssize_t count = ::read(STDIN_FILENO, text.data(), text.size());
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) return;
    if (count <= 0) {
        commandsOpen = false;
        return;
    }
    commandText.append(text.data(), static_cast<size_t>(count));
    for (size_t end = 0; (end = commandText.find('\n')) != std::string::npos; commandText.erase(0, end + 1)) {
        const CommandResult result = runCommand(commandText.substr(0, end), endpoint, options.json);
        out << result.text << std::flush;
        ended = ended || result.quit;
    }
    lastActivity = time;
}

bool Simulator::isIdle(Time time) const {
    return options.exitAfterIdle && time - lastActivity >= *options.exitAfterIdle;
}

std::optional<Time> Simulator::nextWake(Time time) const {
    std::optional<Time> wake;
    const auto consider = [&wake](std::optional<Time> moment) {
        if (moment && (!wake || *moment < *wake)) wake = moment;
    };
    consider(fromModule.nextDeadline());
    if (unwritten.empty()) consider(toModule.empty() ? host.nextDeadline(time) : toModule.nextDeadline());
    consider(nextInputEvent);
    if (tunnel) consider(tunnel->deadline());
    if (options.exitAfterIdle) consider(lastActivity + *options.exitAfterIdle);
    return wake;
}

void Simulator::wait(Time time) {
    const bool room = fromModule.size() < maxOnTheWay;
    const auto lineEvents = static_cast<short>((room ? POLLIN : 0) | (unwritten.empty() ? 0 : POLLOUT));
    std::array<pollfd, 5> entries{{{port.descriptor(), lineEvents, 0},
                                   {signals.get(), POLLIN, 0},
                                   {port.noticeDescriptor(), POLLIN, 0},
                                   {commandsOpen ? STDIN_FILENO : -1, POLLIN, 0},
                                   {tunnel ? tunnel->descriptor() : -1, POLLIN, 0}}};
    timespec span{};
    const std::optional<Time> wake = nextWake(time);
    if (wake) {
        const auto left = std::max(*wake - now(), Time::zero());
        span.tv_sec = std::chrono::duration_cast<std::chrono::seconds>(left).count();
        span.tv_nsec = std::chrono::nanoseconds(left % std::chrono::seconds(1)).count();
    }
    const int ready = ::ppoll(entries.data(), entries.size(), wake ? &span : nullptr, nullptr);
    if (ready < 0 && errno != EINTR) throwSystemError("cannot wait for input");
    if (ready <= 0) return;
    const Time woken = now();
    if (entries[1].revents != 0) ended = true;
    if (entries[2].revents != 0) port.handleNotice();
    if (entries[3].revents != 0) readCommands(woken);
    if ((entries[0].revents & ~POLLOUT) != 0) readFromLine(woken);
}
