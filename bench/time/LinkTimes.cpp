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

Subject raw(const std::string& name, const HostProcess& host, RawExchange::Wake wake) {
    return {name, [exchange = std::make_shared<RawExchange>(host.slavePath(), wake), packet = fullPacket()] {
                return exchange->exchange(packet);
            }};
}

std::function<bool()> writing(const HostProcess& host) {
    return [link = startedLink(host), packet = fullPacket()] { return link->writeData(packet) == Accepted; };
}

} // namespace

void registerLinkTimes(const Hosts& hosts) {
    registerSideBySide("exchange over a terminal|side by side|64 bytes",
                       {{"UART link", writing(hosts.link)},
                        raw("raw, waked under the lock", hosts.rawUnderTheLock, RawExchange::Wake::UnderTheLock),
                        raw("raw, waked unlocked", hosts.rawUnlocked, RawExchange::Wake::Unlocked)});
    registerExchange("paced line|UART link|115200 baud", pacedRun, pacedRuns, writing(hosts.paced));
    registerIdle("idle|UART link|half a second",
                 [link = startedLink(hosts.idle), packet = fullPacket()] { link->writeData(packet); });
}

} // namespace bench
