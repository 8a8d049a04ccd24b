/// @file
/// The link below the transport: interface, configuration and factory.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "ByteArray.h"
#include "HostLinkExport.h"

/// Result of writing one packet.
enum WriteDataResponse {
    Accepted = 0,  ///< the host acknowledged the packet, or it was empty and nothing was sent
    Rejected = 1,  ///< the host refused the packet for now; worth a retry
    Error = 2,     ///< the host reported an error
    NoResponse = 3 ///< no usable answer
};

/// Keys of a link's configuration.
///
/// With `GpioChip` the interrupt line is watched through the chip's character device: `GpioNumber` is then the line's
/// offset on that chip and not needed beside `GpioLine`. Edges that the kernel's interrupt handler keeps up with are
/// served one by one; those that it loses are told.
///
/// With `GpioSecondLook` an exchange that brought no packet is made once more when the line is still low so long after.
enum DeviceProperties {
    DevicePath = 0,          ///< string: device file; UART, I2C, SPI, required
    GpioNumber = 1,          ///< int: line on which the host raises its interrupt request; I2C, SPI, required
    I2cSlaveAddress = 2,     ///< int: bus address of the host; I2C, required
    SpiSpeed = 3,            ///< int: bus clock handed to `Spi`; SPI, required
    UartResponseTimeout = 4, ///< int, milliseconds: how long a write waits for the response; UART, required
    UartBaudRate = 5,        ///< int: bits per second, handed to `Uart`; UART, required
    UartParity = 6,          ///< string: "none", "even" or "odd" in any case; UART, "none" when absent
    UartOptions = 7,         ///< int: bit field handed to `Uart`; UART, 0 when absent
    MaxPacketSize = 8,       ///< int, bytes: size by which messages are cut into packets; 64 when absent
    GpioChip = 9,            ///< string: "/dev/gpiochip0" or a chip's label; I2C, SPI; sysfs when absent, see below
    GpioLine = 10,           ///< string: the line's name on `GpioChip`, in place of `GpioNumber`; I2C, SPI
    GpioBias = 11,       ///< string: "pull-up", "pull-down" or "disabled", on `GpioChip`; I2C, SPI, left when absent
    GpioDebounce = 12,   ///< int, microseconds that a level must last, on `GpioChip`; I2C, SPI, 0 when absent
    GpioSecondLook = 13, ///< int, milliseconds up to 100: see below; I2C, SPI, 0 (none) when absent
    I2cOptions = 14      ///< int: bit field, 1 a stop between write and read; I2C, 0 when absent
};

/// One physical link to the host.
///
/// Life: created, observers added, `init()`, traffic, `shutdown()`, deleted. Observers run on the link's receiving
/// thread, one after another; they are added before `init()` and never removed.
class HOSTLINK_EXPORT HostLinkPhysicalLayer {
public:
    /// Receives one packet; owns its copy.
    using DataReceivedObserver = std::function<void(ByteArray)>;

    /// Configuration of a link: one text per key. A value, freely copied; not locked.
    class HOSTLINK_EXPORT Properties {
    public:
        bool contains(DeviceProperties key) const;
        /// The text; empty when the key is absent.
        std::string getString(DeviceProperties key) const;
        void setString(DeviceProperties key, const std::string& value);
        /// The text as a decimal number, read as `std::stoi` does; 0 when the key is absent.
        /// @throw std::invalid_argument the text does not begin with a number
        /// @throw std::out_of_range the number does not fit an `int`
        int getInt(DeviceProperties key) const;
        void setInt(DeviceProperties key, int value);

    private:
        std::map<DeviceProperties, std::string> values;
    };

    /// Makes the link of that name: "dummy", "i2c", "uart" or "spi"; null for any other. Does not call `init()`.
    /// The caller deletes the result.
    /// @throw std::invalid_argument, std::out_of_range a number in the properties cannot be read
    static HostLinkPhysicalLayer* create(const char* name, const Properties& properties);

    /// Reads `MaxPacketSize`; applies no bound to it.
    /// @throw std::invalid_argument, std::out_of_range its text is not a number
    explicit HostLinkPhysicalLayer(const Properties& properties);
    HostLinkPhysicalLayer(const HostLinkPhysicalLayer&) = delete;
    HostLinkPhysicalLayer& operator=(const HostLinkPhysicalLayer&) = delete;
    virtual ~HostLinkPhysicalLayer();

    /// Opens the device and starts what receiving needs; true on success.
    virtual bool init() = 0;
    /// Stops receiving and releases the device, as far as the link can.
    virtual void shutdown() = 0;
    /// The frame id for the next outgoing frame; each caller gets its own.
    virtual int nextFrameId() = 0;
    /// Sends one packet and waits for the host's answer.
    virtual WriteDataResponse writeData(const ByteArray& packet) = 0;

    /// Bytes; 64 unless the properties said otherwise.
    int getMaxPacketSize() const;

    /// Adds a receiver of every inbound packet that the link delivers. Before `init()` only.
    void addDataReceivedObserver(DataReceivedObserver observer);

    /// Calls every observer in order of registration, each with its own copy. Receiving thread.
    /// @throw std::bad_function_call an observer is empty; whatever an observer throws
    void notifyObservers(const ByteArray& packet);

    /// Logs a hexadecimal dump at TRACE; does nothing unless TRACE is on. Any thread.
    static void printBuffer(const ByteArray& buffer, const char* title);

private:
    std::vector<DataReceivedObserver> dataReceivedObservers; // filled before init(), read by the receiving thread
    int maxPacketSize;                                       // constant after construction
};
