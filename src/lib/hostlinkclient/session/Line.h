/// @file
/// The link as it is now.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include <hostlink/HostLinkTransportLayer.h>

#include "hostlinkclient/machines/Matcher.h"
#include "hostlinkclient/session/Tap.h"
#include "hostlinkclient/session/WireData.h"
#include "hostlinkclient/session/Worker.h"

namespace hostlink {

/// Opens and closes link and transport, one pair after another, and writes over the present one.
///
/// `open` and `close` on one thread at a time; `write` on one thread at a time, which may be another. A write that is
/// under way when the line is closed comes back, and `close` waits for that.
class Line {
public:
    /// What one line tells. All called without a lock.
    struct Events {
        std::function<void()> lastPacketGoesOut;        ///< the writing thread
        std::function<void(const ByteArray&)> received; ///< the link's receiving thread
        std::function<void(const std::string&)> hungUp; ///< the watcher's thread
    };

    /// @param recordedBy null: by nobody
    /// @param watching   tells when a serial port goes
    Line(const Wire& to, Events tells, Counters& counted, const LinkRecording* recordedBy, Worker& watching);
    Line(const Line&) = delete;
    Line& operator=(const Line&) = delete;
    ~Line();

    /// @return why it could not be opened; empty when it is open
    std::string open();
    void close();
    /// Has a write that is under way come back, soon if not at once, and refuses others until the line is opened anew.
    /// Any thread.
    void stopWriting();

    struct Sent {
        Written result;
        int refusals;
    };
    Sent write(const ByteArray& message);

private:
    const std::string& name() const { return wire.inside().name; }
    bool give(const ByteArray& message);
    std::string prepare();
    std::string watchDevice();
    bool start();
    void stopWatching();
    void end();
    void drop();

    const Wire wire;
    const Events events;
    Counters& counters;
    const LinkRecording* const recording;
    Worker& watcher;
    RepeatedPackets repeated;
    int sentinel = -1;        // the device once more, only to hear of its end
    std::shared_ptr<Tap> tap; // set by open() and close(), with the lock and while nobody writes
    std::unique_ptr<HostLinkTransportLayer> transport; // the same
    bool isRunning = false;
    std::mutex mutex; // guards the two below, and `tap` as it is set
    std::condition_variable wrote;
    bool isWriting = false;
    bool isOpen = false;
};

} // namespace hostlink
