/// @file
/// Which wire, on the command line and in a profile.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <hostlinkclient/Wire.h>

namespace commandline {
class Command;
} // namespace commandline

namespace command {

/// What was said; what was not is as the client's wires have it.
struct WireOptions {
    std::optional<std::string> uart;
    std::optional<std::string> i2c;
    std::optional<std::string> spi;
    std::optional<int> baud;
    std::optional<std::string> parity;
    std::optional<int> responseTimeout; ///< milliseconds
    std::optional<int> address;
    std::optional<int> speed;       ///< Hz
    std::optional<int> uartOptions; ///< bits, as in docs/wiring.md
    std::optional<int> gpio;
    std::optional<std::string> gpioChip;
    std::optional<std::string> gpioLine;
    std::optional<std::string> bias;
    std::optional<int> debounce;   ///< microseconds
    std::optional<int> secondLook; ///< milliseconds
    std::optional<bool> twoTransactions;
    std::optional<int> packetSize;

    /// These, and where they say nothing what `base` says. A wire named here takes the place of any other.
    WireOptions over(const WireOptions& base) const;

    bool namesWire() const { return uart || i2c || spi; }
    /// For people: "uart /dev/ttyS1, 115200 baud".
    std::string print() const;
    /// @throw UsageError no wire is named, or one that lacks something
    hostlink::Wire wire() const;

private:
    bool namesLine() const { return gpio || (gpioChip && gpioLine); }
    std::string line() const;
    hostlink::LineWatch watch() const;
};

/// Declares them; `options` lives as long as the parser.
void declareWire(const commandline::Command& app, WireOptions& options);

/// From words as on a command line.
/// @throw UsageError they cannot be read, or name no wire
WireOptions wireFrom(const std::vector<std::string>& words);

} // namespace command
