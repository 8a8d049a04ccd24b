#include "SharedUart.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include <serialcomm/UartEnding.h>

#include "ThreadState.h"

// A null pointer with a serial library that has no such function.
[[gnu::weak]] void uartEnd(Uart& uart);

namespace {

constexpr std::chrono::milliseconds entryPoll{1};
// A reader that sleeps may still be on its way in, held up by a lock of the port that the last writer had. That one is
// gone by then, so the lock is free and the reader moves on before the next look.
constexpr int looksInARow = 2;
// The time may be over without anybody having run in it, where the whole machine stood still: so many looks, then, have
// given whoever is announced the time to get on.
constexpr int leastLooks = 50;

SharedUart::End endOfThisLibrary() {
    if (uartEnd == nullptr) return {};
    return uartEnd;
}

} // namespace

SharedUart::Use::Use(SharedUart& of, Purpose purpose) : shared(of), uart(nullptr) {
    const std::lock_guard lock(shared.mutex);
    if (!shared.current) return;
    // Only who has to look at sleeping threads needs their ids, each of which is a system call.
    shared.users.push_back({this, shared.end ? 0 : currentThreadId(), purpose});
    uart = shared.current.get();
}

SharedUart::Use::~Use() {
    if (uart == nullptr) return;
    // Notified under the lock: the waiter may destroy this object as soon as it holds it. Without a waiter, which is
    // nearly always, a notification costs nothing.
    const std::lock_guard lock(shared.mutex);
    shared.users.erase(
        std::find_if(shared.users.begin(), shared.users.end(), [this](const User& user) { return user.use == this; }));
    shared.userLeft.notify_all();
}

SharedUart::SharedUart() : SharedUart(endOfThisLibrary(), isAsleep) {}

SharedUart::SharedUart(End portEnd, Look look, std::chrono::milliseconds limit)
    : end(std::move(portEnd)), asleep(std::move(look)), patience(limit) {}

SharedUart::~SharedUart() = default;

void SharedUart::set(std::unique_ptr<Uart> port) {
    destroy();
    const std::lock_guard lock(mutex);
    current = std::move(port);
}

bool SharedUart::isPresent() const {
    const std::lock_guard lock(mutex);
    return current != nullptr;
}

void SharedUart::destroy() {
    std::unique_lock lock(mutex);
    const std::unique_ptr<Uart> going = std::move(current);
    if (!going) return;
    if (end) {
        endAndAwaitUsers(lock, *going);
    } else {
        awaitSleepingReader(lock);
    }
    lock.unlock(); // the port's destructor waits for the threads inside, and they take the lock as they leave
}

// No limit: an ended port holds nobody, so whoever is announced leaves as soon as it gets to run.
void SharedUart::endAndAwaitUsers(std::unique_lock<std::mutex>& lock, Uart& going) {
    lock.unlock(); // as in `destroy`
    end(going);
    lock.lock();
    userLeft.wait(lock, [this] { return users.empty(); });
}

void SharedUart::awaitSleepingReader(std::unique_lock<std::mutex>& lock) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    int asleepInARow = 0;
    for (int looks = 1; !users.empty(); ++looks) {
        asleepInARow = onlySleepingReaders() ? asleepInARow + 1 : 0;
        if (asleepInARow == looksInARow) return;
        if (looks >= leastLooks && std::chrono::steady_clock::now() >= deadline) return;
        userLeft.wait_for(lock, entryPoll);
    }
}

bool SharedUart::onlySleepingReaders() const {
    return std::all_of(users.begin(), users.end(),
                       [this](const User& user) { return user.purpose == Purpose::Read && asleep(user.thread); });
}
