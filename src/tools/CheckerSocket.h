/// @file
/// A serial line that an emulator offers as a socket.
#pragma once

#include <string>

#include <descriptor/Descriptor.h>

#include "CheckerPorts.h"

/// Nothing stands between the two ends, so what the host has sent is here: a wait that is over has seen it.
class SocketPort : public CheckerPort<hostcheck::SerialWire> {
public:
    /// Whether the device of the options is one.
    static bool isSocket(const std::string& device);

    /// @throw std::system_error nobody listens there
    explicit SocketPort(const HostcheckOptions& options);

    void send(const ByteArray& bytes) override;
    ByteArray receive(hostcheck::Time until) override;
    hostcheck::Time lineTime(size_t bytes) const override { return timeOnLine(options, bytes); }

private:
    const HostcheckOptions& options;
    descriptor::Descriptor line;
};
