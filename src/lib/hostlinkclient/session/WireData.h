/// @file
/// What a wire is inside.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include <hostlink/HostLinkPhysicalLayer.h>

#include "hostlinkclient/Wire.h"

namespace hostlink {

struct HOSTLINK_HIDDEN Wire::Data {
    std::function<std::unique_ptr<HostLinkPhysicalLayer>()> make; ///< null when there is no such link
    std::string name;                                             ///< for texts: "/dev/ttyS1"
    std::string device;                            ///< what is looked at to see whether it is there; empty: nothing
    bool tellsHangUp;                              ///< the device is a terminal, which the kernel tells to have gone
    int maxPacketSize;                             ///< bytes
    const char* kind;                              ///< in recordings: "uart", "i2c", "spi"
    static constexpr const char* ownKind = "link"; ///< one of the program's own making
};

} // namespace hostlink
