/// @file
/// What the checker of hosts is asked to do.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <hostcheck/Bench.h>

struct HostcheckOptions {
    std::string device;
    std::string link = "uart";
    int baud = 115200;
    std::string parity = "none";
    int uartOptions = 0;
    int gpio = 0;
    std::string gpioChip; ///< empty: sysfs
    std::string gpioLine; ///< empty: by number
    int i2cAddress = 0x42;
    int spiSpeed = 1000000;

    std::string clock; ///< as `makeClock` takes it

    hostcheck::Setup setup;
    std::vector<std::string> only;
    bool mustsOnly = false;
    unsigned repeat = 1;
    bool json = false;
    std::string junit; ///< file; empty: none
    bool list = false;
    bool rules = false;
};

/// @return the exit code when the program is to end at once: help was asked for, or the arguments are wrong
std::optional<int> parseCommandLine(int argc, char** argv, HostcheckOptions& options);
