/// @file
/// Messages over a link: cutting, retries, reassembly, delivery.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "ByteArray.h"
#include "HostLinkExport.h"

class CallGate;
class FrameIds;
class HostLinkFrame;
class HostLinkPhysicalLayer;

/// Sends messages as frames of packets and delivers incoming frames as messages.
///
/// Life: constructed over a link, observers added, `initTransportLayer()`, traffic, `shutdown()`, destroyed before the
/// link. A packet that the link delivers after that is dropped.
class HOSTLINK_EXPORT HostLinkTransportLayer {
public:
    /// Receives one message; owns its copy.
    using MessageReceivedObserver = std::function<void(ByteArray)>;

    /// Registers itself as a receiver of the link's packets. The link stays the caller's and must live longer.
    explicit HostLinkTransportLayer(HostLinkPhysicalLayer* link);
    HostLinkTransportLayer(const HostLinkTransportLayer&) = delete;
    HostLinkTransportLayer& operator=(const HostLinkTransportLayer&) = delete;

    /// Waits for a delivery that is under way on the receiving thread; must not be called from an observer.
    virtual ~HostLinkTransportLayer();

    /// Initialises the link. Its result is not passed on: a link that failed answers every write with a failure.
    virtual void initTransportLayer();

    /// Shuts the link down.
    virtual void shutdown();

    /// Sends one message and waits until the host has accepted every packet of it. A packet that the host rejects is
    /// sent up to four times, 10 ms apart.
    /// @return true when every packet was accepted (also when there is none). False at the first packet that was
    ///         rejected four times or answered with an error or not at all; packets before it are not recalled.
    /// Any thread; two calls at once are not serialised. Each has a frame id of its own: one that another call of this
    /// transport is using is drawn from the link again.
    virtual bool writeMessage(const ByteArray& message);

    /// Takes one packet from the link. The link's receiving thread.
    void on_data_received(const ByteArray& packet);

    /// Adds a receiver of complete messages; called on the link's receiving thread, in order of registration, without
    /// a lock. Before `initTransportLayer()` only; there is no removal.
    void addMessageReceivedObserver(MessageReceivedObserver observer);

private:
    bool addToFrame(int frameId, const ByteArray& packet, std::unique_ptr<HostLinkFrame>* completed);

    HostLinkPhysicalLayer* physicalLayer;                          // not owned; constant
    std::map<int, std::unique_ptr<HostLinkFrame>> incomingFrames;  // guarded by incomingFramesMutex, frames included
    std::vector<MessageReceivedObserver> messageReceivedObservers; // filled before init, read by the receiving thread
    std::mutex incomingFramesMutex;
    std::unique_ptr<FrameIds> frameIds;   // of the messages in writeMessage; no lock
    std::shared_ptr<CallGate> deliveries; // shared with the link's callback, which outlives the transport
};
