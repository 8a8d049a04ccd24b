// hostlink-demo: a conversation with the host, from opening the link to closing it, one function for each topic.
#include <cstdio>
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <utility>
#include <vector>

#include <log4cplus/initializer.h>

#include <console/Logging.h>
#include <console/ProgressLine.h>

#include "DemoOptions.h"
#include "HostTalk.h"
#include "Quarters.h"

namespace {

using namespace hostlink;

constexpr HostTalk::Seconds buttonTime{15};
constexpr HostTalk::Seconds changeTime{3};
constexpr int tries = 3;

/// What the host has said by itself.
struct Heard {
    std::map<StateId, Value> values;
    std::optional<Value> button;
};

void title(const std::string& text) {
    std::cout << "\n" << text << "\n";
}

// A number with its name where it has one ("2 (Playing)"), or a text.
std::string describe(const StateId& state, const Value& value) {
    if (value.isBinary()) return '"' + value.print() + '"';
    const std::string named = value.print(state);
    return named == value.print() ? named : value.print() + " (" + named + ")";
}

std::vector<StateValue> getStates(HostTalk& talk, const std::vector<StateId>& states) {
    auto values = talk.host().getMany(states).value();
    for (const auto& [state, value] : values)
        std::cout << "   " << state.name() << " is " << describe(state, value) << "\n";
    return values;
}

Subscription subscribe(HostTalk& talk, const DemoOptions& options, const std::vector<StateId>& states, Heard& heard) {
    auto changes =
        talk.host().subscribe(states, [&heard](const Change& change) { heard.values[change.state] = change.value; });
    changes.established(std::chrono::seconds(options.patience)).orThrow();
    for (const StateId& state : states) std::cout << "   the host will tell when " << state.name() << " changes\n";
    return changes;
}

// Sets a state and waits for the host to tell that it changed. A bad line may lose what it tells, and a state that
// keeps its value is no change: after a wait in vain this tries the other value.
void changeState(HostTalk& talk, Heard& heard, const StateId& state, const Value& value, const Value& otherValue) {
    for (int i = 0; i < tries; ++i) {
        const Value wanted = i % 2 == 0 ? value : otherValue;
        talk.host().set(state, wanted, Confirm).orThrow();
        std::cout << "   set " << state.name() << ": the host now holds " << describe(state, wanted) << "\n";
        if (!talk.waitUntil([&] { return heard.values[state] == wanted; }, changeTime)) continue;
        std::cout << "   the host tells: " << state.name() << " changed to " << describe(state, wanted) << "\n";
        return;
    }
    throw std::runtime_error("the host did not tell that " + state.name() + " changed");
}

// How to press a button, where the host is the simulator.
std::string buttonHelp(const std::string& link) {
    if (link == "uart") return "type 'press 1' there, or start it with --input-event-every 500";
    return "'press 1' in the shell of scripts/hostsim-bus.sh while this program runs in the background, or start that "
           "with inputEventEveryMs=500";
}

void waitForButton(HostTalk& talk, const Heard& heard, const std::string& link) {
    if (!talk.waitUntil([&] { return heard.button.has_value(); }, buttonTime))
        throw std::runtime_error("nobody pressed a button within 15 seconds. In the simulator: " + buttonHelp(link));
    std::cout << "   BUT_KeyPressed: button " << heard.button->print() << "\n";
}

// Bytes without a pattern that a shifted or repeated chunk could hide in.
std::string makeFile(size_t size) {
    std::string content(size, '\0');
    uint32_t random = 1;
    for (char& byte : content) {
        random = random * 1664525 + 1013904223; // linear congruential generator of Numerical Recipes
        byte = static_cast<char>(random >> 24);
    }
    return content;
}

Sending beginSending(HostTalk& talk, const DemoOptions& options, const SendOptions& how) {
    if (!options.file.empty()) return talk.host().beginSending(options.file, how).value();
    auto made = std::make_shared<std::istringstream>(makeFile(options.fileSize));
    return talk.host().beginSending(std::move(made), how).value();
}

void sendFile(HostTalk& talk, const DemoOptions& options) {
    // On the transfer's thread, until that has ended.
    console::ProgressLine line("   ");
    Quarters quarters;
    SendOptions how;
    how.name = options.file.empty() ? "demo.bin" : options.file;
    how.progress = [&](const Progress& progress) {
        const uint64_t whole = progress.total.value_or(progress.bytes);
        if (line.isTerminal())
            line.show(progress.bytes, whole, "");
        else
            quarters.show(progress.bytes, whole);
    };
    const Sending sending = beginSending(talk, options, how);
    const Result<FileSent> result = sending.wait();
    line.end();
    const FileSent sent = result.value();
    std::cout << "   the host received " << sent.bytes << " bytes in " << std::fixed << std::setprecision(1)
              << std::chrono::duration<double>(sent.took).count() << " s, with our checksum " << std::hex
              << std::setfill('0') << std::setw(8) << sent.checksum << std::dec << "\n";
}

// The value among those that bears this state.
Value valueIn(const std::vector<StateValue>& values, const StateId& state) {
    for (const StateValue& one : values)
        if (one.state == state) return one.value;
    return {};
}

void converse(HostTalk& talk, const DemoOptions& options) {
    Heard heard;
    const Listening keys = talk.host().onInputEvent([&heard](const InputEvent& event) {
        if (event.event == BUT_KeyPressed) heard.button = event.key;
    });
    title("Who is there?");
    getStates(talk, {STA_HostSystemInfo, STA_HostFirmwareVersion});
    title("How is the player?");
    const auto player = getStates(talk, {STA_PlayerVolume, STA_PlayerPlayStatus});
    title("Tell me about changes.");
    const Subscription changes = subscribe(talk, options, {STA_PlayerVolume, STA_PlayerPlayStatus}, heard);
    title("Play, a bit louder or softer.");
    const Value playing = Value::named(STA_PlayerPlayStatus, "Playing").value();
    const Value paused = Value::named(STA_PlayerPlayStatus, "Paused").value();
    const bool isPlaying = valueIn(player, STA_PlayerPlayStatus).meansSameAs(playing);
    changeState(talk, heard, STA_PlayerPlayStatus, isPlaying ? paused : playing, isPlaying ? playing : paused);
    const bool isLouder = valueIn(player, STA_PlayerVolume).meansSameAs(40);
    changeState(talk, heard, STA_PlayerVolume, isLouder ? 30 : 40, isLouder ? 40 : 30);
    title("Waiting for somebody to press a button on the host (in the simulator: type 'press 1').");
    waitForButton(talk, heard, options.link);
    const bool isMadeUp = options.file.empty();
    const auto size = isMadeUp ? options.fileSize : std::filesystem::file_size(options.file);
    title("Sending the file " + (isMadeUp ? "demo.bin" : options.file) + ", " + std::to_string(size) + " bytes.");
    sendFile(talk, options);
}

void run(const DemoOptions& options) {
    std::cout << "Opening the " << options.link << " link on " << options.device << "\n";
    HostTalk talk(options);
    converse(talk, options);
}

} // namespace

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ); // whoever reads a pipe gets each line when it is printed
    DemoOptions options;
    if (const auto exitCode = parseCommandLine(argc, argv, options)) return *exitCode;
    const log4cplus::Initializer logging; // one for the whole program
    console::startLogging(options.logLevel);
    try {
        run(options);
    } catch (const std::exception& error) {
        std::cout << std::flush;
        std::cerr << "hostlink-demo: " << error.what() << "\n";
        return 1;
    }
    std::cout << "\nAll went well.\n";
    return 0;
}
