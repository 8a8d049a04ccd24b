#include "HostTalk.h"

#include <algorithm>
#include <iostream>
#include <stdexcept>

#include <poll.h>

namespace {

using hostlink::LinkState;

template <typename Bus> Bus busOf(const DemoOptions& options) {
    Bus bus;
    bus.device = options.device;
    bus.gpio = options.gpio;
    bus.watch.chip = options.gpioChip;
    bus.watch.line = options.gpioLine;
    bus.maxPacketSize = options.maxPacketSize;
    return bus;
}

hostlink::Wire wireOf(const DemoOptions& options) {
    if (options.link == "i2c") {
        auto bus = busOf<hostlink::I2c>(options);
        bus.address = options.i2cAddress;
        return bus;
    }
    if (options.link == "spi") {
        auto bus = busOf<hostlink::Spi>(options);
        bus.speed = options.spiSpeed;
        return bus;
    }
    if (options.link != "uart") throw std::runtime_error("there is no link named '" + options.link + "'");
    hostlink::Uart port;
    port.device = options.device;
    port.baud = options.baud;
    port.responseTimeout = std::chrono::milliseconds(options.responseTimeout);
    port.maxPacketSize = options.maxPacketSize;
    return port;
}

hostlink::Options settingsOf(const DemoOptions& options, const hostlink::Events& events) {
    hostlink::Options settings;
    settings.deadline = std::chrono::seconds(options.patience);
    settings.whileDown = hostlink::WhileDown::Wait; // a host may go and come back
    settings.sendings = 8;
    settings.longestPause = std::chrono::seconds(1);
    settings.events = events;
    return settings;
}

} // namespace

HostTalk::HostTalk(const DemoOptions& options)
    : patience(options.patience),
      client(wireOf(options), settingsOf(options, events)),
      link(client.onLink([this](LinkState now, const std::string& why) { linkIs(now, why); })) {
    waitForTheHost(options.device);
}

// A device that is not there will not come, a host that says nothing may.
void HostTalk::waitForTheHost(const std::string& device) {
    const auto isDecided = [this] {
        return state == LinkState::Up || (state == LinkState::Down && client.statistics().links == 0);
    };
    if (waitUntil(isDecided, patience) && state == LinkState::Up) return;
    if (client.statistics().links == 0) throw std::runtime_error(reason);
    throw std::runtime_error("no host answers on " + device +
                             ". Is one at the other end of the line, at the same speed?");
}

void HostTalk::linkIs(LinkState now, const std::string& why) {
    state = now;
    reason = why;
    if (now == LinkState::Up) {
        if (wasUp) std::cout << "   (the host is back)\n";
        wasUp = true;
        downSince.reset();
    } else if (wasUp && !downSince) {
        std::cout << "   (the link is down: " << why << ". Waiting for the host to come back)\n";
        downSince = Clock::now();
    }
}

bool HostTalk::waitUntil(const std::function<bool()>& isSo, Seconds within) {
    const auto end = Clock::now() + std::chrono::duration_cast<Clock::duration>(within);
    while (!isSo()) {
        auto wake = end;
        if (downSince) wake = std::min(wake, *downSince + std::chrono::duration_cast<Clock::duration>(patience));
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(wake - Clock::now()).count();
        pollfd waiting{events.descriptor(), POLLIN, 0};
        if (left > 0 && ::poll(&waiting, 1, static_cast<int>(left)) >= 0) {
            events.dispatch();
        } else if (wake < end) {
            throw std::runtime_error("the link to the host is lost (" + reason + "). Connect it and start again");
        } else {
            return false;
        }
    }
    return true;
}
