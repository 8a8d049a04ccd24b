/// @file
/// A host to talk with, one thing after another.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include <hostlinkclient/Client.h>

#include "DemoOptions.h"

/// The client and what it tells, all on one thread: its callbacks run inside the waits here. Says on the standard
/// output when the link goes and comes back.
class HostTalk {
public:
    using Seconds = std::chrono::duration<double>;

    /// Opens the link and waits until the host answers.
    /// @throw std::runtime_error it cannot be opened, or nobody answers for as long as the patience lasts
    explicit HostTalk(const DemoOptions& options);

    hostlink::Client& host() { return client; }

    /// Waits until something is true that a callback changes; false when it is not by then.
    /// @throw std::runtime_error the link was down for as long as the patience lasts
    bool waitUntil(const std::function<bool()>& isSo, Seconds within);

private:
    using Clock = std::chrono::steady_clock;

    void linkIs(hostlink::LinkState now, const std::string& why);
    void waitForTheHost(const std::string& device);

    const hostlink::Events events;
    const Seconds patience;
    hostlink::LinkState state = hostlink::LinkState::Opening;
    std::string reason;
    bool wasUp = false;
    std::optional<Clock::time_point> downSince;
    hostlink::Client client;
    hostlink::Listening link;
};
