#include "hostlink/HostLinkTransportLayer.h"

#include <chrono>
#include <thread>
#include <utility>

#include "FrameIds.h"
#include "hostlink/HostLinkFrame.h"
#include "hostlink/HostLinkLib.h"
#include "hostlink/HostLinkMsgFrame.h"
#include "hostlink/HostLinkPacket.h"
#include "hostlink/HostLinkPhysicalLayer.h"
#include "hostlink/HostLinkPrinter.h"
#include "hostlink/link/CallGate.h"
#include "hostlink/link/Trace.h"

// Threads
//
//   application thread(s)                     the link's receiving thread
//   writeMessage                              on_data_received
//     frameIds: claim one (atomic)              incomingFramesMutex: find or make the frame, add the packet,
//     link->writeData (blocks), retries           take a complete one out
//                                               no lock: observers, one after another
//
// writeMessage and on_data_received share nothing but constants. Stopping: the destructor closes `deliveries`, which
// waits for a delivery under way and makes the link's callback drop packets from then on.

namespace {

constexpr auto scope = "HostLinkTransportLayer";
log4cplus::Logger& logger = transportLogger();

constexpr int maxAttempts = 4;
constexpr std::chrono::milliseconds retryDelay{10};

} // namespace

HostLinkTransportLayer::HostLinkTransportLayer(HostLinkPhysicalLayer* link)
    : physicalLayer(link), frameIds(std::make_unique<FrameIds>()), deliveries(std::make_shared<CallGate>()) {
    physicalLayer->addDataReceivedObserver([this, gate = deliveries](const ByteArray& packet) {
        const CallGate::Pass pass(*gate);
        if (pass) on_data_received(packet);
    });
}

HostLinkTransportLayer::~HostLinkTransportLayer() {
    deliveries->closeAndWait();
}

void HostLinkTransportLayer::initTransportLayer() {
    HOSTLINK_TRACE_ENTER(logger, scope, "");
    physicalLayer->init();
}

void HostLinkTransportLayer::shutdown() {
    HOSTLINK_TRACE_ENTER(logger, scope, "");
    physicalLayer->shutdown();
}

// The lines below bear the name of the operation, so what logs stands in it and not in a helper.
bool HostLinkTransportLayer::writeMessage(const ByteArray& message) {
    HOSTLINK_TRACE_ENTER(logger, scope, "Data size: " << message.size());
    HostLinkPhysicalLayer& link = *physicalLayer;
    const FrameIds::Claim frameId(*frameIds, [&link] { return link.nextFrameId(); });
    LOG4CPLUS_DEBUG(logger, "Sending Frame: \n" << HostLinkPrinter::printHostLinkMessage(message));
    const HostLinkMsgFrame frame(message, frameId.id(), link.getMaxPacketSize());
    const int count = frame.packetCount();
    LOG4CPLUS_TRACE(logger, "Sending in: " << count << " packets");
    for (int index = 0; index < count; ++index) {
        const ByteArray packet = frame.serializePacket(index);
        LOG4CPLUS_DEBUG(logger, "Sending Packet: \n" << HostLinkPrinter::printHostLinkPacket(packet));
        for (int attempt = 1;; ++attempt) {
            const WriteDataResponse response = link.writeData(packet);
            if (response == Error || response == NoResponse) {
                LOG4CPLUS_ERROR(logger, "Unable to write data to the physical layer: " << static_cast<int>(response));
                return false;
            }
            LOG4CPLUS_TRACE(logger, "Write response: " << static_cast<int>(response));
            if (response != Rejected) break;
            if (attempt == maxAttempts) {
                // The text counts attempts, although it says retries.
                LOG4CPLUS_ERROR(logger,
                                "Unable to write data to the physical layer: rejected after " << attempt << " retries");
                return false;
            }
            std::this_thread::sleep_for(retryDelay);
        }
    }
    return true;
}

void HostLinkTransportLayer::on_data_received(const ByteArray& packet) {
    HOSTLINK_TRACE_ENTER(logger, scope, "Data size: " << packet.size());
    LOG4CPLUS_DEBUG(logger, "Packet received: \n" << HostLinkPrinter::printHostLinkPacket(packet));
    // Read without a check: the link has verified the packet, and a frame verifies what it adds.
    if (HostLinkPacket::frameType(packet, nullptr) != FRT_Message) return;
    const int frameId = HostLinkPacket::frameId(packet, nullptr);
    std::unique_ptr<HostLinkFrame> frame;
    if (!addToFrame(frameId, packet, &frame)) return; // not a packet: a link that verifies delivers none
    LOG4CPLUS_TRACE(logger, "Incoming frame id: " << frameId);
    if (!frame) {
        LOG4CPLUS_TRACE(logger, "Frame id: " << frameId << " is not complete");
        return;
    }
    LOG4CPLUS_TRACE(logger, "Frame id: " << frameId << " is complete");
    LOG4CPLUS_DEBUG(logger, "Frame received: \n" << HostLinkPrinter::printHostLinkMessage(frame->data()));
    for (const MessageReceivedObserver& observer : messageReceivedObservers) observer(frame->data());
}

// Adds the packet to the frame of its id, and hands the frame out when that completes it. False when the bytes are no
// packet: nothing has changed then.
bool HostLinkTransportLayer::addToFrame(int frameId, const ByteArray& packet,
                                        std::unique_ptr<HostLinkFrame>* completed) {
    const std::lock_guard lock(incomingFramesMutex);
    const auto [entry, isNew] = incomingFrames.try_emplace(frameId);
    std::unique_ptr<HostLinkFrame>& frame = entry->second;
    if (!frame) frame = std::make_unique<HostLinkFrame>();
    if (frame->addPacket(packet) != HOSTLINK_SUCCESS) {
        if (isNew) incomingFrames.erase(entry);
        return false;
    }
    if (frame->complete()) {
        *completed = std::move(frame);
        incomingFrames.erase(entry);
    }
    return true;
}

void HostLinkTransportLayer::addMessageReceivedObserver(MessageReceivedObserver observer) {
    messageReceivedObservers.push_back(std::move(observer));
}
