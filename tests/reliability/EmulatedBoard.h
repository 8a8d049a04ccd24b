/// @file
/// A board in the emulator, whose line and mailbox are here.
#pragma once

#include <string>

#include <sys/types.h>

#include <descriptor/Descriptor.h>
#include <firmware/mailbox/Mailbox.h>

namespace truth {

/// Runs from the constructor to the destructor, which kills it whatever it does; it dies with the thread that made it.
class EmulatedBoard {
public:
    struct Times { ///< milliseconds
        uint32_t response;
        uint32_t packet;
        uint32_t repeatWindow;
    };

    /// Why there can be none here; empty when there can.
    static std::string hindrance();

    /// Throws std::system_error when it cannot be started.
    explicit EmulatedBoard(const Times& times);
    ~EmulatedBoard();
    EmulatedBoard(const EmulatedBoard&) = delete;
    EmulatedBoard& operator=(const EmulatedBoard&) = delete;

    /// The line: a socket of bytes, not blocking.
    int line() const { return nearEnd.get(); }
    Mailbox& mailbox() { return *shared; }
    const Mailbox& mailbox() const { return *shared; }

private:
    descriptor::Descriptor nearEnd;
    descriptor::Descriptor memory; // of the board
    Mailbox* shared = nullptr;
    pid_t process = -1;
};

} // namespace truth
