/// @file
/// The guest's serial ports, and the world at their far sides.
#pragma once

#include <string>

/// Where a port of the machine is: "first", "second", "card" or "usb".
std::string portPath(const std::string& name);

/// Has the world outside the guest do something (outside.py tells what it can), and returns what it answers. Throws
/// std::runtime_error when it refuses, or does not answer for a minute.
std::string askOutside(const std::string& request);

/// A simulated host at the far side of a port while it lives.
class HostOutside {
public:
    explicit HostOutside(std::string portName) : port(std::move(portName)) { askOutside("hostsim " + port); }
    ~HostOutside();
    HostOutside(const HostOutside&) = delete;
    HostOutside& operator=(const HostOutside&) = delete;

private:
    const std::string port;
};

/// Waits until the file is there, or is there no more; false after far more time than that takes.
bool appears(const std::string& path);
bool disappears(const std::string& path);
