/// @file
/// Questions and answers over a transport layer.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>

#include <hostlink/ByteArray.h>
#include <hostlink/HostLinkLib.h>

class HostLinkTransportLayer;

/// Keeps the messages that come in until somebody asks for them. The link's reader thread puts them in, one other
/// thread asks and takes them out. The reader thread itself must never send: it is the one that reads the host's
/// answers.
class Conversation {
public:
    /// Picks the message one waits for.
    using Wanted = std::function<bool(const ByteArray& message)>;

    /// Begins to listen. Before `initTransportLayer()`; the transport must be gone before this object is.
    void listenTo(HostLinkTransportLayer& transport);

    /// Sends a request and waits for its answer; tries again, a few times, when the host does not take the request or
    /// does not answer.
    /// @throw std::runtime_error there was no answer; the text says what was asked
    ByteArray ask(const ByteArray& request, const Wanted& wanted, const std::string& what);

    /// Waits for a message; false when none came within `seconds`.
    bool waitFor(const Wanted& wanted, double seconds, ByteArray* message);

    /// Any message with this id.
    static Wanted withId(MessageId id);

private:
    void keep(const ByteArray& message);

    HostLinkTransportLayer* transport = nullptr; // not owned
    std::mutex mutex;                            // guards messages
    std::condition_variable arrived;
    std::deque<ByteArray> messages; // in the order of their arrival
};
