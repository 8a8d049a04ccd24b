#include "Watchdog.h"

#include <cstdlib>
#include <iostream>

namespace sweep {

Watchdog::Watchdog() : thread([this] { watch(); }) {}

Watchdog::~Watchdog() {
    {
        const std::lock_guard lock(mutex);
        done = true;
        changed.notify_all();
    }
    thread.join();
}

void Watchdog::begin(const std::string& what) {
    const std::lock_guard lock(mutex);
    current = what;
    ++beginnings;
    changed.notify_all();
}

void Watchdog::watch() {
    std::unique_lock lock(mutex);
    while (!done) {
        const unsigned seen = beginnings;
        if (changed.wait_for(lock, patience, [&] { return done || beginnings != seen; })) continue;
        std::cerr << "hangs: " << current << std::endl;
        std::abort();
    }
}

} // namespace sweep
