#include "ObservedLink.h"

#include <utility>

namespace truth {

ObservedLink::ObservedLink(std::unique_ptr<HostLinkPhysicalLayer> observed, const Properties& properties,
                           const std::function<void(const ByteArray&)>& delivered,
                           std::function<void(Attempt)> toWritten)
    : HostLinkPhysicalLayer(properties), written(std::move(toWritten)), link(std::move(observed)) {
    link->addDataReceivedObserver([this, delivered](const ByteArray& packet) {
        delivered(packet);
        notifyObservers(packet);
    });
}

bool ObservedLink::init() {
    up = link->init();
    return up;
}

WriteDataResponse ObservedLink::writeData(const ByteArray& packet) {
    const Moment begin = std::chrono::steady_clock::now();
    const WriteDataResponse response = link->writeData(packet);
    written({packet, begin, std::chrono::steady_clock::now(), response});
    return response;
}

} // namespace truth
