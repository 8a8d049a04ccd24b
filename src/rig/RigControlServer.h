/// @file
/// The control interface: a Unix socket on which one line is a command and one line is its answer.
#pragma once

#include <list>
#include <mutex>
#include <string>
#include <thread>

#include <descriptor/Descriptor.h>

#include "RigCommands.h"

namespace busrig {

/// Every connection has a thread of its own, so that one may wait while another acts.
class RigControlServer {
public:
    /// Listens from now on; throws std::runtime_error with the reason when that is not possible.
    RigControlServer(RigCommands& rigCommands, const std::string& socketPath);
    /// Ends all connections. Whoever waits inside a command must have been released before.
    ~RigControlServer();
    RigControlServer(const RigControlServer&) = delete;
    RigControlServer& operator=(const RigControlServer&) = delete;

private:
    struct Connection {
        descriptor::Descriptor socket; ///< stays as it is while the thread runs
        bool finished;
        std::thread thread;
    };

    void acceptLoop();
    void serve(Connection& connection);
    /// Joins the threads whose peer has gone.
    void reap();

    RigCommands& commands;
    const descriptor::Descriptor listener;
    std::mutex mutex; ///< guards `connections` and what is in them, except for the running of the threads
    std::list<Connection> connections;
    std::thread acceptor;
};

} // namespace busrig
