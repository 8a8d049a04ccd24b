/// @file
/// The threads that a link has started, and what they are doing.
#pragma once

#include <set>
#include <vector>

#include <sys/types.h>

/// All threads of this process.
std::set<pid_t> threadIds();

/// Finds the threads that came after its construction.
class NewThreads {
public:
    NewThreads() : before(threadIds()) {}
    std::vector<pid_t> ids() const;
    /// Waits until there is none: the kernel may list a thread a little longer than `join` waits for it.
    bool haveGone() const;

    /// The one that sleeps in poll(2), and the one that sleeps on a futex, as a condition variable does; -1 when there
    /// is none within a very generous time.
    pid_t polling() const;
    pid_t waiting() const;

private:
    pid_t find(bool (*condition)(pid_t)) const;

    std::set<pid_t> before;
};
