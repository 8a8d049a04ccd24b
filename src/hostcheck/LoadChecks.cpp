#include <algorithm>

#include "Bench.h"
#include "Check.h"
#include "Packets.h"

namespace hostcheck {

namespace {

constexpr char loadGroup[] = "load";
constexpr uint16_t firstNumber = 0xF000; // of states that nobody knows
constexpr unsigned numbers = 0x0F00;
constexpr unsigned mostOutstanding = 3;

// Questions whose answers tell them apart, several at a time.
class Traffic {
public:
    explicit Traffic(Bench& theBench) : bench(theBench) {}

    void run(Time span) {
        const Time end = bench.module.now() + span;
        while (bench.module.now() < end) {
            ask();
            while (asked - answered >= mostOutstanding) takeAnswer();
        }
        while (answered < asked) takeAnswer();
        bench.requireNoMessage(70, "the last answer");
        bench.notes.push_back(std::to_string(answered) + " questions answered in order");
    }

private:
    uint16_t number(unsigned i) const { return static_cast<uint16_t>(firstNumber + i % numbers); }

    void ask() {
        std::vector<uint16_t> ids{number(asked)};
        ids.resize(1 + asked % 30, bench.setup.state); // of one packet and of two
        bench.require(bench.module.sendMessage(listMessage(MSG_GetState, ids)), 70,
                      "question " + std::to_string(asked) + " is taken");
        ++asked;
    }

    void takeAnswer() {
        const ByteArray answer = bench.expectMessage(MSG_GetStateResponse, 70);
        const auto items = rawItems(answer);
        bench.require(items.size() == 1 + answered % 30, 70, "a whole answer to question " + std::to_string(answered));
        const uint16_t came = static_cast<uint16_t>(items[0][0] | items[0][1] << 8);
        bench.require(came == number(answered), 70,
                      "the answer to question " + std::to_string(answered) + "; came: that to number " +
                          std::to_string(came - firstNumber));
        ++answered;
        bench.module.own.clear();
    }

    Bench& bench;
    unsigned asked = 0;
    unsigned answered = 0;
};

void bothDirections(Bench& bench) {
    Traffic(bench).run(bench.setup.loadTime);
}

void recovers(Bench& bench) {
    Time longest{0};
    for (unsigned turn = 0; turn < 8; ++turn) {
        const auto packets = cut(bench.module.nextId(), bench.longQuestion(), Module::usualPacket);
        const bool isUnanswered = bench.random() % 2 == 0;
        if (isUnanswered) bench.module.plan({std::nullopt});
        if (bench.random() % 2 == 0) bench.module.send(bench.random() % 2 == 0 ? packets[0] : packets[1]);
        bench.module.send(messagePacket(bench.module.nextId(), 0, true, bench.question()));
        if (isUnanswered) bench.module.awaitOwn(1, bench.waits.message);
        const Time began = bench.module.now();
        bench.require(bench.becomesUsable(bench.waits.recovery), 71, "a question is answered within 5 s");
        longest = std::max(longest, bench.module.now() - began);
        bench.module.settle(bench.waits.retry, bench.waits.message);
        bench.module.forget();
    }
    bench.notes.push_back("usable again within " + std::to_string(longest.count() / 1000) + " ms");
}

} // namespace

// The rows of a table stay as they are.
// clang-format off
std::vector<Check> loadChecks() {
    return {
        {"both-directions", loadGroup, Wires::All, false, 70, "Asks without waiting for answers, up to three at a time, for a minute (--load-time).", "Each question is answered once, in order.", bothDirections},
        {"recovery", loadGroup, Wires::All, false, 71, "Leaves frames and packets of the host in the lurch, eight times.", "A question is answered within 5 s each time.", recovers},
    };
}
// clang-format on

} // namespace hostcheck
