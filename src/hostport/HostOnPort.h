/// @file
/// A simulated host that lives on a port.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>

#include <poll.h>

#include <hostsim/HostOnLine.h>
#include <hostsim/LinePacer.h>
#include <hostsim/SimulatedHost.h>
#include <terminal/LinePort.h>

/// Moves bytes between a host and a port, at the speed of a line. It waits for nothing itself: whoever drives it polls
/// `entry()` until `nextWake()`, together with what else he waits for, and then calls `handle()`, `advance()` and
/// `write()`. One thread at a time.
class HostOnPort {
public:
    /// @param linePort not owned, must live longer
    /// @param baud     bits per second to which both directions are slowed down; 0: the port has a speed of its own
    HostOnPort(const hostsim::HostOptions& options, LinePort& linePort, unsigned long baud,
               const hostsim::LineOptions& lineOptions = {});

    /// The options with the time added that a line of this speed needs: the module may need it before it can
    /// acknowledge anything.
    static hostsim::HostOptions withLineTime(hostsim::HostOptions options, unsigned long baud);

    hostsim::SimulatedHost& host() { return endpoint; }
    const hostsim::SimulatedHost& host() const { return endpoint; }

    /// The time since this was made, which is what all the others take.
    hostsim::Time now() const;

    /// Gives the host what has arrived by now.
    void advance(hostsim::Time time);

    /// Writes what the host has to say, as far as the system takes it.
    /// @throw std::system_error the line is lost
    void write(hostsim::Time time);

    /// What is to be waited for on the port.
    pollfd entry() const;

    /// Takes what came on the port: `revents` of `entry()`.
    /// @throw std::system_error, std::runtime_error the line is lost
    void handle(short revents, hostsim::Time time);

    /// When `advance()` and `write()` are to be called although nothing has come; none when there is no such moment.
    std::optional<hostsim::Time> nextWake(hostsim::Time time) const;

    /// When bytes were read or written last.
    hostsim::Time lastActivity() const { return activity; }

    /// Waits for one of the entries, but not beyond the moment.
    /// @return how many have something; none when a signal has come or the moment
    /// @throw std::system_error the system cannot wait
    int wait(pollfd* entries, std::size_t count, std::optional<hostsim::Time> until) const;

private:
    bool flush(hostsim::Time time);
    void read(hostsim::Time time);

    LinePort& port;
    std::chrono::steady_clock::time_point began;
    hostsim::SimulatedHost endpoint;
    hostsim::HostOnLine line;
    hostsim::LinePacer fromModule;
    hostsim::LinePacer toModule;
    ByteArray unwritten; // arrived at the end of the line, not yet taken by the system
    hostsim::Time activity{0};
};
