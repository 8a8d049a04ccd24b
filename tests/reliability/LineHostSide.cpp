// The host at the far side of a pseudo terminal. Its thread owns the terminal's master; `mutex` guards the host, the
// line and the journal, which the test's thread asks and changes.
#include <array>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <stdexcept>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <hostsim/wire/FaultySerialLine.h>

#include "FarHost.h"
#include "support/Pty.h"

namespace truth {

namespace {

using faultywire::Entry;
using hostsim::Time;

constexpr std::chrono::seconds untilQuiet{30};

class LineHostSide : public HostSide {
public:
    LineHostSide(const Timing& hostTiming, const MakeFarHost& makeHost)
        : timing(hostTiming),
          host(makeHost(hostTiming, journal)),
          line(host->end(), journal),
          slave(::open(pty.slavePath().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC)),
          wake(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
        if (slave < 0 || wake < 0) throw std::runtime_error("no pseudo terminal for the host");
        journal.keep(true);
        thread = std::thread([this] { run(); });
    }
    ~LineHostSide() override {
        ended = true;
        wakeUp();
        thread.join();
        ::close(wake);
        ::close(slave);
    }

    HostLinkPhysicalLayer::Properties properties() const override {
        HostLinkPhysicalLayer::Properties properties;
        properties.setString(DevicePath, pty.slavePath());
        properties.setInt(UartBaudRate, 115200);
        properties.setInt(UartResponseTimeout, static_cast<int>(timing.response.count() / 1000));
        return properties;
    }
    void setFaults(const faultywire::WireFaults& faults) override {
        const std::lock_guard lock(mutex);
        line.dice().set(faults);
    }
    void send(const ByteArray& message) override {
        {
            const std::lock_guard lock(mutex);
            host->send(message);
        }
        wakeUp();
    }
    std::vector<Entry> takeJournal() override {
        const std::lock_guard lock(mutex);
        return journal.take();
    }
    void keepJournal(bool on) override {
        const std::lock_guard lock(mutex);
        journal.take();
        journal.keep(on);
    }
    uint64_t messagesReceived() override {
        const std::lock_guard lock(mutex);
        return host->messagesReceived();
    }
    bool waitUntilQuiet() override {
        std::unique_lock lock(mutex);
        return stepped.wait_for(lock, untilQuiet, [this] { return isQuiet(); });
    }

private:
    static Time now() { return std::chrono::duration_cast<Time>(std::chrono::steady_clock::now().time_since_epoch()); }
    void wakeUp() const {
        const uint64_t one = 1;
        if (::write(wake, &one, sizeof one) < 0 && errno != EAGAIN) std::terminate();
    }
    bool isQuiet() const { return line.isQuiet() && host->isIdle() && !line.nextDeadline(now()); }

    void run() {
        while (!ended) {
            std::optional<Time> next = step();
            std::array<pollfd, 3> entries{
                {{pty.master(), POLLIN, 0}, {wake, POLLIN, 0}, {host->descriptor(), POLLIN, 0}}};
            timespec span{};
            if (next) {
                const auto left = std::chrono::nanoseconds(std::max(*next - now(), Time::zero()));
                span.tv_sec = left.count() / 1000000000;
                span.tv_nsec = left.count() % 1000000000;
            }
            ::ppoll(entries.data(), entries.size(), next ? &span : nullptr, nullptr);
            uint64_t drained = 0;
            if (entries[1].revents != 0 && ::read(wake, &drained, sizeof drained) < 0) continue;
        }
    }
    std::optional<Time> step() {
        const std::lock_guard lock(mutex);
        const ByteArray bytes = pty.readAvailable();
        if (!bytes.empty()) line.fromModule(bytes, now());
        line.advance(now());
        const ByteArray answer = line.toModule(now());
        if (!answer.empty() && !pty.write(answer)) throw std::runtime_error("the module takes no more bytes");
        stepped.notify_all();
        return line.nextDeadline(now());
    }

    const Timing timing;
    Pty pty;
    std::mutex mutex;
    std::condition_variable stepped;
    faultywire::WireJournal journal;
    std::unique_ptr<FarHost> host;
    faultywire::FaultySerialLine line;
    const int slave; // held open, so that the line stays up while the module makes its link anew
    const int wake;
    std::atomic<bool> ended{false};
    std::thread thread;
};

} // namespace

std::unique_ptr<HostSide> makeLineHost(const Timing& timing, const MakeFarHost& makeHost) {
    return std::make_unique<LineHostSide>(timing, makeHost);
}

} // namespace truth
