#include "CallGate.h"

void CallGate::close() {
    const std::lock_guard lock(mutex);
    closed = true;
}

void CallGate::closeAndWait() {
    std::unique_lock lock(mutex);
    closed = true;
    allLeft.wait(lock, [this] { return inside == 0; });
}

bool CallGate::enter() {
    const std::lock_guard lock(mutex);
    if (closed) return false;
    ++inside;
    return true;
}

void CallGate::leave() {
    const std::lock_guard lock(mutex);
    // Notified under the lock: the waiter may destroy the gate as soon as it holds it. Nobody waits as long as the gate
    // is open, and a notification costs nothing then.
    if (--inside == 0) allLeft.notify_all();
}
