/// @file
/// How a client behaves.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include <hostlinkclient/Call.h>
#include <hostlinkclient/Events.h>
#include <hostlinkclient/Recorder.h>
#include <hostlinkclient/StateId.h>

namespace hostlink {

/// How serious a log line is.
enum class LogLevel { Debug, Info, Warning, Error };

/// What holds for all requests of a client, unless a `Call` says otherwise. All times are longer than 0.
struct Options {
    using Milliseconds = std::chrono::milliseconds;

    /// How long a request may take, everything included.
    Milliseconds deadline{3000};
    /// How long the host may take to answer once it has the message. Then a request that can be repeated without harm
    /// is sent again, and any other is unanswered.
    Milliseconds answerTime{1000};
    /// How long after its time an answer may still come. So long a request waits that such an answer could be taken
    /// for the answer to.
    Milliseconds lateFor{1000};
    /// How long `setLed` waits for a host to say that it does not support it: nothing else answers it.
    Milliseconds refusalTime{100};
    /// How often a request is sent at most that can be repeated without harm (get, subscribe, a confirmed set).
    int sendings = 4;
    /// What requests do while there is no link.
    WhileDown whileDown = WhileDown::Fail;

    /// The pause before a new link is made: at first, and at most. Each failure doubles it; each pause is drawn from
    /// its upper half, so that many clients do not come at once.
    Milliseconds firstPause{100};
    Milliseconds longestPause{5000};
    /// A new link is made when so many messages in a row were not accepted by the host.
    int unansweredWrites = 5;
    /// The link is opened by `Client::open()`, not by the constructor: once everything is registered that shall hear
    /// the host's first words, which may be waiting for a module to come.
    bool opensLater = false;
    /// What a new host is asked first, to see whether it is there.
    StateId probe = STA_HostFirmwareVersion;

    /// Told what the client logs, besides log4cplus (logger "HostLinkClient"); on any thread, and must not call the
    /// client.
    std::function<void(LogLevel level, const std::string& line)> log;

    /// Where callbacks run: with it, when the program calls `Events::dispatch()`, and no thread of the client's calls
    /// the program but for `log` and those of file transfers; without it, on threads of the client's own.
    std::optional<Events> events;

    /// Records what goes over the client's wire. Without one the environment may ask for it: `HOSTLINK_RECORD` names
    /// the folder of a ring (docs/recorder.md).
    std::optional<Recorder> recorder;
};

} // namespace hostlink
