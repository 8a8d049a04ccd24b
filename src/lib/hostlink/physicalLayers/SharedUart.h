/// @file
/// The serial port that a link's threads share, and that goes while they may be inside it.
#pragma once

#include <sys/types.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

#include <serialcomm/Uart.h>

/// Owns the port of a UART link.
///
/// The reader blocks inside `Uart::read` without a time limit, and only the port's destructor wakes it: so the port is
/// destroyed while a thread is inside, which `Uart` allows. What it cannot allow is a thread that has fetched the port
/// but not yet entered it. A `Use` therefore announces itself here before the call, and `destroy` waits until every
/// announced thread has left again or sleeps in the kernel, which it can only do from inside the port.
class SharedUart {
public:
    /// One thread's use of the port. Converts to false when there is no port. Made right before the call and with every
    /// lock already taken: a thread that waits for a lock would look as if it slept inside the port.
    class Use {
    public:
        explicit Use(SharedUart& of);
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;
        ~Use();
        explicit operator bool() const { return uart != nullptr; }
        Uart* operator->() const { return uart; }

    private:
        SharedUart& shared;
        Uart* uart;
    };

    ~SharedUart();

    /// Takes a port, destroying any previous one.
    void set(std::unique_ptr<Uart> port);
    bool isPresent() const;
    /// Detaches the port, so that it reads as absent, and destroys it. Any thread, also while others use the port.
    void destroy();

private:
    void awaitUsersInside(std::unique_lock<std::mutex>& lock);
    bool allUsersSleep() const;

    mutable std::mutex mutex; // guards all below
    std::condition_variable userLeft;
    std::unique_ptr<Uart> current;
    std::vector<pid_t> users; // thread ids
};
