// replay: one side of a recording, played against the other.
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <hostlink/HostLinkFrame.h>
#include <hostlink/HostLinkPacket.h>
#include <hostlink/HostLinkPrinter.h>

#include "Declare.h"
#include "command/Hex.h"
#include "command/UsageError.h"
#include "command/decode/Words.h"
#include "command/recording/BusScript.h"
#include "command/recording/Expectations.h"
#include "command/recording/PlayPort.h"
#include "command/recording/PlayedProgram.h"
#include "command/recording/Player.h"
#include "command/recording/Recording.h"
#include "command/recording/Script.h"

namespace command {

namespace {

struct ReplayOptions {
    std::string file;
    std::string as;
    std::string wire;
    std::string link;
    std::string speed = "fastest";
    int patience = 2000; ///< milliseconds
    bool exact = false;
    std::vector<std::string> program;
};

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw UsageError("cannot read " + path);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

std::string titleOf(const capture::Interface& interface) {
    return interface.name + " (" + interface.description + ")";
}

bool isBus(const capture::Interface& interface) {
    const auto wire = capture::wireOf(interface);
    return wire && wire->form == capture::Form::Transactions;
}

// Transactions go over a bus, anything else over a serial line. Where a program is played to, the recording says which.
bool canBePlayed(const capture::Interface& interface, const ReplayOptions& options, const WireOptions& wire) {
    const bool onBus = wire.i2c || wire.spi;
    const bool onLine = wire.uart || !options.link.empty();
    return isBus(interface) ? !onLine : !onBus;
}

uint32_t wireToPlay(const Recording& recording, const ReplayOptions& options, const WireOptions& wire) {
    std::vector<uint32_t> found;
    std::string all;
    for (uint32_t i = 0; i < recording.interfaces.size(); ++i) {
        const capture::Interface& interface = recording.interfaces[i];
        all += "\n  " + titleOf(interface);
        const bool isNamed = options.wire.empty() || interface.name == options.wire;
        if (isNamed && canBePlayed(interface, options, wire)) found.push_back(i);
    }
    if (found.size() == 1) return found[0];
    if (all.empty()) throw UsageError("nothing was recorded");
    throw UsageError(
        (found.empty() ? "of these none can be played there:" : "which of these is to be played? --wire names it:") +
        all);
}

Side sideToPlay(const ReplayOptions& options, const WireOptions& wire) {
    if (options.as.empty()) return wire.namesWire() ? Side::Module : Side::Host;
    return options.as == "module" ? Side::Module : Side::Host;
}

// What is played, of which wire.
struct Play {
    Play(const Recording& recording, uint32_t interface, Side side)
        : wire(recording.interfaces[interface]),
          exchanges(isBus(wire) ? exchangesOf(recording, interface) : std::vector<BusExchange>()),
          script(isBus(wire) ? scriptOf(exchanges, side) : scriptOf(recording, interface, side)) {
        if (script.empty()) throw UsageError("nothing was recorded of " + titleOf(wire));
    }

    const capture::Interface wire;
    const std::vector<BusExchange> exchanges; // of a bus
    const std::vector<Step> script;
};

std::unique_ptr<PlayPort> openPort(const Play& play, const ReplayOptions& options, const WireOptions& wire) {
    const Side side = sideToPlay(options, wire);
    if (!isBus(play.wire)) return wire.uart ? openSerialPort(wire) : makeTerminal(options.link);
    if (side == Side::Host) {
        if (wire.namesWire()) throw UsageError("the host of a bus is played in the bus rig, without --i2c and --spi");
        return standInTheRig(play.exchanges, capture::wireOf(play.wire)->kind);
    }
    if (!wire.namesWire()) throw UsageError("for which host? --i2c or --spi names its bus");
    return openBus(wire);
}

// The message where the packet holds all of it, else the packet.
std::string wordsOf(const ByteArray& packet) {
    HostLinkFrame frame;
    constexpr int message = 3;
    const bool isWhole = HostLinkPacket::frameType(packet) == message && HostLinkPacket::isLast(packet) &&
                         frame.addPacket(packet) == 0 && frame.complete();
    return indented(isWhole ? HostLinkPrinter::printHostLinkMessage(frame.data())
                            : HostLinkPrinter::printHostLinkPacket(packet)) +
           indented(hexOf(packet, " "));
}

std::string secondsText(uint64_t nanoseconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3f", static_cast<double>(nanoseconds) / 1e9);
    return text;
}

void tellDifference(Output& out, const Difference& difference, uint64_t begin) {
    const Step& expected = *difference.expected;
    const uint64_t at = expected.time - begin;
    json::Object object;
    object.text("kind", difference.came.empty() ? "missing" : "different").raw("at", secondsText(at));
    object.text("expected", hexOf(expected.bytes, " "));
    std::string text = "at " + secondsText(at) + " s: expected" + wordsOf(expected.bytes);
    if (difference.came.empty()) {
        text += "\n  which did not come";
    } else {
        object.text("came", hexOf(difference.came, " "));
        text += "\n  there came" + wordsOf(difference.came);
    }
    out.line(text, object);
}

// What a program does behind the recording's end is its own matter, but that it fails is told.
std::string endOf(PlayedProgram& program, PlayPort& port, Stop& stop, std::chrono::milliseconds patience) {
    const auto until = std::chrono::steady_clock::now() + patience;
    constexpr std::chrono::milliseconds interval{20};
    while (!program.ended() && std::chrono::steady_clock::now() < until && !stop.isRequested()) port.read(interval);
    const auto code = program.ended();
    port.leave();
    program.stop();
    return code && *code != 0 ? "the program ended with exit code " + std::to_string(*code) : "";
}

// What a program that has ended did not say.
void giveUpRest(Expectations& expectations) {
    constexpr std::size_t theEnd = std::numeric_limits<std::size_t>::max();
    while (const Step* missing = expectations.missingBefore(theEnd)) expectations.giveUp(*missing);
}

// A program that has said all and ended owes no answers to what comes then.
ExitCode report(Output& out, const Expectations& expectations, const std::string& problem, bool programEnded) {
    const std::size_t owed = programEnded ? expectations.answersLeft() : 0;
    json::Object object;
    object.text("kind", "end").number("expected", expectations.expected()).number("same", expectations.same());
    object.number("different", expectations.different()).number("behind", expectations.behind());
    object.number("notAnswered", owed);
    if (!problem.empty()) object.text("problem", problem);
    std::string text = std::to_string(expectations.same()) + " of " + std::to_string(expectations.expected()) +
                       " packets came as recorded";
    if (expectations.different() > 0) text += ", " + std::to_string(expectations.different()) + " did not";
    if (owed > 0) text += "; the program ended before it answered " + std::to_string(owed);
    if (!problem.empty()) text += "; " + problem;
    out.line(text, object);
    const bool isSame = expectations.same() + owed == expectations.expected() && problem.empty();
    return isSame ? ExitCode::Good : ExitCode::HostSaidNo;
}

using Instant = std::chrono::steady_clock::time_point;

ExitCode replay(Program& program, const ReplayOptions& options) {
    const Recording recording = recordingOf(contentOf(options.file));
    if (recording.cutOff > 0) program.output().note("the last packet is cut off; what is before it is played");
    const WireOptions wire = program.wire();
    if (wire.namesWire() && !(options.program.empty() && options.link.empty()))
        throw UsageError("either a wire, or a program or --link");
    const Play play(recording, wireToPlay(recording, options, wire), sideToPlay(options, wire));
    const uint64_t begin = play.script.front().time;
    Expectations expectations(play.script, options.exact, [&](const Difference& difference) {
        tellDifference(program.output(), difference, begin);
    });

    const std::unique_ptr<PlayPort> port = openPort(play, options, wire);
    std::unique_ptr<PlayedProgram> other;
    if (!options.program.empty())
        other = std::make_unique<PlayedProgram>(options.program, port->path());
    else if (!wire.namesWire())
        program.output().note("playing the host on " + port->path());
    PlayOptions manner;
    manner.inRecordedTime = options.speed == "recorded";
    manner.patience = std::chrono::milliseconds(options.patience);
    Player player(*port, play.script, expectations, manner, [&, gone = std::optional<Instant>()]() mutable {
        // What it said at last may still be on its way.
        constexpr std::chrono::milliseconds lastWords{300};
        if (other && other->ended() && !gone) gone = std::chrono::steady_clock::now();
        return program.stop().isRequested() || port->isGone() ||
               (gone && std::chrono::steady_clock::now() > *gone + lastWords);
    });
    std::string problem = player.play();
    if (problem.empty() && port->isGone()) problem = "the line was lost";
    const bool programEnded = other && other->ended();
    if (programEnded && expectations.answersLeft() == 0) giveUpRest(expectations);
    if (other && problem.empty()) problem = endOf(*other, *port, program.stop(), manner.patience);
    port->leave();
    return report(program.output(), expectations, problem, programEnded);
}

} // namespace

void declareReplay(const commandline::Command& app, Run& chosen) {
    auto options = std::make_shared<ReplayOptions>();
    const auto command =
        declareCommand(app, chosen, "replay",
                       "Play one side of a recording, and tell where the other now says something else: "
                       "the host for a program, or with a wire the module for a host",
                       options, replay);
    command.option("FILE", options->file, "The recording").required().plain();
    command.option("--as", options->as, "Which side is played [with a wire the module, else the host]")
        .argument("SIDE")
        .oneOf({"module", "host"});
    command.option("--wire", options->wire, "Which of several recorded wires, by its device").argument("NAME");
    command.option("--link", options->link, "Make this link to the line that a program is to open").argument("PATH");
    command.option("--speed", options->speed, "fastest, or recorded: with the pauses of the recording")
        .argument("SPEED")
        .oneOf({"fastest", "recorded"})
        .showPreset();
    command.option("--patience", options->patience, "How much later than recorded a packet may come, in milliseconds")
        .argument("MS")
        .positive()
        .showPreset();
    command.flag("--exact", options->exact, "Compare frame ids too, which are the sender's choice");
    command
        .option("PROGRAM", options->program,
                "A program to start and its arguments, behind --; {} stands for the path of its line or bus")
        .plain();
}

} // namespace command
