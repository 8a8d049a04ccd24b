#include "I2cPhysicalLayer.h"

#include <serialcomm/I2c.h>

#include "BusLink.h"
#include "TwoTransactions.h"
#include "hostlink/link/LinkLogger.h"

namespace {

constexpr int twoTransactions = 1; // the bit of I2cOptions

} // namespace

I2cPhysicalLayer::I2cPhysicalLayer(const Properties& properties) : SyncSerialLayer(properties) {
    if (devicePath.empty() || !hasLine() || !properties.contains(I2cSlaveAddress)) {
        LOG4CPLUS_ERROR(logger, "Some of I2C attributes not defined");
        return;
    }
    const int address = properties.getInt(I2cSlaveAddress);
    const int options = properties.getInt(I2cOptions);
    std::unique_ptr<SerialBus> device = std::make_unique<I2c>(devicePath, address);
    LOG4CPLUS_DEBUG(logger, "slave address: " << address);
    if ((options & ~twoTransactions) != 0) {
        LOG4CPLUS_ERROR(logger, "I2cOptions " << options << " contain an unknown bit; use 1 (two transactions) or 0");
        return;
    }
    if (options == twoTransactions) device = std::make_unique<TwoTransactions>(std::move(device));
    bus = openedForGood(std::move(device));
}

// Here and not in the base: virtual calls must not meet an object that is half destroyed.
I2cPhysicalLayer::~I2cPhysicalLayer() {
    endCalls();
}
