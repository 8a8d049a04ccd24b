/// @file
/// A client as the interpreter holds it.
#pragma once

#include <memory>
#include <string>

#include <pybind11/pybind11.h>

#include <hostlinkclient/Client.h>

#include "Inbox.h"

namespace binding {

/// What it holds is set before any thread sees it; the client takes calls of any thread.
class BoundClient {
public:
    /// Without the interpreter's lock.
    BoundClient(std::shared_ptr<Inbox> told, const hostlink::Wire& wire, const hostlink::Options& options);
    BoundClient(const BoundClient&) = delete;
    BoundClient& operator=(const BoundClient&) = delete;

    /// @throw std::runtime_error it was abandoned
    hostlink::Client* operator->() const;

    /// In a process that was forked from the one that has the client's threads: nothing can be asked any more. This
    /// must not be destroyed then.
    void abandon() { isAbandoned = true; }

    const std::shared_ptr<Inbox> inbox;

private:
    bool isAbandoned = false;
    std::unique_ptr<hostlink::Client> client;
};

/// The methods of files and tunnels.
void defineTransfersOf(pybind11::class_<BoundClient, std::shared_ptr<BoundClient>>& type);

} // namespace binding
