/// @file
/// Who deletes a link.
#pragma once

#include <memory>

#include <hostlink/HostLinkPhysicalLayer.h>
#include <hostlink/physicalLayers/SyncSerialLayer.h>
#include <hostlink/physicalLayers/UartPhysicalLayer.h>

/// Whether a link could be opened: the transport layer does not tell.
inline bool isOpen(HostLinkPhysicalLayer& link) {
    if (const auto* uart = dynamic_cast<UartPhysicalLayer*>(&link)) return uart->uartOk();
    if (auto* bus = dynamic_cast<SyncSerialLayer*>(&link)) return bus->serialOk();
    return true;
}

/// Deletes a link, unless it is a UART link that was never opened: destroying such a one ends the process, so it is
/// kept until the program ends.
struct LinkDeleter {
    void operator()(HostLinkPhysicalLayer* link) const {
        const bool isUart = dynamic_cast<UartPhysicalLayer*>(link) != nullptr;
        if (!isUart || isOpen(*link)) {
            delete link;
            return;
        }
        [[maybe_unused]] static HostLinkPhysicalLayer* volatile neverOpened;
        neverOpened = link;
    }
};

using OwnedLink = std::unique_ptr<HostLinkPhysicalLayer, LinkDeleter>;
