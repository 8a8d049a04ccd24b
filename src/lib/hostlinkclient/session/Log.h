/// @file
/// The client's log.
#pragma once

#include <memory>
#include <string>

#include "hostlinkclient/Options.h"

namespace hostlink {

/// Writes a line to the logger "HostLinkClient". Any thread, also while the process ends: nothing is written then.
void writeLog(LogLevel level, const std::string& line);

/// Has loggers of the libraries that nobody listens to stay silent: without an appender the first line of each would be
/// a complaint on the standard error. What is configured later is not changed by it. Any thread.
void acceptSilence();

/// Listens to what links and serial library log on this thread, as long as it lives: a link tells there only why it
/// cannot be opened.
class FirstError {
public:
    FirstError();
    FirstError(const FirstError&) = delete;
    FirstError& operator=(const FirstError&) = delete;
    ~FirstError();
    /// The first line of level ERROR; empty when there was none, or it is turned off.
    std::string text() const;

private:
    class Listener;
    Listener* listener; // held by `kept`
    std::shared_ptr<void> kept;
};

} // namespace hostlink
