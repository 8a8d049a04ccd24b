#include "Bench.h"
#include "Check.h"
#include "Packets.h"

namespace hostcheck {

namespace {

constexpr char frameGroup[] = "frames";

ByteArray questionPacket(Bench& bench, uint8_t id) {
    return messagePacket(id, 0, true, bench.question());
}

void requireTaken(Bench& bench, const ByteArray& packet, unsigned rule, const std::string& what) {
    bench.requireTaken(packet, rule, what);
}

void requireRefused(Bench& bench, const ByteArray& packet, unsigned rule, const std::string& what) {
    bench.requireAnswer(bench.module.send(packet).answer, AcknowledgeType::Nack, rule, what);
}

// A long question of the bench, packet for packet.
std::vector<ByteArray> longPackets(Bench& bench, uint8_t id) {
    return cut(id, bench.longQuestion(), Module::usualPacket);
}

void repeatedPacket(Bench& bench) {
    const ByteArray packet = questionPacket(bench, bench.module.nextId());
    requireTaken(bench, packet, 1, "a good packet");
    requireTaken(bench, packet, 19, "the same packet again");
    const unsigned count = bench.countMessages(MSG_GetStateResponse);
    bench.require(count == 1, 19, "a repeated packet is carried out once; came: " + std::to_string(count) + " answers");
}

void repeatedPart(Bench& bench) {
    constexpr size_t ids = 60; // three packets
    const auto packets = cut(bench.module.nextId(), bench.longQuestion(ids), Module::usualPacket);
    for (const ByteArray& packet : packets) {
        requireTaken(bench, packet, 1, "a packet of a long message");
        if (&packet == &packets[1])
            bench.requireAnswer(bench.module.send(packet).answer, AcknowledgeType::Ack, 19, "the same packet again");
    }
    const ByteArray answer = bench.expectMessage(MSG_GetStateResponse, 19);
    bench.require(answer.size() > 2 && answer[2] == ids, 19, "an answer with 60 items");
}

void restartIsHeard(Bench& bench) {
    for (unsigned life = 0; life < 2; ++life) {
        bench.module.setNextId(0);
        requireTaken(bench, questionPacket(bench, bench.module.nextId()), 20, "packet 0 of frame 0");
        bench.expectMessage(MSG_GetStateResponse, 20);
    }
}

void sameInANewFrame(Bench& bench) {
    for (unsigned i = 0; i < 2; ++i)
        requireTaken(bench, questionPacket(bench, bench.module.nextId()), 21, "a question");
    const unsigned count = bench.countMessages(MSG_GetStateResponse);
    bench.require(count == 2, 21, "two answers to two questions; came: " + std::to_string(count));
}

void idGaps(Bench& bench) {
    for (const unsigned gap : {3U, 50U, 100U, 127U, 200U, 255U}) {
        const auto id = static_cast<uint8_t>(bench.module.nextId() + gap);
        bench.module.setNextId(static_cast<uint8_t>(id + 1));
        requireTaken(bench, questionPacket(bench, id), 22, "a frame whose id is " + std::to_string(gap) + " further");
        bench.expectMessage(MSG_GetStateResponse, 22);
    }
}

void interleaved(Bench& bench) {
    const auto one = longPackets(bench, bench.module.nextId());
    const auto two = longPackets(bench, bench.module.nextId());
    for (size_t i = 0; i < one.size(); ++i) {
        requireTaken(bench, one[i], 23, "a packet of the first of two open frames");
        requireTaken(bench, two[i], 23, "a packet of the second of two open frames");
    }
    for (unsigned i = 0; i < 2; ++i) {
        const ByteArray answer = bench.expectMessage(MSG_GetStateResponse, 23);
        bench.require(answer.size() > 2 && answer[2] == Bench::longIds, 23, "an answer with 40 items");
    }
}

void frameBegunAnew(Bench& bench) {
    const auto given = longPackets(bench, bench.module.nextId());
    requireTaken(bench, given[0], 1, "packet 0 of a frame");
    const uint8_t id = hostLinkPacketGetFrameId(given[0].data());
    requireTaken(bench, questionPacket(bench, id), 24, "packet 0 of the same frame id again");
    const ByteArray answer = bench.expectMessage(MSG_GetStateResponse, 24);
    bench.require(answer.size() > 2 && answer[2] == 1, 24, "an answer with 1 item: what was there is dropped");
    requireRefused(bench, given[1], 24, "packet 1 of the frame that was dropped");
}

void frameGivenUp(Bench& bench) {
    const uint8_t id = bench.module.nextId();
    const auto given = longPackets(bench, id);
    requireTaken(bench, given[0], 1, "packet 0 of a frame");
    const auto anew = cut(id, bench.longQuestion(30), Module::usualPacket);
    bench.require(bench.module.sendPackets(anew), 24, "a frame with the id of one that was given up is taken");
    const ByteArray answer = bench.expectMessage(MSG_GetStateResponse, 24);
    bench.require(answer.size() > 2 && answer[2] == 30, 24, "an answer with 30 items, those of the new frame alone");
}

void gapInAFrame(Bench& bench) {
    const auto packets = cut(bench.module.nextId(), bench.longQuestion(80), Module::usualPacket); // 4 packets
    requireTaken(bench, packets[0], 1, "packet 0 of a frame");
    requireRefused(bench, packets[2], 25, "packet 2 behind packet 0");
    requireRefused(bench, packets[1], 25, "packet 1 of a frame that has been dropped");
    bench.requireNoMessage(25, "a frame with a hole");
}

void packetWithoutFrame(Bench& bench) {
    requireRefused(bench, longPackets(bench, bench.module.nextId())[1], 25, "packet 1 of a frame that never began");
    bench.requireNoMessage(25, "a packet without its frame");
    bench.requireUsable(25, "a packet without its frame");
}

void framesWithoutEnd(Bench& bench) {
    for (unsigned i = 0; i < 40; ++i) bench.module.send(longPackets(bench, bench.module.nextId())[0]);
    const ByteArray answer = bench.ask(bench.longQuestion(), MSG_GetStateResponse, 26);
    bench.require(answer.size() > 2 && answer[2] == Bench::longIds, 26, "an answer with 40 items");
}

void actsAtTheEnd(Bench& bench) {
    // The first packet alone reads as a whole message, were it not for its flag.
    const uint8_t id = bench.module.nextId();
    requireTaken(bench, messagePacket(id, 0, false, bench.question()), 1, "packet 0 of a frame");
    bench.requireNoMessage(27, "a packet that is not the last");
    const ByteArray rest(2, 0);
    bench.module.send(messagePacket(id, 1, true, rest));
    bench.module.settle(bench.waits.quiet, bench.waits.message);
    bench.requireUsable(27, "it");
}

} // namespace

// The rows of a table stay as they are.
// clang-format off
std::vector<Check> frameChecks() {
    const Wires all = Wires::All;
    return {
        {"repeated-packet", frameGroup, all, false, 19, "Sends a question, and the same packet again.", "Two acks, one answer.", repeatedPacket},
        {"repeated-part", frameGroup, all, false, 19, "Sends the second packet of a long question twice.", "An ack to each, one whole answer.", repeatedPart},
        {"restart-heard", frameGroup, all, false, 20, "Begins with frame 0, twice, with the same question.", "Two answers.", restartIsHeard},
        {"same-in-new-frame", frameGroup, all, false, 21, "Asks the same in two frames.", "Two answers.", sameInANewFrame},
        {"id-gaps", frameGroup, all, false, 22, "Leaves out 3 to 255 frame ids.", "Each question is answered.", idGaps},
        {"interleaved", frameGroup, all, false, 23, "Sends two long questions packet by packet in turn.", "Both are answered whole.", interleaved},
        {"frame-begun-anew", frameGroup, all, false, 24, "Gives a frame up after its packet 0, asks with a packet 0 of the same id, and sends packet 1 of the first.", "ack, an answer to the question alone; nack.", frameBegunAnew},
        {"frame-given-up", frameGroup, all, false, 24, "Gives a frame up after its packet 0 and sends another long question with the same id.", "The answer is that to the second.", frameGivenUp},
        {"gap-in-frame", frameGroup, all, false, 25, "Sends packets 0, 2 and 1 of a frame.", "ack, nack, nack, and no answer.", gapInAFrame},
        {"packet-without-frame", frameGroup, all, false, 25, "Sends packet 1 of a frame that never began.", "nack, and no answer.", packetWithoutFrame},
        {"frames-without-end", frameGroup, all, false, 26, "Begins 40 frames, then asks a long question.", "It is answered.", framesWithoutEnd},
        {"acts-at-the-end", frameGroup, all, false, 27, "Sends a whole question in a packet that is not the last.", "No answer.", actsAtTheEnd},
    };
}
// clang-format on

} // namespace hostcheck
