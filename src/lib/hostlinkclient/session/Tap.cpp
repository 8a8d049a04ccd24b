#include "hostlinkclient/session/Tap.h"

#include <chrono>
#include <utility>

#include <hostlink/HostLinkPacket.h>
#include <hostlink/HostLinkRspFrame.h>
#include <hostlink/physicalLayers/SyncSerialLayer.h>
#include <hostlink/physicalLayers/UartPhysicalLayer.h>

namespace hostlink {

namespace {

// A writer that has still not come back is blocked in the device for sure, and the link's destructor wakes it there.
constexpr std::chrono::milliseconds patience{500};
constexpr std::chrono::milliseconds lookInterval{5};

HostLinkPhysicalLayer::Properties packetSize(int bytes) {
    HostLinkPhysicalLayer::Properties properties;
    properties.setInt(MaxPacketSize, bytes);
    return properties;
}

} // namespace

Tap::Tap(std::unique_ptr<HostLinkPhysicalLayer> link, int packetBytes, Counters& counted,
         RepeatedPackets& repeatedPackets, const LinkRecording* recordedBy, std::function<void()> whenLastPacketGoesOut)
    : HostLinkPhysicalLayer(packetSize(packetBytes)),
      real(std::move(link)),
      counters(counted),
      repeated(repeatedPackets),
      recording(recordedBy),
      lastPacketGoesOut(std::move(whenLastPacketGoesOut)) {
    if (auto* counting = dynamic_cast<CountingLink*>(real.get())) counting->countInto(counters.ofLinks);
    real->addDataReceivedObserver([this](const ByteArray& packet) { takePacket(packet); });
}

Tap::~Tap() = default;

bool Tap::init() {
    return real->init();
}

void Tap::shutdown() {
    real->shutdown();
}

int Tap::nextFrameId() {
    const std::lock_guard lock(mutex);
    return ended ? 0 : real->nextFrameId();
}

void Tap::takePacket(const ByteArray& packet) {
    countUp(counters.packetsIn);
    countUp(counters.bytesIn, packet.size());
    if (recording != nullptr) recording->packetIn(packet);
    if (repeated.isRepeated(packet, std::chrono::steady_clock::now()))
        countUp(counters.repeatedPackets);
    else
        notifyObservers(packet);
}

WriteDataResponse Tap::writeData(const ByteArray& packet) {
    HostLinkPhysicalLayer* link = nullptr;
    {
        const std::lock_guard lock(mutex);
        if (ended) return NoResponse;
        ++inside;
        link = real.get();
    }
    struct Leaving { // also when there is no memory
        ~Leaving() {
            const std::lock_guard guard(tap.mutex);
            --tap.inside;
            tap.left.notify_all();
        }
        Tap& tap;
    };
    const Leaving leaving{*this};
    // A packet that is tried again was refused before, and nothing tells what has gone out then.
    if (HostLinkPacket::isLast(packet) && !written.refusedLast) lastPacketGoesOut();
    countUp(counters.packetsOut);
    countUp(counters.bytesOut, packet.size());
    if (recording != nullptr) recording->packetOut(packet);
    written.refusedLast = false;
    const WriteDataResponse response = link->writeData(packet);
    if (recording != nullptr) recording->verdict(response);
    written.refusedLast = response == Rejected;
    if (response == Rejected) {
        ++written.refusals;
        countUp(counters.refusedPackets);
    } else if (response != Accepted) {
        countUp(counters.unansweredPackets);
    }
    return response;
}

bool Tap::isOpen() const {
    if (const auto* uart = dynamic_cast<const UartPhysicalLayer*>(real.get())) return uart->uartOk();
    if (auto* bus = dynamic_cast<SyncSerialLayer*>(real.get())) return bus->serialOk();
    return true;
}

// A serial link's writer waits for a response: it gets one that says nothing.
void Tap::wakeWriter() const {
    if (auto* uart = dynamic_cast<UartPhysicalLayer*>(real.get()))
        uart->handleIncomingPacket(HostLinkRspFrame::create(0, AcknowledgeType::None), true);
}

void Tap::stopWriters() {
    const auto until = std::chrono::steady_clock::now() + patience;
    std::unique_lock lock(mutex);
    ended = true;
    while (inside > 0 && std::chrono::steady_clock::now() < until) {
        wakeWriter();
        left.wait_for(lock, lookInterval, [this] { return inside == 0; });
    }
}

// The link must not be destroyed while a writer is on its way in, so writers leave first.
void Tap::end() {
    stopWriters();
    shutdown();
    std::unique_ptr<HostLinkPhysicalLayer> going;
    {
        const std::lock_guard lock(mutex);
        going = std::move(real);
    }
    going.reset();
    std::unique_lock lock(mutex);
    left.wait(lock, [this] { return inside == 0; });
}

} // namespace hostlink
