#include "hostlinkclient/session/Pump.h"

#include <algorithm>
#include <array>
#include <utility>

#include <poll.h>

#include "hostlinkclient/session/QuietThread.h"

namespace hostlink {

namespace {

timespec spanUntil(exchange::Time when) {
    constexpr exchange::Time second = std::chrono::seconds(1);
    const auto left = std::max(when - Pump::now(), exchange::Time::zero());
    return {static_cast<time_t>(left / second), static_cast<long>((left % second).count())};
}

} // namespace

Pump::~Pump() {
    stop();
}

void Pump::start(Turn turn, int readable) {
    thread = startQuietThread([this, turn = std::move(turn), readable] { run(turn, readable); });
}

void Pump::post(Task task) {
    {
        const std::lock_guard lock(mutex);
        if (ending) return;
        tasks.push_back(std::move(task));
    }
    event.set();
}

void Pump::end() {
    {
        const std::lock_guard lock(mutex);
        ending = true;
    }
    event.set();
}

void Pump::finish() {
    post([this] { end(); });
    join();
}

void Pump::stop() {
    end();
    join();
}

void Pump::join() {
    if (runsOn.load() == std::this_thread::get_id()) return;
    const std::lock_guard lock(joining);
    if (thread.joinable()) thread.join();
}

bool Pump::takeTasks(std::deque<Task>& into) {
    const std::lock_guard lock(mutex);
    into.swap(tasks); // it comes empty
    return !ending;
}

void Pump::run(const Turn& turn, int readable) {
    runsOn = std::this_thread::get_id();
    std::deque<Task> todo;
    while (takeTasks(todo)) {
        // cppcheck-suppress invalidContainerReference ; nobody else knows this container
        for (const Task& task : todo) task();
        todo.clear(); // what they hold must not outlive them
        const std::optional<exchange::Time> next = turn(now());
        timespec span{};
        if (next) span = spanUntil(*next);
        std::array<pollfd, 2> descriptors{{{event.descriptor(), POLLIN, 0}, {readable, POLLIN, 0}}};
        ::ppoll(descriptors.data(), descriptors.size(), next ? &span : nullptr, nullptr);
        event.clear();
    }
}

} // namespace hostlink
