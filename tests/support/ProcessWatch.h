/// @file
/// What the kernel knows about this process: its descriptors, and what its threads are doing.
#pragma once

#include <chrono>
#include <set>

#include <sys/types.h>

/// The numbers of all open descriptors of this process.
std::set<int> openDescriptors();

/// The calling thread's id, for the functions below.
pid_t currentThread();

/// Whether the thread sleeps in poll(2), or on a futex, as a condition variable does.
bool sleepsInPoll(pid_t thread);
bool sleepsOnFutex(pid_t thread);

/// Waits until the thread sleeps inside poll(2); false when the time is over before.
bool waitUntilPolling(pid_t thread, std::chrono::milliseconds limit = std::chrono::seconds(20));

/// Waits until the thread sleeps on a futex, as one does that waits for a mutex; false when the time is over before.
bool waitUntilOnFutex(pid_t thread, std::chrono::milliseconds limit = std::chrono::seconds(20));

/// How long the threads that a process has now had to wait for a processor since they began, taken together; zero when
/// there is no such process.
std::chrono::nanoseconds waitedForProcessor(pid_t process);

/// How often the thread has gone to sleep on its own account since it began.
long voluntarySwitches(pid_t thread);
