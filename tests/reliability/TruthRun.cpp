#include "TruthRun.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <utility>

#include <hostlink/HostLinkLib.h>
#include <hostlink/HostLinkPacket.h>
#include <hostlink/HostLinkTransportLayer.h>

#include "ObservedLink.h"
#include "StallWatch.h"

namespace truth {

namespace {

constexpr int callsOfMessage = 3;
constexpr int failuresBeforeAnew = 5; // while there are faults
constexpr int failuresInQuiet = 3;    // after they have ended
constexpr int probesOfRecovery = 8;
constexpr std::chrono::seconds patience{30};

class Run {
public:
    Run(const Plan& runPlan, LinkKind kind, HostSide& hostSide, const Timing& timing)
        : plan(runPlan), host(hostSide), watch(timing.response / 4) {
        record.kind = kind;
        record.timing = timing;
        record.maxPacketSize = plan.maxPacketSize;
        open();
    }
    ~Run() { close(); }
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    Record result() {
        for (const Segment& segment : plan.segments) {
            carryOut(segment);
            if (!record.failures.empty()) break;
        }
        settle();
        close();
        record.stalls = watch.take();
        return std::move(record);
    }

private:
    static Moment now() { return std::chrono::steady_clock::now(); }

    void open() {
        HostLinkPhysicalLayer::Properties properties = host.properties();
        properties.setInt(MaxPacketSize, plan.maxPacketSize);
        std::unique_ptr<HostLinkPhysicalLayer> real(HostLinkPhysicalLayer::create(nameOf(record.kind), properties));
        link = std::make_unique<ObservedLink>(
            std::move(real), properties, [this](const ByteArray& packet) { note(record.packets, packet); },
            [this](Attempt attempt) { record.attempts.push_back(std::move(attempt)); });
        transport = std::make_unique<HostLinkTransportLayer>(link.get());
        transport->addMessageReceivedObserver([this](const ByteArray& message) { note(record.messages, message); });
        transport->initTransportLayer();
        if (!link->isUp()) record.failures.emplace_back("the link does not start");
    }
    void close() {
        if (transport) transport->shutdown();
        transport.reset();
        link.reset();
    }
    void note(std::vector<Arrival>& arrivals, const ByteArray& bytes) {
        {
            const std::lock_guard lock(mutex);
            arrivals.push_back({now(), linkNumber, bytes});
        }
        grown.notify_all();
    }
    void reopen() {
        close();
        record.reopened.push_back(now());
        {
            const std::lock_guard lock(mutex);
            ++linkNumber;
        }
        open();
        failedInARow = 0;
    }

    bool call(size_t message) {
        const size_t first = record.attempts.size();
        const Moment begin = now();
        const bool result = transport->writeMessage(record.outbound[message]);
        record.calls.push_back({message, begin, now(), result, first, record.attempts.size() - first});
        failedInARow = result ? 0 : failedInARow + 1;
        return result;
    }
    bool mayReopen() const { return record.kind == LinkKind::Uart; }

    void carryOut(const Segment& segment) {
        const Moment begin = now();
        host.setFaults(segment.faults);
        const auto& rates = segment.faults.rates;
        hasFaults = hasFaults || std::any_of(rates.begin(), rates.end(), [](double rate) { return rate > 0; });
        for (const Step& step : segment.steps) {
            for (const ByteArray& message : step.inbound) {
                record.inbound.push_back(message);
                host.send(message);
            }
            record.outbound.push_back(step.outbound);
            const size_t number = record.outbound.size() - 1;
            for (int i = 0; i < callsOfMessage && !call(number); ++i)
                if (mayReopen() && failedInARow >= failuresBeforeAnew) reopen();
        }
        record.busy += std::chrono::duration_cast<Duration>(now() - begin);
        host.setFaults({});
        recover();
    }

    // Faults have ended: how soon does the link carry a message again, in either direction?
    void recover() {
        Recovery recovery;
        recovery.faultsEnded = now();
        for (int i = 0; i < probesOfRecovery && !recovery.outbound; ++i) {
            record.outbound.push_back(numberedMessage(probes++, 'p', {}));
            recovery.outbound = call(record.outbound.size() - 1);
            if (!recovery.outbound && mayReopen() && failedInARow >= failuresInQuiet) reopen();
        }
        recovery.outboundCarried = now();
        waitUntilQuiet();
        for (int i = 0; i < probesOfRecovery && !recovery.inbound; ++i) {
            const ByteArray probe = numberedMessage(probes++, 'q', {});
            record.inbound.push_back(probe);
            const Moment begin = now();
            host.send(probe);
            waitUntilQuiet();
            recovery.inbound = hasArrived(probe);
            // The time that the queue before it took is not the link's.
            recovery.inboundCarried = recovery.outboundCarried + (now() - begin);
            if (!recovery.inbound && mayReopen() && i + 1 >= failuresInQuiet) reopen();
        }
        settle();
        record.recoveries.push_back(recovery);
        if (!recovery.outbound) record.failures.emplace_back("the link carries nothing to the host after the faults");
        if (!recovery.inbound) record.failures.emplace_back("the link carries nothing from the host after the faults");
    }
    void waitUntilQuiet() {
        if (!host.waitUntilQuiet()) record.failures.emplace_back("the host does not come to rest");
    }
    // The host has seen the module's answer, and the reader thread delivers after that: where nothing was ever damaged,
    // whenever the machine lets it.
    bool hasArrived(const ByteArray& message) {
        std::unique_lock lock(mutex);
        const Moment::duration limit = hasFaults ? Moment::duration(record.timing.hostResponse) : patience;
        return grown.wait_for(lock, limit, [&] {
            return std::any_of(record.messages.begin(), record.messages.end(),
                               [&](const Arrival& arrival) { return arrival.bytes == message; });
        });
    }

    // Until all that the module has written has come out at the other end.
    void settle() {
        const Moment deadline = now() + patience;
        for (;;) {
            waitUntilQuiet();
            for (auto& entry : host.takeJournal()) {
                const bool isMessage = entry.kind == faultywire::EntryKind::ToHost && isMessagePacket(entry.sent);
                crossed += isMessage ? 1U : 0U;
                record.journal.push_back(std::move(entry));
            }
            if (crossed >= record.attempts.size()) return;
            if (now() > deadline) break;
        }
        record.failures.emplace_back("packets that were written have not come out of the wire");
    }
    static bool isMessagePacket(const ByteArray& packet) {
        return HostLinkPacket::verify(packet) && HostLinkPacket::frameType(packet) == FRT_Message;
    }

    const Plan& plan;
    HostSide& host;
    StallWatch watch;
    Record record;
    std::mutex mutex; // guards record.packets, record.messages, linkNumber while the link runs
    std::condition_variable grown;
    unsigned linkNumber = 0;
    int failedInARow = 0;
    uint32_t probes = 0;
    size_t crossed = 0;
    bool hasFaults = false; // or had
    std::unique_ptr<ObservedLink> link;
    std::unique_ptr<HostLinkTransportLayer> transport;
};

} // namespace

Record carryOut(const Plan& plan, LinkKind kind, HostSide& host, const Timing& timing) {
    return Run(plan, kind, host, timing).result();
}

} // namespace truth
