#include "MemoryHost.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <thread>
#include <utility>

#include <hostlink/HostLinkPacket.h>
#include <hostlink/HostLinkPhysicalLayer.h>
#include <hostlink/HostLinkRspFrame.h>
#include <hostlink/machines/UartStream.h>

namespace truth {

namespace {

using hostsim::Time;

// Of a packet and its response on a line of 115200 baud. The host tells a repeated packet by its frame id, which comes
// round after 256 packets, and the time since it came first.
constexpr Time timeOfAnExchange = std::chrono::milliseconds(5);
constexpr Time responseTimeout = std::chrono::milliseconds(500);

hostsim::HostOptions hostOptions() {
    hostsim::HostOptions options;
    options.outgoing.responseTimeout = responseTimeout;
    return options;
}

WriteDataResponse resultOf(const ByteArray& response) {
    bool ok = false;
    switch (HostLinkRspFrame::parse(response, &ok)) {
    case AcknowledgeType::Ack: return Accepted;
    case AcknowledgeType::Nack: return Rejected;
    case AcknowledgeType::AckNack: return Error;
    case AcknowledgeType::None: break;
    }
    return NoResponse;
}

} // namespace

// The module's end of a serial link, with the same reader of bytes: a response nobody waits for is kept for the next
// packet, a packet that does not verify is refused.
class MemoryHost::Link : public HostLinkPhysicalLayer {
public:
    explicit Link(MemoryHost& at) : HostLinkPhysicalLayer(Properties()), owner(at) {}
    ~Link() override { stop(); }

    bool init() override {
        thread = std::thread([this] { deliver(); });
        return true;
    }
    void shutdown() override { stop(); }
    int nextFrameId() override { return frameId.fetch_add(1) & 0xFF; }

    WriteDataResponse writeData(const ByteArray& packet) override {
        const std::lock_guard lock(owner.mutex);
        ++owner.written;
        owner.clock += timeOfAnExchange;
        hasFreshResponse = false;
        owner.line.fromModule(packet, owner.clock);
        const Time limit = owner.clock + responseTimeout;
        while (!hasFreshResponse && goOn(limit)) {
        }
        const WriteDataResponse result = resultOf(std::exchange(response, {}));
        while (goOn(Time::max())) {
        }
        return result;
    }

private:
    // Lets the line and the host do what comes next, in so much time at most.
    // @return whether there was anything
    bool goOn(Time limit) {
        owner.line.advance(owner.clock);
        const ByteArray bytes = owner.line.toModule(owner.clock);
        if (!bytes.empty()) {
            stream.append(bytes);
            takePackets();
            return true;
        }
        const auto next = owner.line.nextDeadline(owner.clock);
        if (!next || *next > limit) return false;
        owner.clock = std::max(*next, owner.clock + Time(1));
        return true;
    }

    void takePackets() {
        for (;;) {
            const UartStream::Step step = stream.next();
            if (step.event == UartStream::Event::NeedBytes) return;
            if (step.event == UartStream::Event::Packet) take(step.packet);
            if (step.event == UartStream::Event::BadPacket) answer(AcknowledgeType::Nack);
        }
    }
    void take(const ByteArray& packet) {
        const int type = HostLinkPacket::frameType(packet);
        if (type == FRT_Response) {
            response = packet;
            hasFreshResponse = true;
            return;
        }
        answer(type == FRT_Message ? AcknowledgeType::Ack : AcknowledgeType::Nack);
        if (type != FRT_Message) return;
        const std::lock_guard lock(mutex);
        packets.push_back(packet);
        changed.notify_all();
    }
    void answer(AcknowledgeType type) {
        owner.line.fromModule(HostLinkRspFrame::create(static_cast<unsigned char>(nextFrameId()), type), owner.clock);
    }

    void deliver() {
        std::unique_lock lock(mutex);
        for (;;) {
            changed.wait(lock, [this] { return ended || !packets.empty(); });
            if (ended) return;
            const ByteArray packet = std::move(packets.front());
            packets.pop_front();
            lock.unlock();
            notifyObservers(packet);
            lock.lock();
        }
    }
    void stop() {
        {
            const std::lock_guard lock(mutex);
            ended = true;
            changed.notify_all();
        }
        if (thread.joinable()) thread.join();
    }

    MemoryHost& owner;
    std::atomic<int> frameId{0};
    UartStream stream; // the owner's lock guards it and the next two
    ByteArray response;
    bool hasFreshResponse = false;
    std::mutex mutex; // guards the three below; taken inside the owner's
    std::condition_variable changed;
    std::deque<ByteArray> packets;
    bool ended = false;
    std::thread thread;
};

MemoryHost::MemoryHost() : host(hostOptions()), end(host), line(end, none) {}

hostlink::Wire MemoryHost::wire() {
    return hostlink::OwnLink{[this] { return std::make_unique<Link>(*this); }, "memory", 64};
}

void MemoryHost::setFaults(const faultywire::WireFaults& faults) {
    const std::lock_guard lock(mutex);
    line.dice().set(faults);
}

hostlink::Value MemoryHost::held(uint16_t state) {
    const std::lock_guard lock(mutex);
    return host.application().states().get(state);
}

uint64_t MemoryHost::packetsWritten() {
    const std::lock_guard lock(mutex);
    return written;
}

} // namespace truth
