#include "LinkTimes.h"

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

#include <hostlink/HostLinkMsgFrame.h>
#include <hostlink/HostLinkPhysicalLayer.h>

#include "Exchanges.h"
#include "floors/RawExchange.h"

namespace bench {

namespace {

// A packet of 64 bytes.
ByteArray fullPacket() {
    return HostLinkMsgFrame(ByteArray(54, 0x5A), 5, 64).serializePacket(0);
}

std::shared_ptr<HostLinkPhysicalLayer> startedLink(const HostProcess& host) {
    HostLinkPhysicalLayer::Properties properties;
    properties.setString(DevicePath, host.slavePath());
    properties.setInt(UartBaudRate, 115200);
    properties.setInt(UartResponseTimeout, 5000);
    std::shared_ptr<HostLinkPhysicalLayer> link(HostLinkPhysicalLayer::create("uart", properties));
    if (!link->init()) throw std::runtime_error("the UART link does not start");
    return link;
}

constexpr int pacedRun = 4; // of 6 ms each
constexpr int pacedRuns = 15;

void registerRaw(const std::string& name, const HostProcess& host, RawExchange::Wake wake) {
    const auto raw = std::make_shared<RawExchange>(host.slavePath(), wake);
    registerExchange(name, shortRun, manyRuns, [raw, packet = fullPacket()] { return raw->exchange(packet); });
}

} // namespace

void registerLinkTimes(const Hosts& hosts) {
    const auto addLink = [](const std::string& name, const HostProcess& host, int exchanges, int repetitions) {
        const auto link = startedLink(host);
        registerExchange(name, exchanges, repetitions,
                         [link, packet = fullPacket()] { return link->writeData(packet) == Accepted; });
    };
    addLink("exchange over a terminal|UART link|64 bytes", hosts.link, shortRun, manyRuns);
    registerRaw("exchange over a terminal|raw, waked under the lock|64 bytes", hosts.rawUnderTheLock,
                RawExchange::Wake::UnderTheLock);
    registerRaw("exchange over a terminal|raw, waked unlocked|64 bytes", hosts.rawUnlocked,
                RawExchange::Wake::Unlocked);
    addLink("paced line|UART link|115200 baud", hosts.paced, pacedRun, pacedRuns);
    registerIdle("idle|UART link|half a second",
                 [link = startedLink(hosts.idle), packet = fullPacket()] { link->writeData(packet); });
}

} // namespace bench
