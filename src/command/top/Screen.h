/// @file
/// A terminal that is drawn on as a whole.
#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

#include <termios.h>

#include <descriptor/Descriptor.h>

namespace command {

/// The terminal on standard input and output: keys come one by one and unseen, and what stood there before comes back
/// in the end. Ctrl-C stays what it is; Ctrl-Z and Ctrl-\, which would leave the terminal like this, do nothing.
/// SIGWINCH has to be blocked in all threads.
class Screen {
public:
    struct Size {
        std::size_t width;
        std::size_t height;
    };

    /// Whether both are a terminal.
    static bool isPossible();

    /// @param stop readable when the program is to end; drawing does not wait for the terminal then
    /// @throw std::system_error the terminal is gone
    explicit Screen(int stop);
    ~Screen();
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    Size size() const;
    /// Lines from the top, the one with this number turned over; the rest is empty.
    void draw(const std::vector<std::string>& lines, std::size_t turned);
    /// What has been typed; empty when the terminal is gone.
    std::string keys();
    /// Readable when the size has changed.
    int resized() const { return sizeChanges.get(); }
    void forgetResize();

    /// The terminal as it was found. Any thread; again does nothing.
    void restore();

private:
    void write(const std::string& text) const;

    const int end;
    termios found{};
    descriptor::Descriptor sizeChanges;
    descriptor::Descriptor out; ///< the terminal, opened once more: whether it blocks is told to no other program
    std::mutex mutex;           ///< guards `restored`
    bool restored = false;
};

} // namespace command
