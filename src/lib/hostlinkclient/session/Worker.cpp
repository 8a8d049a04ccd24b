#include "hostlinkclient/session/Worker.h"

#include <poll.h>

#include "hostlinkclient/session/QuietThread.h"

namespace hostlink {

namespace {

timespec durationUntil(Time when) {
    const auto left = std::chrono::duration_cast<std::chrono::nanoseconds>(when - std::chrono::steady_clock::now());
    const auto count = left.count() > 0 ? left.count() : 0;
    return {static_cast<time_t>(count / 1000000000), static_cast<long>(count % 1000000000)};
}

} // namespace

Worker::Worker(Task whenCalled) : called(std::move(whenCalled)), thread(startQuietThread([this] { run(); })) {}

Worker::~Worker() {
    stop();
}

void Worker::post(Task task) {
    {
        const std::lock_guard lock(mutex);
        if (ending) return;
        tasks.push_back(std::move(task));
    }
    event.set();
}

Worker::Timer Worker::postAt(Time when, Task task) {
    Timer timer;
    {
        const std::lock_guard lock(mutex);
        timer = {when, ++lastTimer};
        timers.emplace(timer, std::move(task));
    }
    event.set();
    return timer;
}

void Worker::callAt(Time when) {
    {
        const std::lock_guard lock(mutex);
        if (callTime && *callTime <= when) return;
        callTime = when;
    }
    event.set();
}

void Worker::cancel(const Timer& timer) {
    Task dropped; // what it holds goes without the lock
    const std::lock_guard lock(mutex);
    const auto found = timers.find(timer);
    if (found == timers.end()) return;
    dropped = std::move(found->second);
    timers.erase(found);
}

void Worker::watch(int descriptor, Task hungUp) {
    std::unique_lock lock(mutex);
    watched = descriptor;
    onHangUp = std::move(hungUp);
    const uint64_t own = ++watches;
    event.set();
    watchChanged.wait(lock, [this, own] { return polling == 0 || polling > own || ending; });
}

void Worker::stop() {
    {
        const std::lock_guard lock(mutex);
        ending = true;
    }
    event.set();
    watchChanged.notify_all();
    if (thread.joinable() && !isItsThread()) thread.join();
    std::deque<Task> dropped; // what they hold goes without the lock
    std::map<Timer, Task> droppedTimers;
    const std::lock_guard lock(mutex);
    dropped.swap(tasks);
    droppedTimers.swap(timers);
}

void Worker::run() {
    for (;;) {
        std::deque<Task> due = takeDue();
        {
            const std::lock_guard lock(mutex);
            if (ending) return;
        }
        for (const Task& task : due) task();
        if (due.empty()) sleep();
    }
}

std::deque<Worker::Task> Worker::takeDue() {
    const Time now = std::chrono::steady_clock::now();
    const std::lock_guard lock(mutex);
    std::deque<Task> due = std::exchange(tasks, {});
    if (callTime && *callTime <= now) {
        callTime.reset();
        due.push_back(called);
    }
    while (!timers.empty() && timers.begin()->first.first <= now) {
        due.push_back(std::move(timers.begin()->second));
        timers.erase(timers.begin());
    }
    return due;
}

void Worker::sleep() {
    pollfd polled[2] = {{event.descriptor(), POLLIN, 0}, {-1, 0, 0}}; // the kernel passes over a negative descriptor
    std::optional<timespec> longest;
    {
        const std::lock_guard lock(mutex);
        polled[1].fd = watched;
        if (!timers.empty()) longest = durationUntil(timers.begin()->first.first);
        if (callTime && (timers.empty() || *callTime < timers.begin()->first.first)) longest = durationUntil(*callTime);
        polling = watches + 1; // never 0
    }
    ::ppoll(polled, 2, longest ? &*longest : nullptr, nullptr);
    event.clear();
    Task hungUp;
    {
        const std::lock_guard lock(mutex);
        polling = 0;
        if ((polled[1].revents & (POLLHUP | POLLERR | POLLNVAL)) != 0 && polled[1].fd == watched) {
            watched = -1;
            hungUp = std::exchange(onHangUp, nullptr);
        }
    }
    watchChanged.notify_all();
    if (hungUp) hungUp();
}

} // namespace hostlink
