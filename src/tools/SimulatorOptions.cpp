#include "SimulatorOptions.h"

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <vector>

#include <commandline/CommandLine.h>
#include <hostsim/StateText.h>

#include "TunnelEnd.h"

using hostsim::ByteNoise;
using hostsim::FaultOptions;
using std::chrono::milliseconds;

namespace {

constexpr uint64_t longestPacketTimeout = 65000;
constexpr uint64_t longestMilliseconds = 24UL * 60 * 60 * 1000;
constexpr uint64_t mostCounts = 1000000000;
constexpr uint64_t mostEvents = 10000;
constexpr uint64_t mostGarbage = 65535;

// The parser's own checks take a minus sign for part of a large number, and say the range only sometimes.
std::function<std::string(const std::string&)> wholeNumber(uint64_t lowest, uint64_t highest) {
    const std::string range = "a whole number from " + std::to_string(lowest) + " to " + std::to_string(highest);
    return [lowest, highest, range](const std::string& text) {
        const bool digits = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
        errno = 0;
        const uint64_t number = digits ? std::strtoull(text.c_str(), nullptr, 10) : 0;
        const bool good = digits && errno == 0 && number >= lowest && number <= highest;
        return good ? std::string() : "'" + text + "' is not " + range;
    };
}

std::function<std::string(const std::string&)> probability() {
    return [](const std::string& text) {
        char* end = nullptr;
        const double number = std::strtod(text.c_str(), &end);
        const bool good = !text.empty() && *end == '\0' && number >= 0 && number <= 1; // none of it holds for "nan"
        return good ? std::string() : "'" + text + "' is not a number from 0 to 1";
    };
}

commandline::Option addMilliseconds(const commandline::Command& app, const std::string& name, uint64_t lowest,
                                    const std::string& text, std::function<void(milliseconds)> store,
                                    uint64_t highest = longestMilliseconds) {
    return app
        .option<uint64_t>(
            name, [store](const uint64_t& number) { store(milliseconds(number)); }, text)
        .argument("MS")
        .check(wholeNumber(lowest, highest));
}

void setState(hostsim::HostStates& states, const std::string& text) {
    const size_t equals = text.find('=');
    const hostlink::StateId id(text.substr(0, equals));
    if (equals == std::string::npos || !id.isValid()) {
        throw commandline::Wrong("'" + text + "' is not ID=VALUE with a number or a state name as ID");
    }
    const auto value = hostsim::parseValue(id, text.substr(equals + 1), states.get(id.number()));
    if (!value) throw commandline::Wrong("the value in '" + text + "' cannot be taken: " + value.text());
    states.set(id.number(), *value);
}

void declareWire(const commandline::Command& app, SimulatorOptions& options) {
    const auto device = app.option("--device", options.device,
                                   "Serial device to use, for example /dev/ttyUSB0. Without it a\npseudo terminal is "
                                   "made and its path printed: open that\npath as the serial port");
    app.option("--link", options.link, "Make a symbolic link to the pseudo terminal at this path,\nremoved at the end")
        .argument("PATH")
        .excludes(device);
    app.option("--baud", options.baud,
               "Bits per second. A device is set to it (115200 without the\noption); a pseudo terminal, which has "
               "no speed of its own,\nis slowed down to it")
        .argument("N")
        .check(wholeNumber(50, 20000000));
    app.option("--max-packet-size", options.host.outgoing.maxPacketSize, "Longest packet that the host sends, in bytes")
        .argument("N")
        .check(wholeNumber(11, 65535))
        .showPreset();
    addMilliseconds(app, "--response-timeout", 1,
                    "How long the module may take to acknowledge a packet of the\nhost [1000]",
                    [&options](milliseconds time) { options.host.outgoing.responseTimeout = time; });
    addMilliseconds(
        app, "--retry-delay", 0, "How long the host waits before a packet that was refused goes\nout again [10]",
        [&options](milliseconds time) { options.host.outgoing.retryDelay = time; }, longestPacketTimeout);
    addMilliseconds(
        app, "--packet-timeout", 1, "How long the host waits inside a packet for its next byte\n[100]",
        [&options](milliseconds time) { options.line.packetTimeout = time; }, longestPacketTimeout);
}

void declareBehaviour(const commandline::Command& app, SimulatorOptions& options) {
    app.option<std::vector<std::string>>(
           "--state",
           [&options](const std::vector<std::string>& texts) {
               for (const std::string& text : texts) setState(options.host.states, text);
           },
           "A state that the host holds from the start, for example\nPlayerVolume=30, 0x0009=u16:30 or "
           "MetaTitle=text:Blue.\nMay be given more than once")
        .argument("ID=VALUE")
        .repeatable();
    addMilliseconds(app, "--input-event-every", 1,
                    "Press and release a button in this interval while the module\nanswers",
                    [&options](milliseconds time) { options.inputEventEvery = time; });
    addMilliseconds(app, "--exit-after-idle", 1, "End when nothing has happened for this long",
                    [&options](milliseconds time) { options.exitAfterIdle = time; });
    app.option("--send", options.file,
               "Send this file to the module as soon as that is heard; the\ncommand send-file sends others")
        .argument("FILE")
        .existingFile();
    app.option("--tunnel", options.tunnel,
               "Connect what the module tunnels to this TCP server, instead of\nsending it back")
        .argument("HOST:PORT")
        .check([](const std::string& text) {
            return TunnelEnd::isServer(text) ? std::string() : "'" + text + "' is not HOST:PORT";
        });
    app.flag("--commands", options.commands,
             "Read commands from the standard input also when that is not\na terminal. 'help' lists them");
    app.flag("--verbose,-v", options.verbose, "Print every packet and message to the standard error");
    app.flag("--json", options.json, "Print JSON instead of text, one object in a line, each with an\n\"event\"");
}

commandline::Option addEvery(const commandline::Command& app, const std::string& name, unsigned& target,
                             const std::string& text, uint64_t highest = mostCounts) {
    return app.option(name, target, text).argument("N").check(wholeNumber(0, highest)).group("Faults");
}

// One rate for both directions, unless --noise says otherwise.
void addRate(const commandline::Command& app, const std::string& name, FaultOptions& faults, double ByteNoise::*rate,
             const std::string& text) {
    app.option<double>(
           name,
           [&faults, rate](const double& value) {
               faults.toModule.*rate = value;
               faults.toHost.*rate = value;
           },
           text)
        .argument("RATE")
        .check(probability())
        .group("Faults");
}

void declareFaultOptions(const commandline::Command& app, FaultOptions& faults) {
    addEvery(app, "--nack-first", faults.nackFirst, "Refuse (nack) the first N attempts of each packet");
    addEvery(app, "--ack-nack-every", faults.ackNackEvery, "Answer every Nth packet with both ack and nack: an error");
    addEvery(app, "--neither-every", faults.neitherEvery, "Answer every Nth packet with neither ack nor nack");
    addEvery(app, "--silent-every", faults.silentEvery, "Do not answer every Nth packet");
    addEvery(app, "--late-every", faults.lateEvery, "Answer every Nth packet late, see --late");
    addMilliseconds(app, "--late", 0, "How late, together with --late-every; alone: every answer\ncomes so late",
                    [&faults](milliseconds time) {
                        faults.lateBy = time;
                        if (faults.lateEvery == 0) faults.lateEvery = 1;
                    })
        .group("Faults");
    addEvery(app, "--repeat-every", faults.repeatEvery, "Send every Nth packet a second time");
    addEvery(app, "--burst", faults.burst, "Send N events nobody asked for when a message comes in", mostEvents);
    addEvery(app, "--garbage-every", faults.garbageEvery,
             "Put random bytes before every Nth packet; half a start mark may\nbe among them, a whole one never is");
    addEvery(app, "--garbage-bytes", faults.garbageBytes, "How many", mostGarbage).showPreset();
    addEvery(app, "--damage-chunk-every", faults.damageChunkEvery,
             "Turn over a bit in every Nth chunk of a file that is sent");
    addEvery(app, "--lose-chunk-every", faults.loseChunkEvery, "Do not send every Nth chunk of a file");
    app.flag("--split-writes", faults.splitWrites, "Write each byte by itself").group("Faults");
    addRate(app, "--drop-rate", faults, &ByteNoise::dropRate, "Lose bytes, at this probability from 0 to 1");
    addRate(app, "--corrupt-rate", faults, &ByteNoise::corruptRate, "Change bytes");
    addRate(app, "--insert-rate", faults, &ByteNoise::insertRate, "Insert random bytes");
    addRate(app, "--repeat-rate", faults, &ByteNoise::repeatRate, "Repeat bytes");
    app.option<uint64_t>(
           "--fault-count", [&faults](const uint64_t& count) { faults.limit = count; },
           "Inject no more than N faults, then behave well")
        .argument("N")
        .check(wholeNumber(0, mostCounts))
        .group("Faults");
    app.option("--seed", faults.seed, "Seed of everything random; the same seed gives the same\nfaults")
        .argument("N")
        .check(wholeNumber(0, UINT64_MAX))
        .showPreset()
        .group("Faults");
    const auto direction = std::make_shared<std::string>("both");
    app.option("--noise", *direction, "Which bytes the rates apply to")
        .oneOf({"both", "to-module", "to-host"})
        .showPreset()
        .group("Faults");
    app.whenRead([direction, &faults] {
        if (*direction == "to-module") faults.toHost = ByteNoise{};
        if (*direction == "to-host") faults.toModule = ByteNoise{};
    });
}

} // namespace

std::optional<int> parseCommandLine(int argc, char** argv, SimulatorOptions& options) {
    commandline::CommandLine app(
        "Plays the host micro-controller at the other end of a serial line: acknowledges packets, answers\n"
        "messages, and misbehaves on request. Ends on Ctrl-C and prints what it has seen and done.");
    app.columnWidth(32);
    declareWire(app, options);
    declareBehaviour(app, options);
    declareFaultOptions(app, options.host.faults);
    app.footer("Example:  zent-hostsim --link ./host --input-event-every 2000\n"
               "          hostlink-demo --device ./host");
    return app.read(argc, argv);
}
