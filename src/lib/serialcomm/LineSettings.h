/// @file
/// How bytes go over a serial line.
#pragma once

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

/// Whether the settings make sense at all; else false after an ERROR line about `device`.
bool checkLineSettings(const LineSettings& settings, const std::string& device);

/// How long the line takes for so many bytes, each with its start, parity and stop bits.
std::chrono::microseconds timeOnLine(int bytes, const LineSettings& settings);

/// Makes the open terminal `fd` a raw line with these (checked) settings; false after an ERROR line about `device`.
bool applyLineSettings(int fd, const LineSettings& settings, const std::string& device);

/// Lets the terminal send whatever the far side's RTS/CTS says; all else stays. Does not wait for anything.
void clearFlowControl(int fd);

} // namespace serialcomm
