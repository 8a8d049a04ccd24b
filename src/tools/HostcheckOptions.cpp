#include "HostcheckOptions.h"

#include <algorithm>

#include <CLI/CLI.hpp>

namespace {

constexpr int badUsage = 2;
constexpr int longestLoad = 3600;
constexpr unsigned mostRepeats = 10000;
constexpr int longestAnswer = 60000;

void allow(hostcheck::Waits& waits, hostcheck::Time answer) {
    waits.answer = answer;
    waits.message = std::max(waits.message, 2 * answer);
    waits.recovery = std::max(waits.recovery, 2 * answer);
}

void declareLine(CLI::App& app, HostcheckOptions& options) {
    app.add_option("--gpio", options.gpio,
                   "Number of the line on which the host asks to be read, with\n--gpio-chip on that chip (i2c, spi)")
        ->type_name("N")
        ->check(CLI::Range(0, 100000))
        ->capture_default_str();
    CLI::Option* chip =
        app.add_option("--gpio-chip", options.gpioChip,
                       "Chip of the line, a path such as /dev/gpiochip0 or a label;\nwithout it the line "
                       "is watched through sysfs (i2c, spi)")
            ->type_name("CHIP");
    app.add_option("--gpio-line", options.gpioLine, "Name of the line on that chip, in place of --gpio (i2c, spi)")
        ->type_name("NAME")
        ->needs(chip);
}

void declareWire(CLI::App& app, HostcheckOptions& options) {
    app.add_option("--device", options.device,
                   "Device of the link, for example /dev/ttyUSB0 or /dev/i2c-1,\nor a socket on which an emulator "
                   "offers its serial line")
        ->type_name("PATH");
    app.add_option("--link", options.link, "Kind of the link")
        ->check(CLI::IsMember({"uart", "i2c", "spi"}))
        ->capture_default_str();
    app.add_option("--baud", options.baud, "Bits per second (uart)")
        ->type_name("N")
        ->check(CLI::Range(50, 20000000))
        ->capture_default_str();
    app.add_option("--parity", options.parity, "Parity (uart)")
        ->check(CLI::IsMember({"none", "even", "odd"}))
        ->capture_default_str();
    app.add_option("--uart-options", options.uartOptions,
                   "Sum of 1 two stop bits, 2 RTS/CTS flow control, 4 low latency (uart)")
        ->type_name("N")
        ->check(CLI::Range(0, 7))
        ->capture_default_str();
    declareLine(app, options);
    app.add_option("--i2c-address", options.i2cAddress, "Address of the host on the bus (i2c)")
        ->type_name("N")
        ->check(CLI::Range(3, 119))
        ->capture_default_str();
    app.add_option("--spi-speed", options.spiSpeed, "Clock of the bus in Hz (spi)")
        ->type_name("N")
        ->check(CLI::Range(1000, 100000000))
        ->capture_default_str();
}

void declareChecks(CLI::App& app, HostcheckOptions& options) {
    app.add_option("--only", options.only, "Checks and groups to make; may be given more than once")
        ->type_name("NAME")
        ->take_all();
    app.add_flag("--must", options.mustsOnly, "Leave out the checks of what a host should do");
    app.add_flag("--destructive", options.setup.destructive,
                 "Make also the checks that change a state, which they put\nback, or write files");
    app.add_option("--state", options.setup.state, "State that is asked for, and changed with --destructive")
        ->type_name("ID")
        ->capture_default_str();
    app.add_option_function<int>(
           "--load-time", [&options](const int& seconds) { options.setup.loadTime = std::chrono::seconds(seconds); },
           "How long both directions are kept busy [60]")
        ->type_name("SECONDS")
        ->check(CLI::Range(1, longestLoad));
    app.add_option_function<int>(
           "--response-timeout",
           [&options](const int& time) { allow(options.setup.waits, hostcheck::milliseconds(time)); },
           "How long the host may take to acknowledge a packet [500].\nWhat answers a message may take twice as long, "
           "2 s at least")
        ->type_name("MS")
        ->check(CLI::Range(1, longestAnswer));
    app.add_option("--repeat", options.repeat, "Make all checks so many times")
        ->type_name("N")
        ->check(CLI::Range(1U, mostRepeats))
        ->capture_default_str();
    app.add_option("--seed", options.setup.seed, "Seed of everything random")->type_name("N")->capture_default_str();
}

void declareClock(CLI::App& app, HostcheckOptions& options) {
    app.add_option(
           "--clock", options.clock,
           "Go by the clock of a host in an emulator, which may be given\nless time than passes: its milliseconds, 32 "
           "bits little-endian\nat this place of a file that the emulator keeps as memory")
        ->type_name("FILE:OFFSET");
}

} // namespace

std::optional<int> parseCommandLine(int argc, char** argv, HostcheckOptions& options) {
    CLI::App app("Plays the module against a host over a real link and tells what the host does right and wrong.\n"
                 "The rules are those of docs/host-rules.md.");
    app.get_formatter()->column_width(32);
    declareWire(app, options);
    declareChecks(app, options);
    declareClock(app, options);
    app.add_flag("--json", options.json, "Print the results as one JSON object");
    app.add_option("--junit", options.junit, "Write the results to this file, in the form of JUnit")->type_name("FILE");
    app.add_flag("--list", options.list, "Print the checks: what each does and expects, and why");
    app.add_flag("--rules", options.rules, "Print the rules of a host as they stand in docs/host-rules.md");
    app.footer(
        "Exit code 0: every check passed or was skipped; 1: one failed; 2: usage, or no device; 130: interrupted.\n"
        "Example:  zent-hostcheck --device /dev/ttyUSB0 --destructive");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : badUsage;
    }
    return std::nullopt;
}
