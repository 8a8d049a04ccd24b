/// @file
/// Ends the program when a case hangs.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace sweep {

/// Prints what hangs and aborts when `begin` is not called again, and the object not destroyed, for a minute. One
/// thread while it lives.
class Watchdog {
public:
    Watchdog();
    ~Watchdog();
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;

    void begin(const std::string& what);

private:
    void watch();

    static constexpr std::chrono::seconds patience{60};

    std::mutex mutex; // guards all below but the thread
    std::condition_variable changed;
    std::string current = "the beginning";
    unsigned beginnings = 0;
    bool done = false;
    std::thread thread;
};

} // namespace sweep
