/// @file
/// The names in the rig's file system.
#pragma once

#include <cstddef>
#include <string>

namespace busrig {

/// What a path names. Lines need not be exported.
struct RigNode {
    enum class Kind {
        Nothing,
        Root,      ///< /
        GpioClass, ///< /gpio, seen as /sys/class/gpio
        Devices,   ///< /dev
        Export,    ///< /gpio/export
        Unexport,  ///< /gpio/unexport
        Line,      ///< /gpio/gpioN
        Direction, ///< /gpio/gpioN/direction
        Edge,      ///< /gpio/gpioN/edge
        Value,     ///< /gpio/gpioN/value
        I2c,       ///< /dev/i2c-N
        Spi,       ///< /dev/spidevB.C
    };

    bool isDirectory() const {
        return kind == Kind::Root || kind == Kind::GpioClass || kind == Kind::Devices || kind == Kind::Line;
    }
    /// Whether it exists only while its line is exported.
    bool needsExport() const {
        return kind == Kind::Line || kind == Kind::Direction || kind == Kind::Edge || kind == Kind::Value;
    }

    Kind kind = Kind::Nothing;
    int line = -1;    ///< of a line and its files
    size_t board = 0; ///< of a bus device
};

RigNode parseRigPath(const std::string& path);

} // namespace busrig
