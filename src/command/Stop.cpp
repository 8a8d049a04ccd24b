#include "Stop.h"

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <system_error>
#include <utility>

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace command {

namespace {

constexpr int killedByFirst = 128; // what shells add to the signal's number

sigset_t endingSignals() {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&set, signal);
    return set;
}

descriptor::Descriptor orThrow(int fd) {
    if (fd < 0) throw std::system_error(errno, std::generic_category(), "cannot take over signals");
    return descriptor::Descriptor(fd);
}

descriptor::Descriptor takeSignals() {
    const sigset_t set = endingSignals();
    sigset_t blocked = set;
    sigaddset(&blocked, SIGWINCH); // for whoever draws: a thread that lets it through would swallow it
    ::pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
    return orThrow(::signalfd(-1, &set, SFD_CLOEXEC));
}

void signalOn(const descriptor::Descriptor& event) {
    const uint64_t one = 1;
    descriptor::repeatInterrupted([&] { return ::write(event.get(), &one, sizeof one); });
}

} // namespace

Stop::Stop()
    : signals(takeSignals()),
      ending(orThrow(::eventfd(0, EFD_CLOEXEC))),
      over(orThrow(::eventfd(0, EFD_CLOEXEC))),
      watcher([this] { watch(); }) {}

Stop::~Stop() {
    signalOn(over);
    watcher.join();
}

void Stop::watch() {
    bool second = false;
    for (;;) {
        pollfd entries[] = {{signals.get(), POLLIN, 0}, {over.get(), POLLIN, 0}};
        descriptor::repeatInterrupted([&] { return ::poll(entries, 2, -1); });
        if (entries[1].revents != 0) return;
        signalfd_siginfo info{};
        if (::read(signals.get(), &info, sizeof info) != sizeof info) continue;
        if (second) endSuddenly(static_cast<int>(info.ssi_signo));
        second = true;
        request();
    }
}

void Stop::endSuddenly(int signal) {
    {
        const std::lock_guard<std::mutex> lock(mutex);
        if (lastAct) lastAct();
    }
    ::_exit(killedByFirst + signal);
}

void Stop::beforeSuddenEnd(std::function<void()> act) {
    const std::lock_guard<std::mutex> lock(mutex);
    lastAct = std::move(act);
}

void Stop::request() {
    {
        const std::lock_guard<std::mutex> lock(mutex);
        requested = true;
    }
    changed.notify_all();
    signalOn(ending);
    requests.cancel();
}

bool Stop::isRequested() const {
    const std::lock_guard<std::mutex> lock(mutex);
    return requested;
}

void Stop::wait() const {
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait(lock, [this] { return requested; });
}

bool Stop::waitFor(std::chrono::milliseconds time) const {
    std::unique_lock<std::mutex> lock(mutex);
    return changed.wait_for(lock, time, [this] { return requested; });
}

} // namespace command
