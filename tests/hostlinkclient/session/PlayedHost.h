/// @file
/// A host behind a link that the test plays.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include <hostlink/HostLinkFrame.h>
#include <hostlink/HostLinkMsgFrame.h>
#include <hostlink/HostLinkPacket.h>
#include <hostlink/HostLinkPhysicalLayer.h>
#include <hostlinkclient/Wire.h>
#include <hostsim/HostApplication.h>

/// Outlives the clients. What it does with a message is the test's to say; at first, what the simulated host does. Each
/// link to it has a receiving thread of its own, which delivers one message after another.
class PlayedHost {
public:
    /// What the host's link says to a packet, and what the host says then.
    struct Reaction {
        WriteDataResponse response = Accepted;
        std::vector<ByteArray> answers{};
        bool twice = false; ///< the packet of each answer comes twice
        /// Before the answers the last packet comes again, twice; lost when it could not be delivered until then.
        std::chrono::steady_clock::time_point lastAgainUntil{};
    };
    using React = std::function<Reaction(const ByteArray& message)>;

    PlayedHost() {
        react = [this](const ByteArray& message) { return Reaction{Accepted, application.handle(message)}; };
    }

    hostlink::Wire wire(int packetSize = 64) {
        return hostlink::OwnLink{[this] { return makeLink(); }, "played", packetSize};
    }

    /// From the next packet on.
    void does(React what) {
        const std::lock_guard lock(mutex);
        react = std::move(what);
    }
    /// What the simulated host answers.
    std::vector<ByteArray> simulated(const ByteArray& message) { return application.handle(message); }
    hostsim::HostApplication& host() { return application; }
    /// Does what must not meet a message that is being taken.
    template <typename What> auto guarded(What what) {
        const std::lock_guard lock(mutex);
        return what();
    }

    /// A message of the host's own, over the present link; lost when there is none.
    void say(const ByteArray& message) {
        const std::lock_guard lock(mutex);
        if (present != nullptr) send(packetOf(message));
    }
    /// The same, lost when it could not be delivered until then.
    void say(const ByteArray& message, std::chrono::steady_clock::time_point lastsUntil) {
        const std::lock_guard lock(mutex);
        if (present != nullptr) present->queue(packetOf(message), lastsUntil);
    }
    /// Packets that a link could not deliver for so long are lost.
    void losesAfter(std::chrono::milliseconds time) {
        const std::lock_guard lock(mutex);
        lastsFor = time;
    }

    /// Packets that are not the last of their message are not answered.
    void failsBeforeTheEnd(bool fails) {
        const std::lock_guard lock(mutex);
        breaksOff = fails;
    }

    void refuseLinks(bool refused) { linksAreRefused = refused; }
    int linksMade() const { return made; }
    std::vector<ByteArray> messages() const {
        const std::lock_guard lock(mutex);
        return received;
    }
    size_t count(MessageId id) const {
        const std::lock_guard lock(mutex);
        size_t found = 0;
        for (const ByteArray& message : received) found += static_cast<size_t>(message[0] == (id & 0xFF));
        return found;
    }

private:
    using Moment = std::chrono::steady_clock::time_point;

    class Link : public HostLinkPhysicalLayer {
    public:
        explicit Link(PlayedHost& at) : HostLinkPhysicalLayer(Properties()), owner(at) {}
        ~Link() override { stop(); }

        bool init() override {
            if (owner.linksAreRefused) return false;
            thread = std::thread([this] { run(); });
            const std::lock_guard lock(owner.mutex);
            owner.present = this;
            return true;
        }
        void shutdown() override { stop(); }
        int nextFrameId() override { return next++ & 0xFF; }
        WriteDataResponse writeData(const ByteArray& packet) override { return owner.take(packet); }

        void queue(const ByteArray& packet, Moment lastsUntil) {
            const std::lock_guard lock(mutex);
            packets.emplace_back(packet, lastsUntil);
            changed.notify_all();
        }

    private:
        void stop() {
            {
                const std::lock_guard lock(owner.mutex);
                if (owner.present == this) owner.present = nullptr;
            }
            {
                const std::lock_guard lock(mutex);
                ended = true;
                changed.notify_all();
            }
            if (thread.joinable()) thread.join();
        }
        void run() {
            std::unique_lock lock(mutex);
            for (;;) {
                changed.wait(lock, [this] { return ended || !packets.empty(); });
                if (ended) return;
                const auto [packet, lastsUntil] = packets.front();
                packets.pop_front();
                lock.unlock();
                if (std::chrono::steady_clock::now() < lastsUntil) notifyObservers(packet);
                lock.lock();
            }
        }

        PlayedHost& owner;
        std::atomic<int> next{0};
        std::mutex mutex; // guards the three below
        std::condition_variable changed;
        std::deque<std::pair<ByteArray, Moment>> packets;
        bool ended = false;
        std::thread thread;
    };

    std::unique_ptr<HostLinkPhysicalLayer> makeLink() {
        ++made;
        return std::make_unique<Link>(*this);
    }

    WriteDataResponse take(const ByteArray& packet) {
        const std::lock_guard lock(mutex);
        if (!HostLinkPacket::isLast(packet)) {
            frame.addPacket(packet);
            return breaksOff ? NoResponse : Accepted;
        }
        HostLinkFrame whole = frame;
        whole.addPacket(packet);
        const ByteArray message = whole.data();
        const Reaction reaction = react(message);
        if (reaction.response == Rejected) return Rejected;
        frame = HostLinkFrame();
        received.push_back(message);
        if (present != nullptr && reaction.lastAgainUntil != Moment())
            for (int i = 0; i < 2; ++i) present->queue(lastPacket, reaction.lastAgainUntil);
        if (present != nullptr)
            for (const ByteArray& answer : reaction.answers) {
                send(packetOf(answer));
                if (reaction.twice) send(lastPacket);
            }
        return reaction.response;
    }

    void send(const ByteArray& packet) { present->queue(packet, std::chrono::steady_clock::now() + lastsFor); }

    ByteArray packetOf(const ByteArray& message) {
        lastPacket = HostLinkMsgFrame(message, frameId++ & 0xFF, 4096).serializePacket(0);
        return lastPacket;
    }

    mutable std::mutex mutex; // guards all below; taken outside that of a link
    React react;
    hostsim::HostApplication application;
    Link* present = nullptr;
    HostLinkFrame frame;
    ByteArray lastPacket;
    int frameId = 0;
    bool breaksOff = false;
    std::chrono::milliseconds lastsFor{std::chrono::hours(1)};
    std::vector<ByteArray> received;
    std::atomic<bool> linksAreRefused{false};
    std::atomic<int> made{0};
};
