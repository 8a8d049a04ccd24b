/// @file
/// What a scripted `Uart` does with its port.
#pragma once

#include <atomic>

#include "ScriptedPort.h"

/// One open port: the state of one `Uart`.
class ScriptedPortUse {
public:
    /// The port of that path must exist.
    ScriptedPortUse(const std::string& path, const ScriptedPort::Settings& settings);
    ~ScriptedPortUse();
    ScriptedPortUse(const ScriptedPortUse&) = delete;
    ScriptedPortUse& operator=(const ScriptedPortUse&) = delete;

    bool init();
    ByteArray read(unsigned long size, bool* error);
    bool write(const ByteArray& data);

private:
    ScriptedPort& port;
    bool going = false;         // guarded by the port's mutex
    std::atomic<int> inside{0}; // calls that the destructor waits for, those that still wait for the mutex included
};
