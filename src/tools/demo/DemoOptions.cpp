#include "DemoOptions.h"

#include <CLI/CLI.hpp>

std::optional<int> parseCommandLine(int argc, char** argv, DemoOptions& options) {
    CLI::App app("Holds a conversation with a host: states, changes, a button, a file.");
    app.add_option("--device", options.device, "Device of the link, for example the path that zent-hostsim prints")
        ->type_name("PATH")
        ->required();
    app.add_option("--link", options.link, "Kind of the link: uart, i2c or spi")
        ->type_name("NAME")
        ->capture_default_str();
    app.add_option("--baud", options.baud, "Bits per second (uart)")->type_name("N")->capture_default_str();
    app.add_option("--gpio", options.gpio,
                   "Number of the line on which the host asks to be read, with --gpio-chip on that chip (i2c, spi)")
        ->type_name("N")
        ->capture_default_str();
    CLI::Option* chip = app.add_option("--gpio-chip", options.gpioChip,
                                       "Chip of the line, a path such as /dev/gpiochip0 or a label; without it the "
                                       "line is watched through sysfs (i2c, spi)")
                            ->type_name("CHIP");
    app.add_option("--gpio-line", options.gpioLine, "Name of the line on that chip, in place of --gpio (i2c, spi)")
        ->type_name("NAME")
        ->needs(chip);
    app.add_option("--i2c-address", options.i2cAddress, "Address of the host on the bus (i2c)")
        ->type_name("N")
        ->capture_default_str();
    app.add_option("--spi-speed", options.spiSpeed, "Clock of the bus in Hz (spi)")
        ->type_name("N")
        ->capture_default_str();
    app.add_option("--max-packet-size", options.maxPacketSize, "Longest packet, in bytes")
        ->type_name("N")
        ->check(CLI::Range(16, 4096))
        ->capture_default_str();
    app.add_option("--response-timeout", options.responseTimeout, "How long the host may take to acknowledge a packet")
        ->type_name("MS")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_option("--patience", options.patience, "How long to wait for a host that does not answer, or is gone")
        ->type_name("SECONDS")
        ->check(CLI::Range(1, 3600))
        ->capture_default_str();
    app.add_option("--file", options.file, "File to send; without it one is made up")
        ->type_name("PATH")
        ->check(CLI::ExistingFile);
    app.add_option("--file-size", options.fileSize, "Size of the file made up, in bytes")
        ->type_name("BYTES")
        ->check(CLI::Range(0UL, 1UL << 30))
        ->capture_default_str();
    app.add_option("--log-level", options.logLevel, "What the library logs to the standard error")
        ->check(CLI::IsMember({"trace", "debug", "info", "warn", "error", "off"}))
        ->capture_default_str();
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    return std::nullopt;
}
