/// @file
/// A serial port as its driver has it, asked and moved from beside the library.
#pragma once

#include <string>

/// What a driver says about its port. Opens the port itself, which root may though another has it for itself.
class TerminalLine {
public:
    explicit TerminalLine(const std::string& path);
    ~TerminalLine();
    TerminalLine(const TerminalLine&) = delete;
    TerminalLine& operator=(const TerminalLine&) = delete;

    /// "9600 even 2 rtscts", of the last only what is set.
    std::string settings() const;
    bool isLowLatency() const;

    /// Everybody who has the port open loses it, as when a modem hangs up.
    void hangUp() const;
    /// The UART's output is led back to its input, and its RTS to its CTS, which is high or low. Where flow control is
    /// on, low means that nothing goes out.
    void loopBack(bool ctsHigh) const;
    void endLoopBack() const;

private:
    void setModemLines(int lines) const;

    const int fd;
};
