/// @file
/// What programs set at an SPI device.
#pragma once

#include <cstddef>
#include <cstdint>

namespace busrig {

/// Of a device, whoever has it open. Mode and word size stay when everybody has closed it; the speed is the device's
/// own again then, as in the kernel.
struct SpiSettings {
    static constexpr uint32_t fastestHz = 25000000;

    uint32_t mode = 0;
    uint8_t bitsPerWord = 8;
    uint32_t speedHz = fastestHz;
    size_t opened = 0; ///< how often it is open now

    /// As freshly made, for whoever has it open too.
    void restore() {
        mode = 0;
        bitsPerWord = 8;
        speedHz = fastestHz;
    }
    void open() { ++opened; }
    void close() {
        if (--opened == 0) speedHz = fastestHz;
    }
};

} // namespace busrig
