#include "Watchdog.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

#include <gtest/gtest.h>

#include "ThreadDump.h"

namespace {

Watchdog* current = nullptr; // of the running test; the thread that runs the tests

std::string lineOf(const std::filesystem::path& file) {
    std::string line;
    std::getline(std::ifstream(file), line);
    return line;
}

// Of each thread: name, state, the kernel function that it sleeps in, the number of its system call and the arguments.
std::string threadsOfThisProcess() {
    std::ostringstream text;
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
        const std::string stat = lineOf(thread.path() / "stat");
        text << "\n  thread " << thread.path().filename().string() << " " << lineOf(thread.path() / "comm") << ": "
             << stat.substr(std::min(stat.rfind(')'), stat.size() - 4) + 2, 1) << " in "
             << lineOf(thread.path() / "wchan") << ", system call " << lineOf(thread.path() / "syscall");
    }
    return text.str();
}

} // namespace

Watchdog::Watchdog(const std::string& what) {
    begin(what);
    current = this;
    thread = std::thread([this] { watch(); });
}

Watchdog::~Watchdog() {
    current = nullptr;
    {
        const std::lock_guard lock(mutex);
        done = true;
        changed.notify_all();
    }
    thread.join();
}

void Watchdog::begin(const std::string& what) {
    const std::lock_guard lock(mutex);
    place[what.copy(place.data(), place.size() - 1)] = '\0';
    ++beginnings;
    changed.notify_all();
}

void Watchdog::watch() {
    std::unique_lock lock(mutex);
    while (!done) {
        const unsigned seen = beginnings;
        if (changed.wait_for(lock, patience, [&] { return done || beginnings != seen; })) continue;
        ADD_FAILURE() << "hangs: " << place.data() << threadsOfThisProcess();
        std::cout << std::flush;
        dumpThreads();
        std::_Exit(EXIT_FAILURE); // nothing can be trusted to end
    }
}

void testIsAt(const std::string& where) {
    if (current != nullptr) current->begin(where);
}
