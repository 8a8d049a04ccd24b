/// @file
/// How the links start their threads.
#pragma once

#include <csignal>
#include <memory>
#include <thread>
#include <utility>

/// Until it goes, the calling thread takes none of the signals that are sent to a process: all are blocked but those
/// that a thread raises by what it does itself.
class SignalsBlocked {
public:
    SignalsBlocked();
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;
    ~SignalsBlocked();

private:
    sigset_t before;
};

/// Starts a thread that never takes a signal meant for the program: a program that waits for SIGTERM with `signalfd` or
/// `sigwait` blocks it in its own threads and cannot do so in ours. The thread is born with the signals blocked;
/// blocked by itself, they could still meet it before.
/// @throw std::system_error there is no such thread to be had
template <typename Body> std::thread startLinkThread(Body body) {
    const SignalsBlocked blocked;
    return std::thread(std::move(body));
}

/// The same, kept by pointer. What needs memory comes before the thread runs: afterwards it could not be called back.
template <typename Body> std::unique_ptr<std::thread> makeLinkThread(Body body) {
    auto thread = std::make_unique<std::thread>();
    *thread = startLinkThread(std::move(body));
    return thread;
}
