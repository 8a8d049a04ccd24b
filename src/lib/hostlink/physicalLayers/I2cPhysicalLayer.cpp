#include "I2cPhysicalLayer.h"

#include <log4cplus/loggingmacros.h>

#include <serialcomm/I2c.h>

#include "BusLink.h"

namespace {

const log4cplus::Logger logger = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("HostLinkPhysicalLayer"));

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

// Here and not in the base: its threads make virtual calls, which must not meet an object that is half destroyed.
I2cPhysicalLayer::~I2cPhysicalLayer() {
    SyncSerialLayer::shutdown();
}
