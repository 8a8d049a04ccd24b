/// @file
/// The link over I2C.
#pragma once

#include "SyncSerialLayer.h"

/// `SyncSerialLayer` over an I2C bus.
class HOSTLINK_EXPORT I2cPhysicalLayer : public SyncSerialLayer {
public:
    /// Opens the bus. Properties: those of `SyncSerialLayer` and `I2cSlaveAddress`, required, and `I2cOptions`. A
    /// property that is missing or has an unknown bit is reported at ERROR; a bus that cannot be opened shows as
    /// `serialOk()` false.
    explicit I2cPhysicalLayer(const Properties& properties);
    ~I2cPhysicalLayer() override;
};
