#include "WakeableGate.h"

#include <cstdint>

#include <sys/eventfd.h>

namespace serialcomm {

Descriptor WakeableGate::makeWakeEvent() {
    return Descriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
}

void WakeableGate::open(Descriptor wakeEvent) {
    const std::lock_guard<std::mutex> lock(mutex);
    wake = std::move(wakeEvent);
    admitting = true;
}

void WakeableGate::closeAndWait() {
    // An eventfd that takes no 1 is unheard of. Should one exist all the same, the signal is repeated at this interval
    // rather than given up, because a caller that never wakes would hold the destructor for ever.
    constexpr std::chrono::milliseconds retryInterval{10};

    std::unique_lock<std::mutex> lock(mutex);
    admitting = false;
    const auto empty = [this] { return inside == 0; };
    while (!empty()) {
        if (signal()) return left.wait(lock, empty);
        left.wait_for(lock, retryInterval, empty);
    }
}

bool WakeableGate::signal() const {
    const uint64_t one = 1;
    return repeatInterrupted([&] { return ::write(wake.get(), &one, sizeof one); }) == static_cast<ssize_t>(sizeof one);
}

bool WakeableGate::enter() {
    const std::lock_guard<std::mutex> lock(mutex);
    if (admitting) ++inside;
    return admitting;
}

void WakeableGate::leave() {
    // Notified under the lock: once it is released, the gate may be gone.
    const std::lock_guard<std::mutex> lock(mutex);
    --inside;
    left.notify_all();
}

} // namespace serialcomm
