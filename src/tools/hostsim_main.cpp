// zent-hostsim: plays the host at the other end of a serial line.
#include <csignal>
#include <exception>
#include <iostream>
#include <memory>
#include <string>
#include <utility>

#include <terminal/PseudoTerminal.h>

#include "JsonEvents.h"
#include "SerialDevice.h"
#include "Simulator.h"
#include "SimulatorOptions.h"

namespace {

constexpr int failure = 1;
constexpr unsigned usualBaudRate = 115200;

std::unique_ptr<LinePort> openPort(const SimulatorOptions& options) {
    if (options.device.empty()) return std::make_unique<PseudoTerminal>(options.link);
    const auto baud = options.baud == 0 ? usualBaudRate : static_cast<unsigned>(options.baud);
    return std::make_unique<SerialDevice>(options.device, baud);
}

void tellReady(const SimulatorOptions& options, const LinePort& port) {
    if (options.json) {
        std::cout << readyEvent(port.path(), options.link);
    } else {
        std::cout << "Host simulator listening on " << port.path()
                  << (options.link.empty() ? "" : " (link: " + options.link + ")") << '\n';
    }
    std::cout << std::flush;
}

void tellCounts(const SimulatorOptions& options, const hostsim::HostCounts& counts) {
    if (options.json) {
        std::cout << countsEvent(counts);
    } else {
        std::cout << "What the host saw and did:\n" << countsAsText(counts);
    }
    std::cout << std::flush;
}

int simulate(const SimulatorOptions& options) {
    descriptor::Descriptor signals =
        Simulator::takeSignals(); // first: from here on the link to the port is always removed
    const std::unique_ptr<LinePort> port = openPort(options);
    Simulator simulator(options, *port, std::move(signals), std::cout, std::cerr);
    tellReady(options, *port);
    int result = 0;
    try {
        simulator.run();
    } catch (const std::exception& error) {
        std::cerr << "zent-hostsim: " << error.what() << '\n';
        result = failure;
    }
    tellCounts(options, simulator.counts());
    return result;
}

} // namespace

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN); // a reader of the output that goes is no reason to end
    SimulatorOptions options;
    if (const auto code = parseCommandLine(argc, argv, options)) return *code;
    try {
        return simulate(options);
    } catch (const std::exception& error) {
        std::cerr << "zent-hostsim: " << error.what() << '\n';
        return failure;
    }
}
