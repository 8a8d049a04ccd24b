#include <algorithm>

#include "Bench.h"
#include "Check.h"
#include "Packets.h"

namespace hostcheck {

namespace {

constexpr char ownPacketGroup[] = "own packets";

void ask(Bench& bench, const ByteArray& message) {
    bench.require(bench.module.sendMessage(message), 8, "a question is taken");
}

// The packets of the host since `from` that have the bytes of the one there.
size_t timesSent(const Bench& bench, size_t from = 0) {
    const auto& own = bench.module.own;
    return static_cast<size_t>(std::count_if(own.begin() + static_cast<long>(from), own.end(),
                                             [&](const OwnPacket& one) { return one.bytes == own[from].bytes; }));
}

void requireForm(const ByteArray& packet, uint8_t frameId, unsigned packetId, bool last) {
    const std::string came = "; came: " + hex(packet);
    const auto flags = static_cast<unsigned>(FMT_Message | (last ? PKT_Last : 0));
    Bench::require(packet[4] == flags, 39, std::string("flags ") + (last ? "23" : "03") + " in an own packet" + came);
    Bench::require(packet[5] == frameId, 39, "one frame id in all packets of a message" + came);
    Bench::require(packet[6] == packetId, 39, "packet ids from 0 by one" + came);
    Bench::require(packet[7] == 0, 39, "padding 0" + came);
    Bench::require(packet[packet.size() - 1] == 0 && packet[packet.size() - 2] == 0, 39, "trailer 00 00" + came);
}

void ownForm(Bench& bench) {
    for (const size_t ids : {size_t{1}, Bench::longIds}) {
        bench.module.forget();
        ask(bench, bench.longQuestion(ids));
        const ByteArray answer = bench.expectMessage(MSG_GetStateResponse, 39);
        bench.require(answer.size() > 2 && answer[2] == ids, 39, "an answer with " + std::to_string(ids) + " items");
        const auto& own = bench.module.own;
        for (size_t i = 0; i < own.size(); ++i)
            requireForm(own[i].bytes, own[0].bytes[5], static_cast<unsigned>(i), i + 1 == own.size());
        bench.require(bench.module.takeSkipped() == 0, 39, "no byte that belongs to no packet");
    }
    bench.require(bench.module.own.size() > 1 || bench.module.own[0].bytes.size() > Module::usualPacket, 39,
                  "a long answer in several packets");
}

// How many states to ask for, so that the host puts the answer into several packets. Skips where it never does.
size_t idsForSeveral(Bench& bench) {
    for (const size_t ids : {Bench::longIds, 3 * Bench::longIds}) {
        bench.module.forget();
        ask(bench, bench.longQuestion(ids));
        const auto answer = bench.module.nextMessage(bench.waits.message);
        bench.require(answer.has_value(), 49, "the question is answered");
        if (bench.module.own.size() > 1) return ids;
    }
    throw Skip{"the host puts 120 states into one packet"};
}

// Answers the packets of a long answer as planned, the first of which has come.
size_t askForSeveral(Bench& bench, const std::vector<Answer>& plan, size_t ids) {
    bench.module.forget();
    bench.module.plan(plan);
    ask(bench, bench.longQuestion(ids));
    bench.require(bench.module.awaitOwn(1, bench.waits.message), 49, "the question is answered");
    return ids;
}

size_t askForSeveral(Bench& bench, const std::vector<Answer>& plan) {
    return askForSeveral(bench, plan, idsForSeveral(bench));
}

void oneInFlight(Bench& bench) {
    askForSeveral(bench, {std::nullopt});
    bench.module.listen(bench.waits.quiet);
    bench.require(bench.module.own.size() == 1, 40, "no further packet while one is not answered");
    bench.module.respond(AcknowledgeType::Ack);
    bench.expectMessage(MSG_GetStateResponse, 40);
}

void refusedOnce(Bench& bench) {
    bench.module.plan({AcknowledgeType::Nack});
    ask(bench, bench.question());
    bench.require(bench.module.awaitOwn(2, bench.waits.message), 41, "a refused packet comes again");
    bench.require(timesSent(bench) == 2, 41, "a refused packet comes again with the same bytes");
    bench.module.settle(bench.waits.quiet, bench.waits.message);
    bench.require(bench.module.inbox.size() == 1, 41, "one answer");
}

void refusedInTheMiddle(Bench& bench) {
    const size_t ids = askForSeveral(bench, {AcknowledgeType::Ack, AcknowledgeType::Nack});
    const ByteArray answer = bench.expectMessage(MSG_GetStateResponse, 41);
    bench.require(answer.size() > 2 && answer[2] == ids && isReadable(answer), 41,
                  "a whole answer although its second packet was refused once");
}

constexpr unsigned refusals = 12;

void refuseAlways(Bench& bench) {
    bench.module.plan(std::vector<Answer>(refusals, AcknowledgeType::Nack));
    ask(bench, bench.question());
    bench.module.settle(bench.waits.quiet, bench.waits.giveUp);
    bench.require(!bench.module.own.empty(), 49, "the question is answered");
}

void refusedAlways(Bench& bench) {
    refuseAlways(bench);
    const size_t times = timesSent(bench);
    bench.require(times == bench.module.own.size(), 41, "a refused packet comes again with the same bytes");
    bench.require(times <= Module::attempts, 41,
                  "a refused packet comes four times at most; came: " + std::to_string(times) + " times");
    bench.module.plan({});
    bench.module.settle(bench.waits.quiet, bench.waits.message);
    bench.module.forget();
    bench.requireUsable(41, "a message that was refused for good");
}

void refusedTiming(Bench& bench) {
    refuseAlways(bench);
    const auto& own = bench.module.own;
    bench.require(timesSent(bench) == Module::attempts, 42,
                  "a refused packet comes four times; came: " + std::to_string(timesSent(bench)) + " times");
    for (size_t i = 1; i < own.size(); ++i) {
        const Time gap = own[i].at - own[i - 1].at;
        bench.require(gap >= milliseconds(5) && gap <= milliseconds(100) + bench.wireTime(own[i].bytes.size()), 42,
                      "5 to 100 ms between attempts; came after " + std::to_string(gap.count()) + " us");
    }
}

void unanswered(Bench& bench) {
    bench.module.plan({std::nullopt});
    ask(bench, bench.question());
    bench.require(bench.module.awaitOwn(1, bench.waits.message), 49, "the question is answered");
    bench.module.listen(bench.waits.giveUp);
    bench.require(timesSent(bench) == 1, 43, "a packet that was not answered does not come again");
    bench.require(bench.becomesUsable(bench.waits.recovery), 43, "the host goes on within 5 s");
}

void unansweredInTheMiddle(Bench& bench) {
    askForSeveral(bench, {AcknowledgeType::Ack, std::nullopt});
    bench.require(bench.module.awaitOwn(2, bench.waits.message), 40, "the second packet");
    bench.module.listen(bench.waits.giveUp);
    bench.require(bench.module.own.size() == 2, 43, "nothing more of a message whose packet was not answered");
    bench.require(bench.becomesUsable(bench.waits.recovery), 43, "the host goes on within 5 s");
}

void answeredWith(Bench& bench, AcknowledgeType type) {
    askForSeveral(bench, {AcknowledgeType::Ack, type});
    bench.require(bench.module.awaitOwn(2, bench.waits.message), 40, "the second packet");
    bench.module.listen(bench.waits.giveUp);
    bench.require(bench.module.own.size() == 2, 44,
                  "nothing more of a message whose packet was answered with " + nameOf(type));
    bench.requireUsable(44, "a packet that was answered with " + nameOf(type));
}

void answeredWithBoth(Bench& bench) {
    answeredWith(bench, AcknowledgeType::AckNack);
}

void answeredWithNeither(Bench& bench) {
    answeredWith(bench, AcknowledgeType::None);
}

void strayAck(Bench& bench) {
    const size_t ids = idsForSeveral(bench);
    bench.module.respond(AcknowledgeType::Ack); // nothing waits for it
    bench.module.listen(bench.waits.retry);
    askForSeveral(bench, {std::nullopt}, ids);
    bench.module.listen(bench.waits.quiet);
    bench.require(bench.module.own.size() == 1, 45, "an ack that came before its packet is not taken for its answer");
    bench.module.respond(AcknowledgeType::Ack);
    bench.expectMessage(MSG_GetStateResponse, 45);
}

void lateAck(Bench& bench) {
    bench.module.plan({std::nullopt});
    ask(bench, bench.question());
    bench.require(bench.module.awaitOwn(1, bench.waits.message), 49, "the question is answered");
    bench.module.listen(bench.waits.giveUp);
    bench.module.forget();
    strayAck(bench);
}

void patient(Bench& bench) {
    askForSeveral(bench, {std::nullopt});
    bench.module.listen(milliseconds(450));
    bench.module.respond(AcknowledgeType::Ack);
    bench.expectMessage(MSG_GetStateResponse, 48);
}

void idsInARow(Bench& bench) {
    for (unsigned i = 0; i < 10; ++i) {
        ask(bench, bench.question());
        bench.expectMessage(MSG_GetStateResponse, 46);
    }
    const auto& ids = bench.module.ownFrames;
    for (size_t i = 1; i < ids.size(); ++i) {
        bench.require(ids[i] == static_cast<uint8_t>(ids[i - 1] + 1), 46,
                      "frame ids one after another; came: " + hex({ids[i - 1]}) + ", " + hex({ids[i]}));
    }
}

void spoiledId(Bench& bench) {
    askForSeveral(bench, {AcknowledgeType::Ack, std::nullopt});
    bench.require(bench.module.awaitOwn(2, bench.waits.message), 40, "the second packet");
    const uint8_t spoiled = bench.module.own[0].bytes[5];
    bench.module.listen(bench.waits.giveUp);
    for (unsigned i = 0; i < 260; ++i) {
        bench.module.forget();
        ask(bench, bench.question());
        bench.expectMessage(MSG_GetStateResponse, 49);
        bench.require(bench.module.own[0].bytes[5] != spoiled, 47,
                      "frame id " + std::to_string(spoiled) + " of a message that was given up is not used again");
    }
}

} // namespace

// The rows of a table stay as they are.
// clang-format off
std::vector<Check> ownPacketChecks() {
    const Wires all = Wires::All;
    return {
        {"own-form", ownPacketGroup, all, false, 39, "Looks at the packets of a short and of a long answer.", "Length, flags, ids, padding and trailer as in the wire format; no other byte.", ownForm},
        {"one-in-flight", ownPacketGroup, all, false, 40, "Leaves the first packet of a long answer unanswered for a while.", "The second one comes when it is acknowledged.", oneInFlight},
        {"refused-once", ownPacketGroup, all, false, 41, "Refuses a packet of the host once.", "It comes again with the same bytes.", refusedOnce},
        {"refused-in-the-middle", ownPacketGroup, all, false, 41, "Refuses the second packet of a long answer once.", "The answer arrives whole.", refusedInTheMiddle},
        {"refused-always", ownPacketGroup, all, false, 41, "Refuses a packet of the host each time.", "It comes four times at most, with the same bytes; the host goes on.", refusedAlways},
        {"refused-timing", ownPacketGroup, all, false, 42, "Refuses a packet of the host each time.", "It comes four times, 5 to 100 ms apart.", refusedTiming},
        {"unanswered", ownPacketGroup, all, false, 43, "Leaves a packet of the host unanswered.", "It does not come again; the host goes on within 5 s.", unanswered},
        {"unanswered-in-the-middle", ownPacketGroup, all, false, 43, "Leaves the second packet of a long answer unanswered.", "Nothing more of it comes; the host goes on within 5 s.", unansweredInTheMiddle},
        {"answered-with-both", ownPacketGroup, all, false, 44, "Answers the second packet of a long answer with both bits.", "Nothing more of it comes; the host goes on.", answeredWithBoth},
        {"answered-with-neither", ownPacketGroup, all, false, 44, "Answers the second packet of a long answer with neither bit.", "Nothing more of it comes; the host goes on.", answeredWithNeither},
        {"stray-ack", ownPacketGroup, all, false, 45, "Sends an ack that nobody waits for, then asks a long question and leaves its first packet unanswered.", "The second packet waits.", strayAck},
        {"late-ack", ownPacketGroup, all, false, 45, "Acknowledges a packet of the host 2 s late, then the same.", "The second packet waits.", lateAck},
        {"patient", ownPacketGroup, all, false, 48, "Acknowledges the first packet of a long answer after 450 ms.", "The rest of it comes.", patient},
        {"own-ids", ownPacketGroup, all, false, 46, "Asks ten questions.", "The answers' frame ids follow one another.", idsInARow},
        {"spoiled-id", ownPacketGroup, all, false, 47, "Lets a long answer be given up in its middle, then asks 260 questions.", "Its frame id is not used again.", spoiledId},
    };
}
// clang-format on

} // namespace hostcheck
