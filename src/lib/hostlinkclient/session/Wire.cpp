#include "hostlinkclient/Wire.h"

#include <utility>

#include "hostlinkclient/session/WireData.h"

namespace hostlink {

namespace {

using Properties = HostLinkPhysicalLayer::Properties;

Properties base(const std::string& device, int maxPacketSize) {
    Properties properties;
    properties.setString(DevicePath, device);
    properties.setInt(MaxPacketSize, maxPacketSize);
    return properties;
}

std::function<std::unique_ptr<HostLinkPhysicalLayer>()> maker(const char* name, Properties properties) {
    return [name, properties = std::move(properties)] {
        return std::unique_ptr<HostLinkPhysicalLayer>(HostLinkPhysicalLayer::create(name, properties));
    };
}

// The host's line, of a bus of either kind.
template <typename Bus> void setLine(Properties& properties, const Bus& bus) {
    properties.setInt(GpioNumber, bus.gpio);
    if (!bus.gpioChip.empty()) properties.setString(GpioChip, bus.gpioChip);
    if (!bus.gpioLine.empty()) properties.setString(GpioLine, bus.gpioLine);
}

// The analyser loses the function on its way into what is returned.
// NOLINTBEGIN(clang-analyzer-cplusplus.NewDeleteLeaks): a function owns what it has caught
Wire::Data dataOf(const Uart& uart) {
    Properties properties = base(uart.device, uart.maxPacketSize);
    properties.setInt(UartBaudRate, uart.baud);
    properties.setInt(UartResponseTimeout, static_cast<int>(uart.responseTimeout.count()));
    properties.setString(UartParity, uart.parity);
    properties.setInt(UartOptions, uart.options);
    return {maker("uart", properties), uart.device, uart.device, true, uart.maxPacketSize};
}

Wire::Data dataOf(const I2c& i2c) {
    Properties properties = base(i2c.device, i2c.maxPacketSize);
    properties.setInt(I2cSlaveAddress, i2c.address);
    setLine(properties, i2c);
    return {maker("i2c", properties), i2c.device, i2c.device, false, i2c.maxPacketSize};
}

Wire::Data dataOf(const Spi& spi) {
    Properties properties = base(spi.device, spi.maxPacketSize);
    properties.setInt(SpiSpeed, spi.speed);
    setLine(properties, spi);
    return {maker("spi", properties), spi.device, spi.device, false, spi.maxPacketSize};
}
// NOLINTEND(clang-analyzer-cplusplus.NewDeleteLeaks)

Wire::Data dataOf(const OwnLink& own) {
    return {own.make, own.name, "", false, own.maxPacketSize};
}

} // namespace

Wire::Wire(const Uart& uart) : data(std::make_shared<const Data>(dataOf(uart))) {}
Wire::Wire(const I2c& i2c) : data(std::make_shared<const Data>(dataOf(i2c))) {}
Wire::Wire(const Spi& spi) : data(std::make_shared<const Data>(dataOf(spi))) {}
Wire::Wire(const OwnLink& own) : data(std::make_shared<const Data>(dataOf(own))) {}
Wire::Wire(const Wire& other) = default;
Wire& Wire::operator=(const Wire& other) = default;
Wire::~Wire() = default;

} // namespace hostlink
