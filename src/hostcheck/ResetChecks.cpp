#include "Bench.h"
#include "Check.h"
#include "Packets.h"

namespace hostcheck {

namespace {

constexpr char resetGroup[] = "reset";

void requireReset(Bench& bench, const std::string& when) {
    bench.requireAnswer(bench.module.send(resetPacket(bench.module.nextId())).answer, AcknowledgeType::Ack, 28,
                        "a reset frame " + when);
}

// The host has an own packet in flight that nobody answers, and more questions to answer.
void leaveUnanswered(Bench& bench, unsigned questions) {
    bench.module.plan({std::nullopt});
    for (unsigned i = 0; i < questions; ++i)
        bench.require(bench.module.sendMessage(bench.question()), 8, "a question is taken");
    bench.require(bench.module.awaitOwn(1, bench.waits.message), 49, "the question is answered");
}

void resetIdle(Bench& bench) {
    requireReset(bench, "while nothing is under way");
    requireReset(bench, "right after another one");
    bench.requireNoMessage(28, "a reset frame");
    bench.requireUsable(28, "a reset");
}

void resetInAFrame(Bench& bench) {
    const auto packets = cut(bench.module.nextId(), bench.longQuestion(), Module::usualPacket);
    bench.requireTaken(packets[0], 1, "packet 0 of a frame");
    requireReset(bench, "within a frame");
    bench.requireAnswer(bench.module.send(packets[1]).answer, AcknowledgeType::Nack, 29,
                        "packet 1 of a frame that a reset has dropped");
    bench.requireNoMessage(29, "a frame that a reset has dropped");
}

void resetBehindACutPacket(Bench& bench) {
    bench.module.put(headerOf(bench.module.nextId(), wholeMessage, 40));
    bench.module.listen(bench.waits.cutPause);
    requireReset(bench, "behind a packet that stopped");
    bench.requireUsable(28, "a reset");
}

void resetInFlight(Bench& bench) {
    leaveUnanswered(bench, 1);
    requireReset(bench, "while the host waits for an answer");
    bench.module.listen(bench.waits.giveUp);
    bench.require(bench.module.own.size() == 1, 30, "nothing more of a message in flight that a reset has dropped");
    bench.requireUsable(28, "a reset");
}

void resetDropsQueue(Bench& bench) {
    leaveUnanswered(bench, 3);
    requireReset(bench, "while the host has messages to send");
    bench.module.listen(bench.waits.giveUp);
    bench.require(bench.module.own.size() == 1, 30, "no message that waited when the reset came");
    bench.requireUsable(28, "a reset");
}

void resetAfterNack(Bench& bench) {
    bench.module.plan({AcknowledgeType::Nack});
    bench.require(bench.module.sendMessage(bench.question()), 8, "a question is taken");
    bench.require(bench.module.awaitOwn(1, bench.waits.message), 49, "the question is answered");
    const size_t before = bench.module.own.size();
    requireReset(bench, "while the host waits to send a refused packet again");
    // One may have gone out before the reset was there.
    const size_t crossed = bench.module.own.size() - before;
    bench.module.listen(bench.waits.quiet);
    bench.require(bench.module.own.size() <= before + crossed, 30, "a refused packet is not sent again after a reset");
    bench.requireUsable(28, "a reset");
}

void resetDropsSubscriptions(Bench& bench) {
    const ByteArray held = bench.willChange();
    bench.ask(listMessage(MSG_SubscribeState, {bench.setup.state}), MSG_SubscribeStateResponse, 56);
    requireReset(bench, "while something is subscribed to");
    bench.ask(Bench::setMessage({Bench::changed(held, 1)}), MSG_SetStateResponse, 49);
    const unsigned told = bench.countMessages(MSG_StateChanged);
    bench.require(told == 0, 31, "no StateChanged after a reset; came: " + std::to_string(told));
}

} // namespace

// The rows of a table stay as they are.
// clang-format off
std::vector<Check> resetChecks() {
    const Wires all = Wires::All;
    return {
        {"reset-idle", resetGroup, all, false, 28, "Sends two reset frames.", "ack to each; the host goes on.", resetIdle},
        {"reset-in-frame", resetGroup, all, false, 29, "Sends packet 0 of a frame, a reset, packet 1.", "ack, ack, nack; no answer.", resetInAFrame},
        {"reset-behind-cut-packet", resetGroup, Wires::Serial, false, 28, "Sends half a packet, pauses for 250 ms, sends a reset frame.", "It is acknowledged.", resetBehindACutPacket},
        {"reset-in-flight", resetGroup, all, false, 30, "Leaves a packet of the host unanswered and resets.", "ack; the packet does not come again.", resetInFlight},
        {"reset-drops-queue", resetGroup, all, false, 30, "Asks three times, leaves the first answer unacknowledged and resets.", "ack; no answer comes any more.", resetDropsQueue},
        {"reset-after-nack", resetGroup, all, false, 30, "Refuses a packet of the host and resets.", "ack; the packet does not come again.", resetAfterNack},
        {"reset-drops-subscriptions", resetGroup, all, true, 31, "Subscribes, resets, changes the state.", "The change is not told.", resetDropsSubscriptions},
    };
}
// clang-format on

} // namespace hostcheck
