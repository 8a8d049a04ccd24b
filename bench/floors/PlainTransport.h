/// @file
/// The transport's work without a single log statement.
#pragma once

#include <array>
#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include <hostlink/HostLinkFrame.h>
#include <hostlink/HostLinkPhysicalLayer.h>

namespace bench {

/// Claims a frame id, cuts, writes, retries; reassembles and delivers: step by step what the transport does, with the
/// same locks and copies.
class PlainTransport {
public:
    using Observer = std::function<void(ByteArray)>;

    explicit PlainTransport(HostLinkPhysicalLayer* below);
    bool writeMessage(const ByteArray& message);
    void addMessageReceivedObserver(Observer observer) { observers.push_back(std::move(observer)); }

private:
    // The calls that are inside, as a transport that may be destroyed meanwhile has to count them.
    struct Gate {
        std::mutex mutex;
        unsigned inside = 0;
    };

    int claimFrameId();
    bool writePacket(const ByteArray& packet);
    void receive(const ByteArray& packet);
    std::unique_ptr<HostLinkFrame> addToFrame(const ByteArray& packet);

    HostLinkPhysicalLayer* link;
    std::array<std::atomic<uint64_t>, 4> claimed{};
    std::shared_ptr<Gate> gate = std::make_shared<Gate>();
    std::mutex framesMutex; // guards frames
    std::map<int, std::unique_ptr<HostLinkFrame>> frames;
    std::vector<Observer> observers;
};

} // namespace bench
