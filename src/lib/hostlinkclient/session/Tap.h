/// @file
/// A link between the transport and the link proper.
#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

#include <hostlink/HostLinkPhysicalLayer.h>

#include "hostlinkclient/machines/RepeatedPackets.h"
#include "hostlinkclient/session/Counters.h"
#include "hostlinkclient/session/LinkRecording.h"

namespace hostlink {

/// Sees every packet that transport and link exchange: what the transport tells of a message is true or false only.
/// Drops packets of the host that come twice. Ends before the transport, whatever threads are inside.
class Tap : public HostLinkPhysicalLayer {
public:
    /// What became of the packets of one message.
    struct Written {
        int refusals = 0;
        bool refusedLast = false; ///< the last packet that was written was refused
    };

    /// @param lastPacketGoesOut called on the writing thread before the last packet of a message is written for the
    /// first
    ///                          time
    /// @param recordedBy        null: by nobody
    /// @param repeated          outlives links: the host numbers on
    Tap(std::unique_ptr<HostLinkPhysicalLayer> link, int packetBytes, Counters& counted,
        RepeatedPackets& repeatedPackets, const LinkRecording* recordedBy, std::function<void()> whenLastPacketGoesOut);
    ~Tap() override;

    bool init() override;
    void shutdown() override;
    int nextFrameId() override;
    WriteDataResponse writeData(const ByteArray& packet) override;

    /// Before each message; by the one thread that writes.
    void beginMessage() { written = {}; }
    const Written& ofMessage() const { return written; }

    /// Whether the link's device is open.
    bool isOpen() const;
    /// Refuses writers from now on, and has those that are inside come back with `NoResponse`. Any thread.
    void stopWriters();
    /// The same, and destroys the link: nothing is delivered afterwards.
    void end();
    const HostLinkPhysicalLayer* link() const { return real.get(); }
    /// Hands the link out, when it must not be destroyed; see `Line`.
    std::unique_ptr<HostLinkPhysicalLayer> release() { return std::move(real); }

private:
    void takePacket(const ByteArray& packet);
    void wakeWriter() const;

    std::unique_ptr<HostLinkPhysicalLayer> real; // taken away by `end` and `release` only, when no writer is inside
    Counters& counters;
    RepeatedPackets& repeated; // the link's receiving thread
    const LinkRecording* const recording;
    const std::function<void()> lastPacketGoesOut;
    Written written;  // the thread that writes
    std::mutex mutex; // guards the two below, and `real` as it goes
    std::condition_variable left;
    int inside = 0;
    bool ended = false;
};

} // namespace hostlink
