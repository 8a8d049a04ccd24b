// watch and events: what the host says by itself, as it comes.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <string>
#include <vector>

#include <hostlink/HostLinkVocabulary.h>

#include "Declare.h"
#include "LinkWatch.h"
#include "command/StateText.h"
#include "command/top/Top.h"

namespace command {

using hostlink::StateId;

namespace {

struct WatchOptions {
    std::vector<std::string> states;
    unsigned count = 0; ///< 0: until Ctrl-C
    bool top = false;
};

struct EventOptions {
    unsigned count = 0;
};

/// The present time, for people and for programs.
struct Stamp {
    std::chrono::system_clock::time_point now = std::chrono::system_clock::now();

    std::string clock() const { return print("%H:%M:%S", ::localtime_r, ""); }
    std::string iso() const { return print("%Y-%m-%dT%H:%M:%S", ::gmtime_r, "Z"); }

private:
    std::string print(const char* form, std::tm* (*split)(const std::time_t*, std::tm*), const char* end) const {
        const auto whole = std::chrono::floor<std::chrono::seconds>(now);
        const auto thousandths = std::chrono::duration_cast<std::chrono::milliseconds>(now - whole).count();
        const std::time_t seconds = std::chrono::system_clock::to_time_t(whole);
        std::tm fields{};
        split(&seconds, &fields);
        char text[32];
        const std::size_t length = std::strftime(text, sizeof text, form, &fields);
        std::snprintf(text + length, sizeof text - length, ".%03d%s", static_cast<int>(thousandths), end);
        return text;
    }
};

/// Counts what is printed, and ends the program with the last.
class Limit {
public:
    Limit(unsigned count, Stop& stop) : left(count), end(stop) {}

    /// Whether one more is to be printed. On one thread at a time.
    bool take() {
        if (left == 0) return true;
        if (--left == 0) {
            left = 1; // what comes after the last is not for printing either
            if (reached) return false;
            reached = true;
            end.request();
        }
        return true;
    }

private:
    unsigned left;
    bool reached = false;
    Stop& end;
};

std::vector<StateId> statesFrom(const std::vector<std::string>& texts) {
    std::vector<StateId> states;
    states.reserve(texts.size());
    for (const std::string& text : texts) states.push_back(stateFrom(text));
    if (!states.empty()) return states;
    for (const auto& [number, name] : stateToString) states.emplace_back(number);
    return states;
}

ExitCode watch(Program& program, const WatchOptions& options) {
    const std::vector<StateId> states = statesFrom(options.states);
    if (options.top) return runTop(program, states, options.states.empty());
    Limit limit(options.count, program.stop());
    const bool named = !options.states.empty();
    const auto told = [&](const hostlink::Change& change) {
        // Of all states a host has some: what it does not have is no news.
        if (!named && change.wasRead && change.value.isNil()) return;
        if (!limit.take()) return;
        const Stamp stamp;
        if (change.missed > 0) program.output().note(std::to_string(change.missed) + " changes missed");
        json::Object object = stateObject(change.state, change.value);
        object.text("time", stamp.iso()).truth("read", change.wasRead).number("missed", change.missed);
        program.output().line("(" + stamp.clock() + ") " + stateLine(change.state, change.value), object);
    };
    const hostlink::Listening link = tellLosses(program);
    // One subscription: its changes come on one thread, in order.
    const hostlink::Subscription changes = program.host().subscribe(states, told);
    const auto refused = changes.established(program.timeout());
    if (refused.outcome() == hostlink::Outcome::Unsupported || refused.outcome() == hostlink::Outcome::BadArgument) {
        return program.output().failed(refused);
    }
    program.stop().wait();
    return endOf(program);
}

ExitCode events(Program& program, const EventOptions& options) {
    Limit limit(options.count, program.stop());
    const auto told = [&](const hostlink::InputEvent& event) {
        if (!limit.take()) return;
        const Stamp stamp;
        const auto found = buttonStateToString.find(event.event);
        const std::string name = found == buttonStateToString.end() ? std::to_string(event.event) : found->second;
        json::Object object;
        object.text("event", name).number("number", static_cast<unsigned>(event.event));
        object.raw("key", event.key.isNumber() ? event.key.print() : json::quoted(event.key.print()));
        object.text("time", stamp.iso());
        program.output().line("(" + stamp.clock() + ") " + name + " " + event.key.print(), object);
    };
    // First: a key that was pressed before anybody was there comes as soon as the link is open.
    const hostlink::Listening keys = program.hostToBe().onInputEvent(told);
    const hostlink::Listening link = tellLosses(program);
    program.stop().wait();
    return endOf(program);
}

} // namespace

void declareWatch(const commandline::Command& app, Run& chosen) {
    auto options = std::make_shared<WatchOptions>();
    const auto command = declareCommand(app, chosen, "watch",
                                        "Print the values of states, and their changes as they come", options, watch);
    command.option("STATE", options->states, "Names or numbers of states; none: all that have a name").plain();
    const auto count = command.option("--count", options->count, "End after so many lines").argument("N");
    command.flag("--top", options->top, "A live table on the terminal: values, their age, how often they change")
        .excludes(count);
}

void declareEvents(const commandline::Command& app, Run& chosen) {
    auto options = std::make_shared<EventOptions>();
    const auto command = declareCommand(app, chosen, "events", "Print the host's keys as they are pressed and released",
                                        options, events);
    command.option("--count", options->count, "End after so many lines").argument("N");
}

} // namespace command
