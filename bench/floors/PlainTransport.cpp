#include "PlainTransport.h"

#include <chrono>
#include <thread>

#include <hostlink/HostLinkMsgFrame.h>
#include <hostlink/HostLinkPacket.h>

namespace bench {

namespace {

constexpr int attempts = 4;

} // namespace

PlainTransport::PlainTransport(HostLinkPhysicalLayer* below) : link(below) {
    link->addDataReceivedObserver([this, entrance = gate](const ByteArray& packet) {
        {
            const std::lock_guard lock(entrance->mutex);
            ++entrance->inside;
        }
        receive(packet);
        const std::lock_guard lock(entrance->mutex);
        --entrance->inside;
    });
}

int PlainTransport::claimFrameId() {
    for (;;) {
        const auto id = static_cast<uint8_t>(link->nextFrameId());
        const uint64_t bit = uint64_t{1} << id % 64;
        if ((claimed[id / 64u].fetch_or(bit) & bit) == 0) return id;
    }
}

bool PlainTransport::writeMessage(const ByteArray& message) {
    const int id = claimFrameId();
    const HostLinkMsgFrame frame(message, id, link->getMaxPacketSize());
    const int count = frame.packetCount();
    bool written = true;
    for (int index = 0; written && index < count; ++index) written = writePacket(frame.serializePacket(index));
    claimed[static_cast<size_t>(id) / 64].fetch_and(~(uint64_t{1} << id % 64));
    return written;
}

bool PlainTransport::writePacket(const ByteArray& packet) {
    for (int attempt = 1;; ++attempt) {
        const WriteDataResponse response = link->writeData(packet);
        if (response == Error || response == NoResponse) return false;
        if (response != Rejected) return true;
        if (attempt == attempts) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

void PlainTransport::receive(const ByteArray& packet) {
    if (HostLinkPacket::frameType(packet, nullptr) != FRT_Message) return;
    const std::unique_ptr<HostLinkFrame> frame = addToFrame(packet);
    if (!frame) return;
    for (const Observer& observer : observers) observer(frame->data());
}

std::unique_ptr<HostLinkFrame> PlainTransport::addToFrame(const ByteArray& packet) {
    const std::lock_guard lock(framesMutex);
    const auto entry = frames.try_emplace(HostLinkPacket::frameId(packet, nullptr)).first;
    std::unique_ptr<HostLinkFrame>& frame = entry->second;
    if (!frame) frame = std::make_unique<HostLinkFrame>();
    frame->addPacket(packet);
    if (!frame->complete()) return nullptr;
    std::unique_ptr<HostLinkFrame> whole = std::move(frame);
    frames.erase(entry);
    return whole;
}

} // namespace bench
