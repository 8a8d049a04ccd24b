#include "LinkSet.h"

#include "BusHostSide.h"

namespace truth {

std::vector<LinkKind> linksHere() {
    if (!busrig::RigControl::isInRig()) return {LinkKind::Uart};
    return {LinkKind::Uart, LinkKind::I2c, LinkKind::Spi};
}

std::unique_ptr<HostSide> makeHost(LinkKind kind, const Timing& timing) {
    if (kind == LinkKind::Uart) return makeUartHost(timing);
    return makeBusHost(kind, kind == LinkKind::I2c ? busrig::firstBoard : busrig::secondBoard, timing);
}

} // namespace truth
