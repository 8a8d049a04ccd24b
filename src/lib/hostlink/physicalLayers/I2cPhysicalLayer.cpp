#include "I2cPhysicalLayer.h"

#include <serialcomm/I2c.h>

#include "BusLink.h"
#include "hostlink/link/LinkLog.h"

namespace {

log4cplus::Logger& logger = linkLogger();

} // namespace

I2cPhysicalLayer::I2cPhysicalLayer(const Properties& properties) : SyncSerialLayer(properties) {
    if (devicePath.empty() || gpioNumber < 0 || !properties.contains(I2cSlaveAddress)) {
        LOG4CPLUS_ERROR(logger, "Some of I2C attributes not defined");
        return;
    }
    const int address = properties.getInt(I2cSlaveAddress);
    auto device = std::make_unique<I2c>(devicePath, address);
    LOG4CPLUS_DEBUG(logger, "slave address: " << address);
    bus = openedForGood(std::move(device));
}

// Here and not in the base: virtual calls must not meet an object that is half destroyed.
I2cPhysicalLayer::~I2cPhysicalLayer() {
    endCalls();
}
