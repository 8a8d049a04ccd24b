// extcap: how Wireshark asks for sources that are no network interfaces, and captures from them. Its arguments and
// answers are Wireshark's: see extcap(4).
#include <iostream>
#include <memory>
#include <string>

#include "Declare.h"
#include "command/UsageError.h"
#include "command/recording/CaptureSink.h"
#include "command/recording/Follower.h"
#include "command/recording/LineTap.h"

namespace command {

namespace {

const std::string recorderPrefix = "hostlink-recorder-";
const std::string tapName = "hostlink-tap";

struct ExtcapOptions {
    bool interfaces = false;
    bool dlts = false;
    bool config = false;
    bool capture = false;
    std::string version;
    std::string filter;
    std::string reload;
    std::string interface;
    std::string fifo;
    TapOptions tap;
};

// Braces end a word there.
std::string word(std::string text) {
    for (char& character : text)
        if (character == '{' || character == '}') character = '_';
    return text;
}

void listInterfaces() {
    std::cout << "extcap {version=1.0}{help=https://www.wireshark.org/docs/man-pages/extcap.html}{display=Host link}\n"
              << "interface {value=" << tapName << "}{display=Host link: two serial ports that listen}\n";
    for (const capture::RunningRecorder& recorder : runningRecorders()) {
        std::cout << "interface {value=" << recorderPrefix << recorder.writer << "}{display=Host link: process "
                  << recorder.writer << ", " << word(recorder.folder) << "}\n";
    }
}

void listSettings(const ExtcapOptions& options) {
    if (options.interface != tapName) return;
    std::cout << "arg {number=0}{call=--to-host}{display=Port that receives what the module sends}{type=string}"
                 "{required=true}{tooltip=A device, for example /dev/ttyUSB0}\n"
                 "arg {number=1}{call=--from-host}{display=Port that receives what the host sends}{type=string}"
                 "{required=true}{tooltip=A device, for example /dev/ttyUSB1}\n"
                 "arg {number=2}{call=--baud}{display=Bits per second}{type=unsigned}{default=115200}{required=false}\n"
                 "arg {number=3}{call=--parity}{display=Parity}{type=selector}{required=false}\n"
                 "value {arg=3}{value=none}{display=none}{default=true}\n"
                 "value {arg=3}{value=even}{display=even}{default=false}\n"
                 "value {arg=3}{value=odd}{display=odd}{default=false}\n";
}

ExitCode captureTap(Program& program, const ExtcapOptions& options) {
    TapOptions tap = options.tap;
    if (tap.toHost.empty() || tap.fromHost.empty()) throw UsageError("which two ports? --to-host and --from-host");
    const WireOptions& wire = program.options().wire;
    tap.baud = wire.baud.value_or(tap.baud);
    tap.parity = wire.parity.value_or(tap.parity);
    CaptureSink sink(options.fifo);
    const LineTap lines(tap, sink);
    while (!program.stop().waitFor(captureInterval) && !lines.isLost() && sink.problem().empty()) {
    }
    return lines.isLost() ? ExitCode::NoLink : ExitCode::Good;
}

ExitCode captureRecorder(Program& program, const ExtcapOptions& options) {
    const std::string writer = options.interface.substr(recorderPrefix.size());
    for (const capture::RunningRecorder& recorder : runningRecorders()) {
        if (recorder.writer != writer) continue;
        CaptureSink sink(options.fifo);
        Follower follower(recorder);
        while (follower.follow(sink) && sink.problem().empty() && !program.stop().waitFor(captureInterval)) {
        }
        if (!follower.problem().empty()) throw UsageError(follower.problem());
        return ExitCode::Good;
    }
    throw UsageError("process " + writer + " has no recorder any more");
}

ExitCode extcap(Program& program, const ExtcapOptions& options) {
    if (options.interfaces) {
        listInterfaces();
    } else if (options.dlts) {
        std::cout << "dlt {number=147}{name=USER0}{display=Host link}\n";
    } else if (options.config) {
        listSettings(options);
    } else if (options.capture) {
        if (options.fifo.empty()) throw UsageError("where to? --fifo names the pipe");
        if (options.interface == tapName) return captureTap(program, options);
        if (options.interface.compare(0, recorderPrefix.size(), recorderPrefix) == 0)
            return captureRecorder(program, options);
        throw UsageError("there is no interface " + options.interface + "; --extcap-interfaces lists them");
    }
    return ExitCode::Good;
}

} // namespace

void declareExtcap(const commandline::Command& app, Run& chosen) {
    auto options = std::make_shared<ExtcapOptions>();
    const auto command = declareCommand(app, chosen, "extcap", "What Wireshark calls to capture live", options, extcap);
    command.flag("--extcap-interfaces", options->interfaces, "List the interfaces");
    command.flag("--extcap-dlts", options->dlts, "List the link types of an interface");
    command.flag("--extcap-config", options->config, "List the settings of an interface");
    command.flag("--capture", options->capture, "Capture");
    command.option("--extcap-version", options->version, "Version of Wireshark").argument("N").arguments(0, 1);
    command.option("--extcap-capture-filter", options->filter, "Taken, and without effect")
        .argument("FILTER")
        .arguments(0, 1);
    command.option("--extcap-reload-option", options->reload, "Taken, and without effect").argument("NAME");
    command.option("--extcap-interface", options->interface, "Which interface").argument("NAME");
    command.option("--fifo", options->fifo, "Pipe to write the packets to").argument("PATH");
    command.option("--to-host", options->tap.toHost, "Serial port that receives what the module sends")
        .argument("DEVICE");
    command.option("--from-host", options->tap.fromHost, "Serial port that receives what the host sends")
        .argument("DEVICE");
}

} // namespace command
