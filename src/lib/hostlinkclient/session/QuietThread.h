/// @file
/// How the client starts its threads.
#pragma once

#include <csignal>
#include <thread>
#include <utility>

namespace hostlink {

/// Starts a thread that takes none of the signals which are sent to a process: it is born with all of them blocked but
/// those that a thread raises itself.
/// @throw std::system_error there is no such thread to be had
template <typename Body> std::thread startQuietThread(Body body) {
    struct Blocked {
        Blocked() {
            sigset_t all;
            sigfillset(&all);
            for (const int own : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT}) sigdelset(&all, own);
            pthread_sigmask(SIG_SETMASK, &all, &before);
        }
        Blocked(const Blocked&) = delete;
        Blocked& operator=(const Blocked&) = delete;
        ~Blocked() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }
        sigset_t before;
    };
    const Blocked blocked;
    return std::thread(std::move(body));
}

} // namespace hostlink
