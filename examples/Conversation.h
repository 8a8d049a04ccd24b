/// @file
/// Questions and answers over a transport layer.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <set>
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

    /// The protocol has no number that ties an answer to its question: the answer's id and its tags must do.
    struct Question {
        ByteArray request;
        MessageId answerId;
        Wanted isAnswer;  ///< among the messages with that id that can be read
        std::string what; ///< for people: what is being done
    };

    /// Begins to listen. Before `initTransportLayer()`; the transport must be gone before this object is.
    void listenTo(HostLinkTransportLayer& transport);

    /// Nothing will come any more: wakes whoever waits. Any thread.
    /// @param reason for people
    void lineLost(const std::string& reason);

    /// Sends a request and waits for its answer; tries again, a few times, when the host does not take the request or
    /// does not answer. What has come before the question is no answer to it. A host that calls a request unsupported
    /// is asked again, at once, only when it has answered one of this kind before: then the request arrived damaged.
    /// @throw std::runtime_error there was no answer, it cannot be read, the host does not support the request, or the
    /// line is lost; the text says what was asked, and what to do
    ByteArray ask(const Question& question);

    /// Waits for a message; false when none came within `seconds`.
    /// @throw std::runtime_error the line is lost
    bool waitFor(const Wanted& wanted, double seconds, ByteArray* message);

private:
    void keep(const ByteArray& message);
    bool isDamagedOnTheWay(const ByteArray& answer, const Question& question) const;
    void forget(const Wanted& unwanted);

    HostLinkTransportLayer* transport = nullptr; // not owned
    std::set<MessageId> supported;               // ids of answers that the host has given; the asking thread's own
    std::mutex mutex;                            // guards messages and lossReason
    std::condition_variable changed;
    std::deque<ByteArray> messages; // in the order of their arrival
    std::string lossReason;         // empty while the line is there
};
