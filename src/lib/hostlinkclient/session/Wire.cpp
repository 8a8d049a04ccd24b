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

void setUnlessEmpty(Properties& properties, DeviceProperties key, const std::string& value) {
    if (!value.empty()) properties.setString(key, value);
}

// A named line goes without its number: without a chip a link refuses it, where the number would be that of any line.
void setLine(Properties& properties, int gpio, const LineWatch& watch) {
    if (watch.line.empty()) properties.setInt(GpioNumber, gpio);
    setUnlessEmpty(properties, GpioChip, watch.chip);
    setUnlessEmpty(properties, GpioLine, watch.line);
    setUnlessEmpty(properties, GpioBias, watch.bias);
    properties.setInt(GpioDebounce, static_cast<int>(watch.debounce.count()));
    properties.setInt(GpioSecondLook, static_cast<int>(watch.secondLook.count()));
}

std::function<std::unique_ptr<HostLinkPhysicalLayer>()> maker(const char* name, Properties properties) {
    return [name, properties = std::move(properties)] {
        return std::unique_ptr<HostLinkPhysicalLayer>(HostLinkPhysicalLayer::create(name, properties));
    };
}

// The analyser loses the function on its way into what is returned.
// NOLINTBEGIN(clang-analyzer-cplusplus.NewDeleteLeaks): a function owns what it has caught
Wire::Data dataOf(const Uart& uart) {
    Properties properties = base(uart.device, uart.maxPacketSize);
    properties.setInt(UartBaudRate, uart.baud);
    properties.setInt(UartResponseTimeout, static_cast<int>(uart.responseTimeout.count()));
    properties.setString(UartParity, uart.parity);
    properties.setInt(UartOptions, uart.options);
    return {maker("uart", properties), uart.device, uart.device, true, uart.maxPacketSize, "uart"};
}

Wire::Data dataOf(const I2c& i2c) {
    Properties properties = base(i2c.device, i2c.maxPacketSize);
    properties.setInt(I2cSlaveAddress, i2c.address);
    properties.setInt(I2cOptions, i2c.twoTransactions ? 1 : 0);
    setLine(properties, i2c.gpio, i2c.watch);
    return {maker("i2c", properties), i2c.device, i2c.device, false, i2c.maxPacketSize, "i2c"};
}

Wire::Data dataOf(const Spi& spi) {
    Properties properties = base(spi.device, spi.maxPacketSize);
    properties.setInt(SpiSpeed, spi.speed);
    setLine(properties, spi.gpio, spi.watch);
    return {maker("spi", properties), spi.device, spi.device, false, spi.maxPacketSize, "spi"};
}
// NOLINTEND(clang-analyzer-cplusplus.NewDeleteLeaks)

Wire::Data dataOf(const OwnLink& own) {
    return {own.make, own.name, "", false, own.maxPacketSize, Wire::Data::ownKind};
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
