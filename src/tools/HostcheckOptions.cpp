#include "HostcheckOptions.h"

#include <algorithm>

#include <commandline/CommandLine.h>

namespace {

constexpr int longestLoad = 3600;
constexpr unsigned mostRepeats = 10000;
constexpr int longestAnswer = 60000;

void allow(hostcheck::Waits& waits, hostcheck::Time answer) {
    waits.answer = answer;
    waits.message = std::max(waits.message, 2 * answer);
    waits.recovery = std::max(waits.recovery, 2 * answer);
}

void declareLine(const commandline::Command& app, HostcheckOptions& options) {
    app.option("--gpio", options.gpio,
               "Number of the line on which the host asks to be read, with\n--gpio-chip on that chip (i2c, spi)")
        .argument("N")
        .range(0, 100000)
        .showPreset();
    commandline::Option chip =
        app.option("--gpio-chip", options.gpioChip,
                   "Chip of the line, a path such as /dev/gpiochip0 or a label;\nwithout it the line "
                   "is watched through sysfs (i2c, spi)")
            .argument("CHIP");
    app.option("--gpio-line", options.gpioLine, "Name of the line on that chip, in place of --gpio (i2c, spi)")
        .argument("NAME")
        .needs(chip);
}

void declareWire(const commandline::Command& app, HostcheckOptions& options) {
    app.option("--device", options.device,
               "Device of the link, for example /dev/ttyUSB0 or /dev/i2c-1,\nor a socket on which an emulator "
               "offers its serial line")
        .argument("PATH");
    app.option("--link", options.link, "Kind of the link").oneOf({"uart", "i2c", "spi"}).showPreset();
    app.option("--baud", options.baud, "Bits per second (uart)").argument("N").range(50, 20000000).showPreset();
    app.option("--parity", options.parity, "Parity (uart)").oneOf({"none", "even", "odd"}).showPreset();
    app.option("--uart-options", options.uartOptions,
               "Sum of 1 two stop bits, 2 RTS/CTS flow control, 4 low latency (uart)")
        .argument("N")
        .range(0, 7)
        .showPreset();
    declareLine(app, options);
    app.option("--i2c-address", options.i2cAddress, "Address of the host on the bus (i2c)")
        .argument("N")
        .range(3, 119)
        .showPreset();
    app.option("--spi-speed", options.spiSpeed, "Clock of the bus in Hz (spi)")
        .argument("N")
        .range(1000, 100000000)
        .showPreset();
}

void declareChecks(const commandline::Command& app, HostcheckOptions& options) {
    app.option("--only", options.only, "Checks and groups to make; may be given more than once")
        .argument("NAME")
        .repeatable();
    app.flag("--must", options.mustsOnly, "Leave out the checks of what a host should do");
    app.flag("--destructive", options.setup.destructive,
             "Make also the checks that change a state, which they put\nback, or write files");
    app.option("--state", options.setup.state, "State that is asked for, and changed with --destructive")
        .argument("ID")
        .showPreset();
    app.option<int>(
           "--load-time", [&options](const int& seconds) { options.setup.loadTime = std::chrono::seconds(seconds); },
           "How long both directions are kept busy [60]")
        .argument("SECONDS")
        .range(1, longestLoad);
    app.option<int>(
           "--response-timeout",
           [&options](const int& time) { allow(options.setup.waits, hostcheck::milliseconds(time)); },
           "How long the host may take to acknowledge a packet [500].\nWhat answers a message may take twice as long, "
           "2 s at least")
        .argument("MS")
        .range(1, longestAnswer);
    app.option("--repeat", options.repeat, "Make all checks so many times")
        .argument("N")
        .range(1U, mostRepeats)
        .showPreset();
    app.option("--seed", options.setup.seed, "Seed of everything random").argument("N").showPreset();
}

void declareClock(const commandline::Command& app, HostcheckOptions& options) {
    app.option(
           "--clock", options.clock,
           "Go by the clock of a host in an emulator, which may be given\nless time than passes: its milliseconds, 32 "
           "bits little-endian\nat this place of a file that the emulator keeps as memory")
        .argument("FILE:OFFSET");
}

} // namespace

std::optional<int> parseCommandLine(int argc, char** argv, HostcheckOptions& options) {
    commandline::CommandLine app(
        "Plays the module against a host over a real link and tells what the host does right and wrong.\n"
        "The rules are those of docs/host-rules.md.");
    app.columnWidth(32);
    declareWire(app, options);
    declareChecks(app, options);
    declareClock(app, options);
    app.flag("--json", options.json, "Print the results as one JSON object");
    app.option("--junit", options.junit, "Write the results to this file, in the form of JUnit").argument("FILE");
    app.flag("--list", options.list, "Print the checks: what each does and expects, and why");
    app.flag("--rules", options.rules, "Print the rules of a host as they stand in docs/host-rules.md");
    app.footer(
        "Exit code 0: every check passed or was skipped; 1: one failed; 2: usage, or no device; 130: interrupted.\n"
        "Example:  zent-hostcheck --device /dev/ttyUSB0 --destructive");
    return app.read(argc, argv);
}
