/// @file
/// Which wire leads to the host.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include <hostlink/HostLinkExport.h>

class HostLinkPhysicalLayer;

namespace hostlink {

/// A serial port.
struct Uart {
    std::string device;                             ///< "/dev/ttyS1"
    int baud = 115200;                              ///< bits per second
    std::chrono::milliseconds responseTimeout{500}; ///< longer than the host ever takes to accept a packet
    std::string parity = "none";                    ///< "none", "even" or "odd"
    int options = 0;                                ///< bit field of the serial library
    int maxPacketSize = 64;                         ///< bytes
};

/// How the line is watched on which the host asks to be read. As it is: through sysfs, one exchange for an edge.
struct LineWatch {
    std::string chip; ///< "/dev/gpiochip0" or a chip's label: through its character device; empty: sysfs
    std::string line; ///< the line's name on the chip, in place of its number
    std::string bias; ///< on a chip: "pull-up", "pull-down" or "disabled"; empty: as it is
    std::chrono::microseconds debounce{0};   ///< on a chip: how long a level must last
    std::chrono::milliseconds secondLook{0}; ///< up to 100: for a host that needs longer than 4.5 ms; 0: none
};

/// An I2C bus with an interrupt line of the host.
struct I2c {
    std::string device; ///< "/dev/i2c-1"
    int address = 0;    ///< of the host on the bus
    int gpio = 0;       ///< number of the line on which the host asks to be read; on a chip its offset there
    int maxPacketSize = 64;
    LineWatch watch = {};
    bool twoTransactions = false; ///< a stop between write and read: for devices or adapters that cannot do without
};

/// An SPI bus with an interrupt line of the host.
struct Spi {
    std::string device;  ///< "/dev/spidev0.0"
    int speed = 1000000; ///< Hz
    int gpio = 0;        ///< number of the line on which the host asks to be read; on a chip its offset there
    int maxPacketSize = 64;
    LineWatch watch = {};
};

/// Links that the program makes itself, for example over a library of its own. Called on a thread of the client for
/// each new link, and not again before the last one has been destroyed; null when none can be made.
struct OwnLink {
    std::function<std::unique_ptr<HostLinkPhysicalLayer>()> make; ///< made, not yet initialised
    std::string name = "link";                                    ///< for texts
    int maxPacketSize = 64;
};

/// Any of them. A value that is cheap to copy.
class HOSTLINK_EXPORT Wire {
public:
    Wire(const Uart& uart); // each of them is a wire
    Wire(const I2c& i2c);
    Wire(const Spi& spi);
    Wire(const OwnLink& own);
    Wire(const Wire& other);
    Wire& operator=(const Wire& other);
    ~Wire();

    struct Data;
    /// For the library's own use.
    const Data& inside() const { return *data; }

private:
    std::shared_ptr<const Data> data;
};

} // namespace hostlink
