/// @file
/// The serial port that a link's threads share, and that goes while they may be inside it.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include <sys/types.h>

#include <serialcomm/Uart.h>

/// Owns the port of a UART link.
///
/// The reader blocks inside `Uart::read` without a time limit, so the port must go, or at least end, while a thread is
/// inside. What no port can allow is a thread that has fetched it and not yet entered it. A `Use` therefore announces
/// itself here before the call.
///
/// Where the serial library can end a port (`uartEnd`), `destroy` ends it, waits for every announced thread, however
/// long the scheduler keeps it, and destroys the port when nobody is near it any more. With a library that cannot,
/// only the port's destructor wakes the reader: `destroy` waits until every writer has left and the reader sleeps in
/// the kernel, twice in a row, and no longer than half a second, in which it has looked fifty times at the least.
class SharedUart {
public:
    /// Ends a port that stays alive; empty where there is no such thing.
    using End = std::function<void(Uart&)>;
    /// Whether a thread sleeps in the kernel.
    using Look = std::function<bool(pid_t)>;

    /// What a thread is up to: a reader may stay inside for ever, all others leave on their own.
    enum class Purpose { Read, Other };

    /// One thread's use of the port. Converts to false when there is no port. Made right before the call and with every
    /// lock already taken: a thread that waits for a lock would look as if it slept inside the port.
    class Use {
    public:
        explicit Use(SharedUart& of, Purpose purpose = Purpose::Other);
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;
        ~Use();
        explicit operator bool() const { return uart != nullptr; }
        Uart* operator->() const { return uart; }
        Uart& operator*() const { return *uart; }

    private:
        SharedUart& shared;
        Uart* uart;
    };

    /// Without an `End`: how long `destroy` gives writers to leave and a reader to get from its announcement into the
    /// port. A port whose calls do not sleep for longer than this is destroyed all the same.
    static constexpr std::chrono::milliseconds entryLimit{500};

    /// With what the serial library at hand can do.
    SharedUart();
    SharedUart(End portEnd, Look look, std::chrono::milliseconds limit = entryLimit);
    ~SharedUart();

    /// Takes a port, destroying any previous one.
    void set(std::unique_ptr<Uart> port);
    bool isPresent() const;
    /// Detaches the port, so that it reads as absent, and destroys it. Any thread, also while others use the port; not
    /// one that uses it itself.
    void destroy();

private:
    struct User {
        const Use* use;
        pid_t thread; // known only where there is no `End`
        Purpose purpose;
    };

    void endAndAwaitUsers(std::unique_lock<std::mutex>& lock, Uart& going);
    void awaitSleepingReader(std::unique_lock<std::mutex>& lock);
    bool onlySleepingReaders() const;

    const End end;
    const Look asleep;
    const std::chrono::milliseconds patience;
    mutable std::mutex mutex; // guards all below
    std::condition_variable userLeft;
    std::unique_ptr<Uart> current;
    std::vector<User> users;
};
