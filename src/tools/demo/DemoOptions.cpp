#include "DemoOptions.h"

#include <commandline/CommandLine.h>

std::optional<int> parseCommandLine(int argc, char** argv, DemoOptions& options) {
    commandline::CommandLine app("Holds a conversation with a host: states, changes, a button, a file.");
    app.option("--device", options.device, "Device of the link, for example the path that zent-hostsim prints")
        .argument("PATH")
        .required();
    app.option("--link", options.link, "Kind of the link: uart, i2c or spi").argument("NAME").showPreset();
    app.option("--baud", options.baud, "Bits per second (uart)").argument("N").showPreset();
    app.option("--gpio", options.gpio,
               "Number of the line on which the host asks to be read, with --gpio-chip on that chip (i2c, spi)")
        .argument("N")
        .showPreset();
    commandline::Option chip = app.option("--gpio-chip", options.gpioChip,
                                          "Chip of the line, a path such as /dev/gpiochip0 or a label; without it the "
                                          "line is watched through sysfs (i2c, spi)")
                                   .argument("CHIP");
    app.option("--gpio-line", options.gpioLine, "Name of the line on that chip, in place of --gpio (i2c, spi)")
        .argument("NAME")
        .needs(chip);
    app.option("--i2c-address", options.i2cAddress, "Address of the host on the bus (i2c)").argument("N").showPreset();
    app.option("--spi-speed", options.spiSpeed, "Clock of the bus in Hz (spi)").argument("N").showPreset();
    app.option("--max-packet-size", options.maxPacketSize, "Longest packet, in bytes")
        .argument("N")
        .range(16, 4096)
        .showPreset();
    app.option("--response-timeout", options.responseTimeout, "How long the host may take to acknowledge a packet")
        .argument("MS")
        .positive()
        .showPreset();
    app.option("--patience", options.patience, "How long to wait for a host that does not answer, or is gone")
        .argument("SECONDS")
        .range(1, 3600)
        .showPreset();
    app.option("--file", options.file, "File to send; without it one is made up").argument("PATH").existingFile();
    app.option("--file-size", options.fileSize, "Size of the file made up, in bytes")
        .argument("BYTES")
        .range(0UL, 1UL << 30)
        .showPreset();
    app.option("--log-level", options.logLevel, "What the library logs to the standard error")
        .oneOf({"trace", "debug", "info", "warn", "error", "off"})
        .showPreset();
    return app.read(argc, argv);
}
