#include "HostThread.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <exception>
#include <stdexcept>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <terminal/SystemError.h>

namespace binding {

HostThread::Engine::Engine(const hostsim::HostOptions& options, const std::string& link, unsigned long baud)
    : port(link), host(HostOnPort::withLineTime(options, baud), port, baud) {}

HostThread::HostThread(const hostsim::HostOptions& options, const std::string& link, unsigned long baud,
                       std::size_t recorded)
    : engine(std::make_unique<Engine>(options, link, baud)),
      portPath(engine->port.path()),
      wakeup(checked(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "cannot make an event")),
      mostRecords(recorded) {
    if (mostRecords > 0) {
        engine->host.host().setTrace([this](hostsim::TraceEvent event, const ByteArray& bytes) {
            if (records.size() == mostRecords) records.pop_front();
            records.push_back({event, bytes});
        });
    }
    start();
}

HostThread::~HostThread() {
    close();
}

// Born without signals, which are the interpreter's.
void HostThread::start() {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    try {
        thread = std::thread([this] { run(); });
    } catch (...) {
        ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
        throw;
    }
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void HostThread::post(std::function<void()> task) {
    const std::lock_guard lock(mutex);
    if (isEnding) throw std::runtime_error(lost.empty() ? "the host is closed" : lost);
    tasks.push_back(std::move(task));
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(wakeup.get(), &one, sizeof one); // full is awake too
}

void HostThread::close() {
    {
        const std::lock_guard lock(mutex);
        isEnding = true;
        const uint64_t one = 1;
        [[maybe_unused]] const ssize_t written = ::write(wakeup.get(), &one, sizeof one);
    }
    const std::lock_guard once(closing);
    if (thread.joinable()) thread.join();
    engine.reset();
}

std::deque<HostThread::Record> HostThread::takeRecords() {
    return ask([this](hostsim::SimulatedHost&) { return std::exchange(records, {}); });
}

void HostThread::run() {
    ::prctl(PR_SET_TIMERSLACK, 1UL); // ns; the default of 50 us would be half a byte time at 115200 baud
    try {
        live();
    } catch (const std::exception& error) {
        const std::lock_guard lock(mutex);
        isEnding = true;
        lost = error.what();
    }
    doTasks(); // those who wait for one are answered
}

void HostThread::live() {
    do {
        step();
    } while (doTasks());
}

void HostThread::step() {
    HostOnPort& host = engine->host;
    PseudoTerminal& port = engine->port;
    const hostsim::Time time = host.now();
    host.advance(time);
    host.write(time);
    std::array<pollfd, 3> entries{{host.entry(), {port.noticeDescriptor(), POLLIN, 0}, {wakeup.get(), POLLIN, 0}}};
    if (host.wait(entries.data(), entries.size(), host.nextWake(time)) == 0) return;
    const hostsim::Time woken = host.now();
    if (entries[1].revents != 0) port.handleNotice();
    host.handle(entries[0].revents, woken);
    uint64_t count = 0;
    [[maybe_unused]] const ssize_t got = ::read(wakeup.get(), &count, sizeof count);
}

// Whether to go on.
bool HostThread::doTasks() {
    std::unique_lock lock(mutex);
    while (!tasks.empty()) {
        const std::function<void()> task = std::move(tasks.front());
        tasks.pop_front();
        lock.unlock();
        task();
        lock.lock();
    }
    return !isEnding;
}

} // namespace binding
