#include "RigCommands.h"

#include <chrono>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace busrig {

namespace {

[[noreturn]] void refuse(const std::string& text) {
    throw std::invalid_argument(text);
}

const std::string& word(const std::vector<std::string>& words, size_t index, const char* meaning) {
    if (index >= words.size()) refuse(std::string("missing: ") + meaning);
    return words[index];
}

std::string wordOr(const std::vector<std::string>& words, size_t index, const std::string& otherwise) {
    return index < words.size() ? words[index] : otherwise;
}

/// Everything behind the command, one blank between two words.
std::string restOf(const std::vector<std::string>& words) {
    std::string rest;
    for (size_t i = 1; i < words.size(); ++i) rest += (rest.empty() ? "" : " ") + words[i];
    return rest;
}

uint64_t number(const std::string& text, uint64_t limit) {
    const bool isNumber =
        !text.empty() && text.size() < 19 && text.find_first_not_of("0123456789") == std::string::npos;
    const uint64_t value = isNumber ? std::stoull(text) : limit + 1;
    if (value > limit) refuse("not a number from 0 to " + std::to_string(limit) + ": " + text);
    return value;
}

int lineNumber(const std::string& text) {
    return static_cast<int>(number(text, GpioLines::lineCount - 1));
}

bool level(const std::string& text) {
    return number(text, 1) == 1;
}

std::chrono::milliseconds timeOut(const std::vector<std::string>& words, size_t index) {
    constexpr uint64_t longest = 3600000;
    return std::chrono::milliseconds(number(word(words, index, "time-out in milliseconds"), longest));
}

unsigned times(const std::string& text) {
    return text == "all" ? BusFaults::forever : static_cast<unsigned>(number(text, 1000000));
}

int errorNumber(const std::string& name) {
    const std::optional<int> known = errnoByName(name);
    if (!known) refuse("not an errno that the rig knows: " + name);
    return *known;
}

struct CountedFault {
    const char* name;
    unsigned BusFaults::*count;
};

constexpr CountedFault countedFaults[] = {
    {"short", &BusFaults::shortTransfer},  {"late", &BusFaults::late}, {"wrong-start", &BusFaults::wrongStart},
    {"silent", &BusFaults::silent},        {"mute", &BusFaults::mute}, {"edge-back-high", &BusFaults::edgeBackHigh},
    {"edge-burst", &BusFaults::edgeBurst},
};

struct FileFault {
    const char* name;
    const char* file;
};

constexpr FileFault fileFaults[] = {
    {"export-refused", "export"},
    {"direction-refused", "direction"},
    {"edge-refused", "edge"},
    {"value-refused", "value"},
};

/// Linux refuses a line that is in use at the write, and a file that one may not use when it is opened.
SysfsRefusal::When usualTime(int error) {
    return error == EBUSY ? SysfsRefusal::When::Write : SysfsRefusal::When::Open;
}

SysfsRefusal refusal(const std::vector<std::string>& words) {
    SysfsRefusal result;
    result.error = errorNumber(wordOr(words, 2, "EACCES"));
    result.when = usualTime(result.error);
    const std::string when = wordOr(words, 3, "");
    if (when == "open") result.when = SysfsRefusal::When::Open;
    if (when == "write") result.when = SysfsRefusal::When::Write;
    if (!when.empty() && when != "open" && when != "write") refuse("neither open nor write: " + when);
    result.times = times(wordOr(words, 4, "all"));
    return result;
}

template <typename Texts> std::string joined(const Texts& texts) {
    std::string all = "ok";
    const char* separator = " ";
    for (const std::string& text : texts) {
        all += separator + text;
        separator = "; ";
    }
    return all;
}

std::string json(const std::map<std::string, uint64_t>& counts) {
    std::string text = "ok {";
    const char* separator = "";
    for (const auto& [name, count] : counts) {
        text += separator + ("\"" + name + "\":") + std::to_string(count);
        separator = ",";
    }
    return text + "}";
}

/// Faults that are neither counted nor a refusing file. False when there is none of that name.
bool setFault(RigState& state, size_t board, const std::vector<std::string>& words, Wakeups& wakeups) {
    const std::string& name = words[1];
    const int line = boards.at(board).interruptLine;
    if (name == "none") {
        state.clearFaults(wakeups);
    } else if (name == "bus-nack") {
        state.port(board).faults.nackErrno = errorNumber(wordOr(words, 3, "ENXIO"));
        state.port(board).faults.nack = times(wordOr(words, 2, "1"));
    } else if (name == "already-low") {
        state.lowUntilServed(board);
    } else if (name == "stuck-line") {
        state.wiring.setStuck(line, level(wordOr(words, 2, "0")), wakeups);
    } else if (name == "no-value-file") {
        state.valueFileMissing = true;
    } else if (name == "value-vanishes") {
        if (state.lines.unexportAtAnEdge(line, wakeups) != 0) refuse("the line is not exported");
    } else {
        return false;
    }
    return true;
}

/// Commands that only touch the state. Nothing when there is none of that name.
std::optional<std::string> onState(RigState& state, size_t board, const std::vector<std::string>& words,
                                   Wakeups& wakeups) {
    const std::string& name = words[0];
    if (name == "line") {
        state.wiring.pullByHand(lineNumber(word(words, 1, "line")), !level(word(words, 2, "level")), wakeups);
    } else if (name == "level") {
        return state.lines.level(lineNumber(word(words, 1, "line"))) ? "ok 1" : "ok 0";
    } else if (name == "unexport") {
        if (state.lines.unexportLine(lineNumber(word(words, 1, "line"))) != 0) refuse("the line is not exported");
    } else if (name == "controller") {
        state.lines.setController(level(word(words, 1, "0 or 1")));
    } else if (name == "slave") {
        const std::string& mode = word(words, 1, "auto, manual or played");
        if (mode != "auto" && mode != "manual" && mode != "played") refuse("none of auto, manual, played: " + mode);
        state.port(board).setManual(mode != "auto");
        state.standIns.at(board).put(mode == "played");
    } else if (name == "give") {
        std::optional<Bytes> bytes = fromHex(word(words, 1, "bytes"));
        if (!bytes) refuse("not hexadecimal bytes: " + words[1]);
        if (!state.standIns.at(board).isAsked) refuse("nobody waits for bytes");
        state.standIns.at(board).given = std::move(bytes);
    } else if (name == "hold" || name == "release") {
        state.held.at(board) = name == "hold";
    } else if (name == "counts") {
        return json(state.counts(board));
    } else if (name == "sysfs-log") {
        return joined(state.sysfs.log());
    } else if (name == "bus-log") {
        return joined(state.port(board).log());
    } else if (name == "reset") {
        state.reset(wakeups);
    } else {
        return std::nullopt;
    }
    return "ok";
}

size_t takeBoard(std::vector<std::string>& words) {
    if (words.empty() || words[0].empty() || words[0][0] != '@') return 0;
    const uint64_t board = number(words[0].substr(1), boards.size());
    if (board == 0) refuse("boards count from 1");
    words.erase(words.begin());
    return static_cast<size_t>(board - 1);
}

} // namespace

std::string RigCommands::execute(const std::string& line) {
    std::istringstream stream(line);
    Words words;
    for (std::string next; stream >> next;) words.push_back(next);
    try {
        const size_t board = takeBoard(words);
        if (words.empty()) refuse("no command");
        return carryOut(board, words);
    } catch (const std::invalid_argument& wrong) {
        return std::string("error ") + wrong.what();
    }
}

std::string RigCommands::carryOut(size_t board, const Words& words) {
    if (words[0] == "wait") return wait(board, words);
    if (words[0] == "phase") return phase(board, words);
    if (words[0] == "fault") return carryOutFault(board, words);
    if (words[0] == "reply") return carryOutReply(board, words);
    const std::optional<std::string> answer =
        rig.access([&](RigState& state, Wakeups& wakeups) { return onState(state, board, words, wakeups); });
    return answer ? *answer : askSlave(board, words);
}

std::string RigCommands::carryOutFault(size_t board, const Words& words) {
    const std::string& name = word(words, 1, "name of the fault");
    return rig.access([&](RigState& state, Wakeups& wakeups) -> std::string {
        for (const CountedFault& fault : countedFaults) {
            if (name != fault.name) continue;
            state.port(board).faults.*fault.count = times(wordOr(words, 2, "1"));
            return "ok";
        }
        for (const FileFault& fault : fileFaults) {
            if (name != fault.name) continue;
            state.sysfs.refuse(fault.file, refusal(words));
            return "ok";
        }
        if (!setFault(state, board, words, wakeups)) refuse("no such fault: " + name);
        return "ok";
    });
}

std::string RigCommands::carryOutReply(size_t board, const Words& words) {
    return rig.access([&](RigState& state, Wakeups&) -> std::string {
        for (size_t i = 1; i < words.size(); ++i) {
            if (words[i][0] == '!') {
                state.port(board).scriptError(errorNumber(words[i].substr(1)));
                continue;
            }
            std::optional<Bytes> bytes = fromHex(words[i]);
            if (!bytes) refuse("not hexadecimal bytes: " + words[i]);
            state.port(board).scriptReply(std::move(*bytes));
        }
        return "ok";
    });
}

std::string RigCommands::askSlave(size_t board, const Words& words) {
    const std::string argument = restOf(words);
    const std::optional<std::string> answer = rig.access([&](RigState& state, Wakeups&) {
        return state.port(board).slave().command(words[0], argument, rig.now()); // the slave's time does not go back
    });
    if (!answer) refuse("no such command: " + words[0]);
    return answer->empty() ? "ok" : "ok " + *answer;
}

std::string RigCommands::wait(size_t board, const Words& words) {
    const std::string& name = word(words, 1, "name of a count");
    const uint64_t minimum = number(word(words, 2, "minimum"), UINT64_MAX / 4);
    const std::chrono::milliseconds timeout = timeOut(words, 3);
    const std::optional<bool> reached = rig.waitForCount(board, name, minimum, timeout);
    if (!reached) refuse("no such count: " + name);
    return *reached ? "ok" : "timeout";
}

std::string RigCommands::phase(size_t board, const Words& words) {
    const std::string next = rig.waitForPhase(board, timeOut(words, 1));
    return next.empty() ? "ok" : "ok " + next;
}

} // namespace busrig
