// The simulated host at the far side of a serial line.
#include <hostsim/HostOnLine.h>
#include <hostsim/SimulatedHost.h>

#include "FarHost.h"

namespace truth {

const char* nameOf(LinkKind kind) {
    switch (kind) {
    case LinkKind::Uart: return "uart";
    case LinkKind::I2c: return "i2c";
    case LinkKind::Spi: break;
    }
    return "spi";
}

namespace {

using faultywire::EntryKind;

hostsim::HostOptions hostOptions(const Timing& timing) {
    hostsim::HostOptions options;
    options.outgoing.responseTimeout = timing.hostResponse;
    options.repeatWindow = std::chrono::seconds(5);
    return options;
}

class SimulatedFarHost : public FarHost {
public:
    SimulatedFarHost(const Timing& timing, faultywire::WireJournal& journal)
        : host(hostOptions(timing)), line(host, hostsim::LineOptions{timing.packetPause}) {
        host.setTrace([&journal](hostsim::TraceEvent event, const ByteArray& bytes) {
            const auto note = [&](EntryKind kind) {
                journal.add({kind, {}, faultywire::WireFault::None, 0, bytes, {}});
            };
            if (event == hostsim::TraceEvent::MessageReceived) note(EntryKind::HostReceived);
            if (event == hostsim::TraceEvent::MessageSent) note(EntryKind::HostConfirmed);
        });
    }

    hostsim::LineEnd& end() override { return line; }
    void send(const ByteArray& message) override { host.send({message}); }
    uint64_t messagesReceived() const override { return host.counts().messagesReceived; }
    bool isIdle() const override { return host.isIdle(); }

private:
    hostsim::SimulatedHost host;
    hostsim::HostOnLine line;
};

} // namespace

std::unique_ptr<HostSide> makeUartHost(const Timing& timing) {
    return makeLineHost(timing, [](const Timing& times, faultywire::WireJournal& journal) {
        return std::make_unique<SimulatedFarHost>(times, journal);
    });
}

} // namespace truth
