/// @file
/// The link over SPI.
#pragma once

#include "SyncSerialLayer.h"

/// `SyncSerialLayer` over an SPI bus in mode 0.
class HOSTLINK_EXPORT SpiPhysicalLayer : public SyncSerialLayer {
public:
    /// Opens the bus. Properties: those of `SyncSerialLayer` and `SpiSpeed`, required. A property that is missing is
    /// reported at ERROR; a bus that cannot be opened shows as `serialOk()` false.
    explicit SpiPhysicalLayer(const Properties& properties);
    ~SpiPhysicalLayer() override;
};
