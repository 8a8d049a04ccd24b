#include "Simulator.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <ostream>
#include <utility>

#include <poll.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <terminal/SystemError.h>

#include "FileContent.h"
#include "JsonEvents.h"
#include "PacketDump.h"
#include "UserCommands.h"

using hostsim::Time;

namespace {

constexpr size_t readSize = 4096;
constexpr uint16_t buttons = 8;

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
      host(HostOnPort::withLineTime(options.host, options.baud), port, pace(options), options.line),
      files(host.host()),
      signals(std::move(signalDescriptor)),
      commandsOpen(options.commands || ::isatty(STDIN_FILENO) == 1) {
    if (!options.tunnel.empty())
        host.host().application().attach(
            tunnel.emplace(options.tunnel, options.host.outgoing.maxPacketSize, options.line.packetTimeout));
    ::prctl(PR_SET_TIMERSLACK, 1UL); // ns; the default of 50 us would be half a byte time at 115200 baud
    if (options.verbose) {
        host.host().setTrace(
            [this, &log](hostsim::TraceEvent event, const ByteArray& bytes) { dump(log, host.now(), event, bytes); });
    }
}

void Simulator::run() {
    while (!ended) {
        const Time time = host.now();
        step(time);
        if (isIdle(time)) return;
        wait(time);
    }
}

void Simulator::step(Time time) {
    host.advance(time);
    sendInputEvents(time);
    if (tunnel) host.host().send(tunnel->messages(time));
    sendFiles(time);
    host.write(time);
}

// That of the command line when somebody is there to take it.
void Simulator::sendFiles(Time time) {
    if (!options.file.empty() && host.host().moduleAnswers()) {
        const std::string path = std::exchange(options.file, {});
        const auto content = contentOf(path);
        if (!content) throw std::runtime_error("cannot read " + path);
        files.send(lastPartOf(path), *content);
    }
    files.advance(time);
    for (const hostsim::SentFile& file : files.takeEnded())
        out << (options.json ? sentEvent(file) : textOf(file) + "\n") << std::flush;
}

// Only while the module answers: nobody wants to find yesterday's events on the line.
void Simulator::sendInputEvents(Time time) {
    if (!options.inputEventEvery) return;
    if (!host.host().moduleAnswers()) {
        nextInputEvent.reset();
        return;
    }
    if (!nextInputEvent) nextInputEvent = time + *options.inputEventEvery;
    if (time < *nextInputEvent) return;
    host.host().send(hostsim::HostApplication::press(nextButton));
    nextButton = static_cast<uint16_t>(nextButton % buttons + 1);
    nextInputEvent = std::max(*nextInputEvent + *options.inputEventEvery, time);
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
        const CommandResult result = runCommand(commandText.substr(0, end), {host.host(), files}, options.json);
        out << result.text << std::flush;
        ended = ended || result.quit;
    }
    lastCommand = time;
}

Time Simulator::lastActivity() const {
    return std::max(lastCommand, host.lastActivity());
}

bool Simulator::isIdle(Time time) const {
    return options.exitAfterIdle && time - lastActivity() >= *options.exitAfterIdle;
}

std::optional<Time> Simulator::nextWake(Time time) const {
    std::optional<Time> wake = host.nextWake(time);
    const auto consider = [&wake](std::optional<Time> moment) {
        if (moment && (!wake || *moment < *wake)) wake = moment;
    };
    consider(nextInputEvent);
    if (tunnel) consider(tunnel->deadline());
    consider(files.deadline());
    if (options.exitAfterIdle) consider(lastActivity() + *options.exitAfterIdle);
    return wake;
}

void Simulator::wait(Time time) {
    std::array<pollfd, 5> entries{{host.entry(),
                                   {signals.get(), POLLIN, 0},
                                   {port.noticeDescriptor(), POLLIN, 0},
                                   {commandsOpen ? STDIN_FILENO : -1, POLLIN, 0},
                                   {tunnel ? tunnel->descriptor() : -1, POLLIN, 0}}};
    if (host.wait(entries.data(), entries.size(), nextWake(time)) == 0) return;
    const Time woken = host.now();
    if (entries[1].revents != 0) ended = true;
    if (entries[2].revents != 0) port.handleNotice();
    if (entries[3].revents != 0) readCommands(woken);
    host.handle(entries[0].revents, woken);
}
