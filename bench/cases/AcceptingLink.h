/// @file
/// A link that accepts every packet at once.
#pragma once

#include <cstdint>

#include <hostlink/HostLinkPhysicalLayer.h>

namespace bench {

class AcceptingLink : public HostLinkPhysicalLayer {
public:
    AcceptingLink() : HostLinkPhysicalLayer(Properties()) {}

    bool init() override { return true; }
    void shutdown() override {}
    int nextFrameId() override { return frameId++; }
    WriteDataResponse writeData(const ByteArray& packet) override {
        if (onWrite) onWrite(packet);
        return Accepted;
    }

    /// What a link's receiving thread does with a packet.
    void deliver(const ByteArray& packet) { notifyObservers(packet); }

    std::function<void(const ByteArray&)> onWrite; ///< may be empty

private:
    uint8_t frameId = 0;
};

} // namespace bench
