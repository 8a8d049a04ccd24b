/// @file
/// How bytes go over a serial line.
#pragma once

#include <array>
#include <chrono>
#include <string>

namespace serialcomm {

/// Bits of the options integer of `Uart`.
enum LineOption : int {
    TwoStopBits = 1,
    RtsCtsFlowControl = 2,
    LowLatency = 4,
};

/// Eight data bits always; the rest as the constructor of `Uart` was told.
struct LineSettings {
    int baudRate; ///< bits per second
    int options;  ///< `LineOption` bits
    std::string parity;
};

/// What a terminal was set to before it was made a line of ours; the fields of the kernel's own structure.
struct FoundLine {
    unsigned inputFlags;
    unsigned outputFlags;
    unsigned controlFlags;
    unsigned localFlags;
    unsigned char discipline;
    std::array<unsigned char, 19> characters;
    unsigned inputSpeed;
    unsigned outputSpeed;
    bool hasSpeeds;       ///< else the system names speeds by the control flags alone
    bool lowLatencyAdded; ///< the driver was told to hand on bytes at once, and had not been
};

/// Whether the settings make sense at all; else false after an ERROR line about `device`.
bool checkLineSettings(const LineSettings& settings, const std::string& device);

/// How long the line takes for so many bytes, each with its start, parity and stop bits.
std::chrono::microseconds timeOnLine(int bytes, const LineSettings& settings);

/// What the open terminal `fd` is set to; false after an ERROR line about `device`.
bool readLine(int fd, FoundLine* found, const std::string& device);

/// Makes the open terminal `fd`, found so, a raw line with these (checked) settings; false after an ERROR line about
/// `device`, also when the driver does another speed instead: more than 2 % off. What a driver rounds inside, without
/// telling, is not noticed.
bool applyLineSettings(int fd, const LineSettings& settings, FoundLine* found, const std::string& device);

/// Sets the terminal as it was found, but for flow control, which is not left on where these settings had it on: what
/// is still in the transmitter would hold up the close. Does not wait for anything.
void restoreLine(int fd, const LineSettings& settings, const FoundLine& found);

} // namespace serialcomm
