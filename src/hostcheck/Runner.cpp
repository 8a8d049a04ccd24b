#include "Runner.h"

#include <stdexcept>

#include "Packets.h"
#include "Rules.h"

namespace hostcheck {

namespace {

constexpr unsigned aliveRule = 71;
constexpr unsigned heldRule = 51;
constexpr Time longestDelay = milliseconds(20); // of the checker, in a check that is believed when it fails
constexpr unsigned mostTimes = 3;

std::string whyNot(const Check& check, const Bench& bench) {
    if (check.wires == Wires::Serial && bench.serial == nullptr) return "for serial lines";
    if (check.wires == Wires::Bus && bench.bus == nullptr) return "for buses";
    if (check.destructive && !bench.setup.destructive) return "changes states or writes files; see --destructive";
    return {};
}

bool isCalled(const Check& check, const std::string& word) {
    return word == check.name || word == check.group;
}

bool isSelected(const Check& check, const std::vector<std::string>& words) {
    for (const std::string& word : words)
        if (isCalled(check, word)) return true;
    return words.empty();
}

bool callsAny(const std::string& word) {
    for (const Check& check : allChecks())
        if (isCalled(check, word)) return true;
    return false;
}

// A check that fails while the checker could not run tells nothing about the host.
bool isOver(const Result& result) {
    return result.outcome != Outcome::Failed || result.heldUp <= longestDelay;
}

} // namespace

std::vector<const Check*> selected(const std::vector<std::string>& words, bool mustsOnly) {
    std::vector<const Check*> found;
    for (const Check& check : allChecks()) {
        if (isSelected(check, words) && (!mustsOnly || rule(check.rule).strength == Strength::Must))
            found.push_back(&check);
    }
    for (const std::string& word : words) {
        if (!callsAny(word)) throw std::invalid_argument("no check and no group is named '" + word + "'");
    }
    return found;
}

Result Runner::run(const Check& check) {
    Result result;
    result.check = &check;
    result.text = whyNot(check, bench);
    if (!result.text.empty()) {
        result.outcome = Outcome::Skipped;
        return result;
    }
    const Time began = bench.module.now();
    unsigned times = 1;
    while (!isOver(result = once(check)) && times < mostTimes) ++times;
    if (times > 1) result.notes.push_back("made " + std::to_string(times) + " times, as the checker was held up");
    result.took = bench.module.now() - began;
    return result;
}

Result Runner::once(const Check& check) {
    Result result;
    result.check = &check;
    const Time before = bench.heldUp();
    bench.notes.clear();
    judge(check, result);
    result.heldUp = bench.heldUp() - before;
    result.notes = bench.notes;
    if (result.heldUp > longestDelay) {
        const auto delay = std::to_string(result.heldUp.count() / 1000);
        result.notes.push_back("the checker itself was held up for " + delay + " ms");
    }
    return result;
}

void Runner::judge(const Check& check, Result& result) {
    make(check, result);
    if (check.destructive && !tidyUp() && result.outcome == Outcome::Passed) {
        result.outcome = Outcome::Failed;
        result.rule = heldRule;
        result.text = "the state is put back to what it was";
        result.wire = transcript.lines();
    }
}

void Runner::make(const Check& check, Result& result) {
    try {
        prepare();
        check.run(bench);
    } catch (const Failure& failure) {
        result.outcome = Outcome::Failed;
        result.rule = failure.rule;
        result.text = failure.expected;
        result.wire = transcript.lines();
    } catch (const Skip& skip) {
        result.outcome = Outcome::Skipped;
        result.text = skip.why;
    }
}

void Runner::prepare() {
    bench.module.forget();
    bench.module.send(resetPacket(bench.module.nextId()));
    bench.module.settle(bench.waits.retry, bench.waits.message);
    const bool isThere = bench.becomesUsable(bench.waits.recovery);
    if (!isThere) throw Failure{aliveRule, "the host answers a question before the check begins"};
    bench.module.settle(bench.waits.retry, bench.waits.message);
    bench.module.forget();
    transcript.clear();
}

bool Runner::tidyUp() {
    bench.module.forget();
    bench.module.send(resetPacket(bench.module.nextId()));
    bench.module.settle(bench.waits.retry, bench.waits.message);
    return bench.putBack();
}

bool Runner::leaveInOrder() {
    const bool isPutBack = tidyUp();
    bench.module.send(resetPacket(bench.module.nextId()));
    bench.module.settle(bench.waits.retry, bench.waits.message);
    return isPutBack;
}

} // namespace hostcheck
