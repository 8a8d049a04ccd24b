/// @file
/// What the checker of hosts is asked to do.
#pragma once

#include <string>
#include <vector>

#include <hostcheck/Bench.h>

namespace CLI {
class App;
}

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

/// Declares the options on the command line and the help.
void declareOptions(CLI::App& app, HostcheckOptions& options);
