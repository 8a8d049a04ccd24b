/// @file
/// The command line of the demo, and its log.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

struct DemoOptions {
    std::string device;
    std::string link = "uart";
    int baud = 115200;
    int gpio = 0;           ///< line on which the host asks to be read; I2C and SPI
    std::string gpioChip;   ///< of that line, path or label; empty: through sysfs
    std::string gpioLine;   ///< its name on that chip; empty: by its number
    int i2cAddress = 0x42;  ///< of the host
    int spiSpeed = 1000000; ///< Hz
    int maxPacketSize = 64;
    int responseTimeout = 1000; ///< milliseconds
    int patience = 10;          ///< seconds
    std::string file;           ///< empty: one is made up
    size_t fileSize = 262144;
    std::string logLevel = "error";
};

/// @return the exit code when the program is to end at once: help was asked for, or the arguments are wrong
std::optional<int> parseCommandLine(int argc, char** argv, DemoOptions& options);
