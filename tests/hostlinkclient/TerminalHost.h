/// @file
/// The simulated host behind a pseudo terminal.
#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <descriptor/Descriptor.h>
#include <hostlink/HostLinkMessage.h>
#include <hostlinkclient/Value.h>
#include <hostsim/HostOnLine.h>
#include <hostsim/SimulatedHost.h>

#include "support/Pty.h"

/// Lives on a thread of its own, as in a program of its own. Any thread may call. Everything that it takes it gives
/// back at its end.
class TerminalHost : private hostsim::HostService {
public:
    /// What is done with a message in place of what the simulated host would do; none: that.
    using Take = std::function<std::optional<std::vector<ByteArray>>(const ByteArray& message)>;

    /// What it says of its own accord; asked every now and then.
    using Speak = std::function<std::vector<ByteArray>()>;

    explicit TerminalHost(Take first = nullptr, Speak ownWords = nullptr)
        : take(std::move(first)),
          speak(std::move(ownWords)),
          slave(::open(pty.slavePath().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) throw std::runtime_error("no pipe for the host");
        woken = descriptor::Descriptor(ends[0]);
        wakes = descriptor::Descriptor(ends[1]);
        host.application().attach(*this);
        thread = std::thread([this] { run(); });
    }
    TerminalHost(const TerminalHost&) = delete;
    TerminalHost& operator=(const TerminalHost&) = delete;
    ~TerminalHost() override { end(); }

    const std::string& path() const { return pty.slavePath(); }

    /// Says a message of its own.
    void say(const ByteArray& message) {
        {
            const std::lock_guard lock(mutex);
            host.send({message});
        }
        wake();
    }
    /// From now on it hears nothing and says nothing, as a host that hangs; or it does again.
    void hang(bool hangs) {
        const std::lock_guard lock(mutex);
        isHanging = hangs;
    }
    /// Waits until messages with this id have come, so many altogether.
    bool hears(MessageId id, int count = 1) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, Pty::patience, [&] { return heard[id] >= count; });
    }
    /// How many have come by now.
    int heardSoFar(MessageId id) {
        const std::lock_guard lock(mutex);
        return heard[id];
    }
    /// Waits until something else than acknowledgements has come while it hangs.
    bool isLeftWaiting() {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, Pty::patience, [this] { return holdsAMessage(dropped); });
    }
    /// What it holds of a state.
    hostlink::Value holds(uint16_t state) {
        const std::lock_guard lock(mutex);
        return host.application().states().get(state);
    }
    /// The terminal goes, as an adapter that is unplugged. A second call does nothing.
    void end() {
        {
            const std::lock_guard lock(mutex);
            ended = true;
        }
        wake();
        if (thread.joinable()) thread.join();
        pty.close();
    }

private:
    using Time = hostsim::Time;

    // With a lost acknowledgement it waits no longer than this before it goes on.
    static hostsim::HostOptions patientFor(Time time) {
        hostsim::HostOptions options;
        options.outgoing.responseTimeout = time;
        return options;
    }
    static Time now() { return std::chrono::duration_cast<Time>(std::chrono::steady_clock::now().time_since_epoch()); }
    void wake() { static_cast<void>(::write(wakes.get(), "", 1) < 0); } // full is awake too
    // Whether a packet that is longer than an acknowledgement begins there.
    static bool holdsAMessage(const ByteArray& bytes) {
        constexpr unsigned char acknowledgement = 8;
        for (size_t at = 0; at + 2 < bytes.size(); ++at)
            if (bytes[at] == 0xFF && bytes[at + 1] == 0xFE && bytes[at + 2] > acknowledgement) return true;
        return false;
    }

    // Called by `step`, under its lock.
    std::optional<std::vector<ByteArray>> handle(const ByteArray& message) override {
        ++heard[HostLinkMessage::messageId(message)];
        changed.notify_all();
        return take ? take(message) : std::nullopt;
    }

    void run() {
        std::optional<Time> next;
        while (step(next)) {
            pollfd both[2] = {{pty.master(), POLLIN, 0}, {woken.get(), POLLIN, 0}};
            const auto left = next ? std::max<Time>(*next - now(), Time::zero()) : Time::zero();
            const timespec span{static_cast<time_t>(left.count() / 1000000), left.count() % 1000000 * 1000};
            ::ppoll(both, 2, next ? &span : nullptr, nullptr);
            char drained[64];
            static_cast<void>(::read(woken.get(), drained, sizeof drained) < 0);
        }
    }

    bool step(std::optional<Time>& next) {
        const std::lock_guard lock(mutex);
        if (ended) return false;
        const ByteArray bytes = pty.readAvailable();
        if (isHanging) {
            dropped.insert(dropped.end(), bytes.begin(), bytes.end());
            changed.notify_all();
            next.reset();
            return true;
        }
        if (!bytes.empty()) line.receive(bytes, now());
        line.advance(now());
        if (speak) host.send(speak());
        for (ByteArray answer = line.nextWrite(now()); !answer.empty(); answer = line.nextWrite(now()))
            if (!pty.write(answer)) return false;
        next = line.nextDeadline(now());
        const Time soon = now() + std::chrono::milliseconds(20);
        if (speak && (!next || *next > soon)) next = soon;
        return true;
    }

    const Take take;
    const Speak speak;
    Pty pty;
    const descriptor::Descriptor slave; // held open, so that the line stays up before and between the client's links
    descriptor::Descriptor woken;
    descriptor::Descriptor wakes;
    std::mutex mutex; // guards all below but the thread
    std::condition_variable changed;
    hostsim::SimulatedHost host{patientFor(std::chrono::milliseconds(50))};
    hostsim::HostOnLine line{host};
    std::map<MessageId, int> heard;
    ByteArray dropped;
    bool isHanging = false;
    bool ended = false;
    std::thread thread;
};
