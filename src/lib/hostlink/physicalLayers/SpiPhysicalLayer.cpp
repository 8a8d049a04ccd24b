#include "SpiPhysicalLayer.h"

#include <serialcomm/Spi.h>

#include "BusLink.h"
#include "hostlink/link/LinkLogger.h"

namespace {

constexpr uint8_t spiMode = 0; // clock idles low, data is taken on the rising edge

} // namespace

SpiPhysicalLayer::SpiPhysicalLayer(const Properties& properties) : SyncSerialLayer(properties) {
    if (devicePath.empty() || !hasLine() || !properties.contains(SpiSpeed)) {
        LOG4CPLUS_ERROR(logger, "Some of SPI attributes not defined");
        return;
    }
    bus = openedForGood(std::make_unique<Spi>(devicePath, properties.getInt(SpiSpeed), spiMode));
}

// Here and not in the base: virtual calls must not meet an object that is half destroyed.
SpiPhysicalLayer::~SpiPhysicalLayer() {
    endCalls();
}
