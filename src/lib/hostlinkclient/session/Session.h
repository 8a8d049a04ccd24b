/// @file
/// What transfers and tunnels stand on: the client's conversation with its host.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include <hostlink/ByteArray.h>
#include <hostlink/HostLinkNumbers.h>

#include "hostlinkclient/machines/Matcher.h"
#include "hostlinkclient/machines/Question.h"
#include "hostlinkclient/session/Counters.h"

namespace hostlink {

/// Something with a thread of its own that uses a session.
class Companion {
public:
    virtual ~Companion() = default;
    /// Ends it, and waits for its thread unless called on that.
    virtual void close() = 0;
};

/// Of each there is one at a time: the wire could not tell two of them apart.
enum class Role { Sender, Receiver, Tunnel };

/// One client's conversation with its host, without blocking. Everything handed in is called on one thread, the
/// client's own, one after another: what lives on it needs no lock. It must not block there, and must not call the
/// client's blocking requests.
///
/// Any thread may call. After the client's end everything handed in is dropped; an `ask` ends as `Cancelled` first.
class Session {
public:
    using Task = std::function<void()>;
    /// Ends what it stands for when the last copy goes: nothing is called any more from then on. A call that is running
    /// on the client's own thread is waited for, unless it is that call which lets the handle go.
    using Handle = std::shared_ptr<void>;

    virtual ~Session() = default;

    /// Sends a message and waits for what answers it; a question without an answer's id ends when the host has taken
    /// the message. `done` is called once.
    virtual void ask(Question question, std::function<void(const Matcher::End&)> done) = 0;

    /// Messages of the host with this id that answer nothing.
    virtual Handle listen(MessageId id, std::function<void(const ByteArray&)> told) = 0;
    /// Whether the link is up: now, and whenever it changes. A new link has been made between down and up.
    virtual Handle watchLink(std::function<void(bool up)> told) = 0;

    /// Does the task, behind those that wait already.
    virtual void post(Task task) = 0;
    virtual Handle postAt(Time when, Task task) = 0;

    /// Does the task on the thread for callbacks of the program, where it may block and call the client.
    virtual void callBack(Task task) = 0;

    /// Holds a companion until it is released or the session ends, which closes it first.
    /// @return false when there is one in that role, or the session has ended
    virtual bool keep(Role role, const std::shared_ptr<Companion>& companion) = 0;
    /// Lets go of it, on another thread than the companion's.
    virtual void release(Role role, const Companion* companion) = 0;

    /// Of the link, in bytes.
    virtual int maxPacketSize() const = 0;
    /// For questions that ask the same again: a number that no other family has.
    virtual uint64_t newFamily() = 0;
    virtual Counters& counters() = 0;
};

/// Has a session hold a companion while that begins, and let go of it where nothing comes of it, whatever the reason.
class Keeping {
public:
    Keeping(Session& by, Role as, const std::shared_ptr<Companion>& whom)
        : session(by), role(as), companion(whom.get()), isKept(by.keep(as, whom)) {}
    Keeping(const Keeping&) = delete;
    Keeping& operator=(const Keeping&) = delete;
    ~Keeping() {
        if (isKept && !hasBegun) session.release(role, companion);
    }

    /// False when there is one in that role, or the session has ended.
    explicit operator bool() const { return isKept; }
    /// It has begun, and is held from now on.
    void goOn() { hasBegun = true; }

private:
    Session& session;
    const Role role;
    const Companion* const companion;
    const bool isKept;
    bool hasBegun = false;
};

class Client;

/// The session of a client; lives as long as the client.
Session& sessionOf(const Client& client);

} // namespace hostlink
