/// @file
/// A pseudo terminal: the code under test opens the slave by its path, the test plays the far side on the master.
#pragma once

#include <chrono>
#include <string>
#include <vector>

/// One pseudo terminal in raw mode, without privileges. One thread may write and another read at the same time; `close`
/// is for when neither does.
class Pty {
public:
    using Bytes = std::vector<unsigned char>;

    /// Bound of the waits below: far more than anything here takes, so that only a fault uses it up.
    static constexpr std::chrono::seconds patience{20};

    /// Throws std::system_error when the system gives no pseudo terminal.
    Pty();
    ~Pty();
    Pty(const Pty&) = delete;
    Pty& operator=(const Pty&) = delete;

    /// For the code under test to open, for example "/dev/pts/3".
    const std::string& slavePath() const { return path; }

    /// The far side's descriptor, non-blocking and owned by this object; -1 after `close`.
    int master() const { return fd; }

    /// Sends all bytes; false when they were not all taken within `limit`.
    bool write(const Bytes& bytes, std::chrono::milliseconds limit = patience);
    bool write(const std::string& text, std::chrono::milliseconds limit = patience);

    /// Receives exactly `size` bytes. Fewer come back when the time is over or when the last opener of the slave has
    /// closed it and everything sent before has been read.
    Bytes read(std::size_t size, std::chrono::milliseconds limit = patience);

    /// Receives what has already arrived, at most `size` bytes; does not wait.
    Bytes readAvailable(std::size_t size = 65536);

    /// Waits until bytes can be received, without taking them; false when the time is over or nobody has the slave
    /// open.
    bool waitReadable(std::chrono::milliseconds limit = patience) const;

    /// Waits until the last opener of the slave has closed it; false when the time is over. What was sent before may
    /// still be unread.
    bool waitHungUp(std::chrono::milliseconds limit = patience) const;

    /// The far side goes: the slave sees a hang-up. A second call does nothing.
    void close();

private:
    int fd = -1;
    std::string path;
};
