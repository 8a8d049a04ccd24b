#include "WireOptions.h"

#include <chrono>

#include <commandline/CommandLine.h>

#include "UsageError.h"

namespace command {

namespace {

constexpr int smallestPacket = 11; // a header and three bytes, less than which says nothing
constexpr int largestPacket = 4096;
constexpr int highestAddress = 0x7F; // seven bits
constexpr int allUartOptions = 7;    // stop bits, flow control, low latency
constexpr int longestSecondLook = 100;

template <typename T> void takeUnsaid(std::optional<T>& mine, const std::optional<T>& base) {
    if (!mine) mine = base;
}

std::string number(int value) {
    return std::to_string(value);
}

void declareLine(const commandline::Command& app, WireOptions& options, const std::string& group) {
    app.option("--gpio", options.gpio,
               "Number of the line on which the host asks to be read, with --gpio-chip on that chip (i2c, spi)")
        .argument("N")
        .notNegative()
        .group(group);
    app.option("--gpio-chip", options.gpioChip,
               "Chip of the line, a path such as /dev/gpiochip0 or a label; without it the line is watched "
               "through sysfs")
        .argument("CHIP")
        .group(group);
    app.option("--gpio-line", options.gpioLine, "Name of the line on that chip, in place of --gpio")
        .argument("NAME")
        .group(group);
    app.option("--bias", options.bias, "On a chip: pull-up, pull-down or disabled [as it is]")
        .argument("NAME")
        .oneOf({"pull-up", "pull-down", "disabled"})
        .group(group);
    app.option("--debounce", options.debounce, "On a chip: how long a level must last, in microseconds [0]")
        .argument("US")
        .notNegative()
        .group(group);
    app.option("--second-look", options.secondLook,
               "For a host that needs longer: how long until a second look, in milliseconds [none]")
        .argument("MS")
        .range(0, longestSecondLook)
        .group(group);
}

} // namespace

WireOptions WireOptions::over(const WireOptions& base) const {
    WireOptions all = *this;
    if (!namesWire()) {
        all.uart = base.uart;
        all.i2c = base.i2c;
        all.spi = base.spi;
    }
    takeUnsaid(all.baud, base.baud);
    takeUnsaid(all.parity, base.parity);
    takeUnsaid(all.responseTimeout, base.responseTimeout);
    takeUnsaid(all.address, base.address);
    takeUnsaid(all.speed, base.speed);
    takeUnsaid(all.uartOptions, base.uartOptions);
    takeUnsaid(all.gpio, base.gpio);
    takeUnsaid(all.gpioChip, base.gpioChip);
    takeUnsaid(all.gpioLine, base.gpioLine);
    takeUnsaid(all.bias, base.bias);
    takeUnsaid(all.debounce, base.debounce);
    takeUnsaid(all.secondLook, base.secondLook);
    takeUnsaid(all.twoTransactions, base.twoTransactions);
    takeUnsaid(all.packetSize, base.packetSize);
    return all;
}

std::string WireOptions::print() const {
    if (uart) return "uart " + *uart + ", " + number(baud.value_or(hostlink::Uart{}.baud)) + " baud";
    if (i2c) return "i2c " + *i2c + ", address " + number(address.value_or(0)) + ", " + line();
    if (spi) return "spi " + *spi + ", " + number(speed.value_or(hostlink::Spi{}.speed)) + " Hz, " + line();
    return "no wire";
}

std::string WireOptions::line() const {
    const std::string name = gpioLine ? "line " + *gpioLine : "gpio " + number(gpio.value_or(0));
    return gpioChip ? name + " of " + *gpioChip : name;
}

hostlink::LineWatch WireOptions::watch() const {
    hostlink::LineWatch watch;
    watch.chip = gpioChip.value_or("");
    watch.line = gpioLine.value_or("");
    watch.bias = bias.value_or("");
    watch.debounce = std::chrono::microseconds(debounce.value_or(0));
    watch.secondLook = std::chrono::milliseconds(secondLook.value_or(0));
    return watch;
}

hostlink::Wire WireOptions::wire() const {
    if (gpioLine && !gpioChip) throw UsageError("--gpio-line needs --gpio-chip too");
    if (uart) {
        hostlink::Uart port;
        port.device = *uart;
        port.baud = baud.value_or(port.baud);
        port.parity = parity.value_or(port.parity);
        if (responseTimeout) port.responseTimeout = std::chrono::milliseconds(*responseTimeout);
        port.options = uartOptions.value_or(port.options);
        port.maxPacketSize = packetSize.value_or(port.maxPacketSize);
        return port;
    }
    if (i2c) {
        if (!address || !namesLine()) throw UsageError("--i2c needs --address and --gpio too");
        hostlink::I2c bus;
        bus.device = *i2c;
        bus.address = *address;
        bus.twoTransactions = twoTransactions.value_or(bus.twoTransactions);
        bus.gpio = gpio.value_or(0);
        bus.watch = watch();
        bus.maxPacketSize = packetSize.value_or(bus.maxPacketSize);
        return bus;
    }
    if (spi) {
        if (!namesLine()) throw UsageError("--spi needs --gpio too");
        hostlink::Spi bus;
        bus.device = *spi;
        bus.speed = speed.value_or(bus.speed);
        bus.gpio = gpio.value_or(0);
        bus.watch = watch();
        bus.maxPacketSize = packetSize.value_or(bus.maxPacketSize);
        return bus;
    }
    throw UsageError("which wire leads to the host? Name it: --uart DEVICE, --i2c DEVICE, --spi DEVICE, or --profile "
                     "NAME (see hostlink profiles)");
}

void declareWire(const commandline::Command& app, WireOptions& options) {
    const std::string group = "Wire";
    const auto uart = app.option("--uart", options.uart, "Serial port, for example /dev/ttyS1");
    const auto i2c = app.option("--i2c", options.i2c, "I2C bus, for example /dev/i2c-1");
    const auto spi = app.option("--spi", options.spi, "SPI device, for example /dev/spidev0.0");
    for (const auto device : {uart, i2c, spi}) device.argument("DEVICE").group(group);
    uart.excludes(i2c).excludes(spi);
    i2c.excludes(spi);

    app.option("--baud", options.baud, "Bits per second of the serial port [115200]")
        .argument("N")
        .positive()
        .group(group);
    app.option("--parity", options.parity, "Parity of the serial port: none, even or odd [none]")
        .argument("NAME")
        .oneOf({"none", "even", "odd"})
        .group(group);
    app.option("--response-timeout", options.responseTimeout,
               "How long the host may take to accept a packet from the serial port, in milliseconds [500]")
        .argument("MS")
        .positive()
        .group(group);
    app.option("--uart-options", options.uartOptions,
               "Sum of: 1 two stop bits, 2 RTS/CTS flow control, 4 low latency [0]")
        .argument("N")
        .range(0, allUartOptions)
        .group(group);
    app.option("--address", options.address, "Address of the host on the I2C bus, for example 0x42")
        .argument("N")
        .range(0, highestAddress)
        .group(group);
    app.option("--speed", options.speed, "Clock of the SPI bus in Hz [1000000]").argument("N").positive().group(group);
    declareLine(app, options, group);
    app.flag("--two-transactions", options.twoTransactions, "A stop between write and read (i2c)").group(group);
    app.option("--packet-size", options.packetSize, "Longest packet, in bytes [64]")
        .argument("N")
        .range(smallestPacket, largestPacket)
        .group(group);
}

WireOptions wireFrom(const std::vector<std::string>& words) {
    WireOptions options;
    commandline::CommandLine parser;
    declareWire(parser, options);
    try {
        parser.take(words);
    } catch (const commandline::Wrong& error) {
        throw UsageError(error.what());
    }
    options.wire();
    return options;
}

} // namespace command
