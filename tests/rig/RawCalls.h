/// @file
/// System calls with their results as values, and a rig as freshly started for each test.
#pragma once

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "rig/RigControl.h"

namespace raw {

/// An open file; `error` is the errno of the open when there is none.
class File {
public:
    File(const std::string& path, int flags) : descriptor(open(path.c_str(), flags | O_CLOEXEC)), error(errno) {
        if (descriptor >= 0) error = 0;
    }
    ~File() {
        if (descriptor >= 0) close(descriptor);
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    const int descriptor;
    int error;
};

/// The result of a call that gives a count or -1: the count, or the errno as a negative number.
inline long resultOf(long result) {
    return result < 0 ? -errno : result;
}

/// 0, or the errno of whatever failed first.
inline int writeFile(const std::string& path, const std::string& text, int flags = O_WRONLY) {
    const File file(path, flags);
    if (file.error != 0) return file.error;
    return write(file.descriptor, text.data(), text.size()) < 0 ? errno : 0;
}

/// The content, or the name of the errno.
inline std::string readFile(const std::string& path) {
    const File file(path, O_RDONLY);
    if (file.error != 0) return busrig::errnoName(file.error);
    char buffer[64];
    const ssize_t count = read(file.descriptor, buffer, sizeof buffer);
    return count < 0 ? busrig::errnoName(errno) : std::string(buffer, static_cast<size_t>(count));
}

/// Reads from the start, as a watcher of a value file does after each event.
inline std::string readFromStart(int descriptor) {
    char buffer[4];
    const ssize_t count = pread(descriptor, buffer, sizeof buffer, 0);
    return count < 0 ? busrig::errnoName(errno) : std::string(buffer, static_cast<size_t>(count));
}

/// What is pending now; 0 when nothing of what was asked for is.
inline int pendingEvents(int descriptor, short events) {
    pollfd waits{descriptor, events, 0};
    return poll(&waits, 1, 0) < 0 ? -errno : waits.revents;
}

/// Waits for an event; 0 when none comes within a very generous time.
inline int waitForEvent(int descriptor, short events) {
    pollfd waits{descriptor, events, 0};
    return poll(&waits, 1, 30000) < 0 ? -errno : waits.revents;
}

} // namespace raw

/// A rig as freshly started.
class RigTest : public ::testing::Test {
protected:
    void SetUp() override { rig.reset(); }

    /// A host that pulls its line once for a packet and is content to wait for the module: what a test sees of it is
    /// the same however long the machine keeps the test from looking.
    static void calm(busrig::RigControl& board) {
        board.command("host-options interruptRepeatMs=0,responseTimeoutMs=60000");
    }

    /// A file of the rig is closed a little after close() has returned. The count is one of files that are open.
    static void waitUntilNobodyHas(busrig::RigControl& board, const std::string& count) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (board.count(count) != 0) ASSERT_LT(std::chrono::steady_clock::now(), deadline) << count;
    }

    busrig::RigControl rig;
};
