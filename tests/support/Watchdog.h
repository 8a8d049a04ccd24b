/// @file
/// Ends the program when a test hangs, and says where.
#pragma once

#include <array>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

/// When `begin` is not called again, and the object not destroyed, for a minute: fails the running test with what hangs
/// and what each thread is doing, and ends the program with 1. One thread while it lives, which sleeps. One at a time.
class Watchdog {
public:
    explicit Watchdog(const std::string& what);
    ~Watchdog();
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;

    /// A new minute for `what`. Takes no memory: tests count that.
    void begin(const std::string& what);

private:
    void watch();

    static constexpr std::chrono::seconds patience{60};

    std::mutex mutex; // guards all below but the thread
    std::condition_variable changed;
    std::array<char, 256> place{}; // as text, terminated
    unsigned beginnings = 0;
    bool done = false;
    std::thread thread;
};

/// Where the running test is now, with a new minute for it; the thread that runs the tests. Every test has a watchdog
/// but those that end a process.
void testIsAt(const std::string& where);
