/// @file
/// A set that is not believed until it has been read back.
#pragma once

#include <functional>
#include <memory>

#include "hostlinkclient/session/Requests.h"

namespace hostlink {

class Core;

/// Sets, reads back, and begins again until the host holds the values, the deadline has passed, or the host has said so
/// many times that it holds others as a request may be sent. `done` is called once, on any thread and without a lock.
void confirm(const std::shared_ptr<Core>& core, Request<void>&& request, const StateValues& values, const Call& call,
             std::function<void(Result<void>)> done);

} // namespace hostlink
