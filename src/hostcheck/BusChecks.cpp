#include <algorithm>

#include "Bench.h"
#include "Check.h"
#include "Packets.h"

namespace hostcheck {

namespace {

constexpr char busGroup[] = "bus";
constexpr uint32_t smallRead = HOSTLINK_IRQ_FRAME_SIZE;
constexpr Time look = milliseconds(2);

// The host has a packet: its line has fallen.
void makeItSpeak(Bench& bench) {
    bench.require(bench.module.sendMessage(bench.question()), 8, "a question is taken");
    bench.require(bench.bus->waitForEdge(bench.module.now() + bench.waits.message), 72,
                  "the line falls for the host's packet");
}

// Its packet, not yet acknowledged.
BusExchange fetch(Bench& bench, uint32_t size = BusLink::usualRead) {
    BusExchange served = bench.busLink->exchange(size);
    bench.require(!served.packet.empty(), 74, "the host's packet in answer to IRQ frames");
    return served;
}

void answer(Bench& bench, AcknowledgeType type) {
    bench.module.put(responsePacket(bench.module.nextId(), type));
}

void acknowledge(Bench& bench) {
    answer(bench, AcknowledgeType::Ack);
}

void lineHeld(Bench& bench) {
    makeItSpeak(bench);
    for (unsigned i = 0; i < 50; ++i) {
        bench.require(bench.bus->lineLow(), 72, "the line stays low until the IRQ frame comes");
        bench.bus->pause(bench.module.now() + look);
    }
    fetch(bench);
    acknowledge(bench);
}

void oneEdge(Bench& bench) {
    bench.require(bench.module.sendMessage(bench.question()), 8, "a question is taken");
    makeItSpeak(bench);
    fetch(bench);
    for (unsigned i = 0; i < 3 && bench.bus->lineLow(); ++i) bench.bus->pause(bench.module.now() + look);
    bench.require(!bench.bus->lineLow(), 73, "the line goes high when the packet has been read");
    acknowledge(bench);
    bench.require(bench.bus->waitForEdge(bench.module.now() + bench.waits.message), 73,
                  "the line falls again for the next packet");
    fetch(bench);
    acknowledge(bench);
    bench.require(!bench.bus->waitForEdge(bench.module.now() + bench.waits.quiet), 73, "no edge without a packet");
}

void announces(Bench& bench) {
    makeItSpeak(bench);
    const BusExchange served = fetch(bench, smallRead);
    acknowledge(bench);
    bench.require(served.announced == 1, 74,
                  "one announcement of a packet that does not fit; came: " + std::to_string(served.announced));
    bench.require(served.announcedSize == served.packet.size(), 74,
                  "its whole length, " + std::to_string(served.packet.size()) +
                      "; came: " + std::to_string(served.announcedSize));
    makeItSpeak(bench);
    const BusExchange fits = fetch(bench, static_cast<uint32_t>(served.packet.size()));
    acknowledge(bench);
    bench.require(fits.announced == 0, 74, "no announcement of a packet that fits");
}

void readAgain(Bench& bench) {
    const ByteArray packet = messagePacket(bench.module.nextId(), 0, true, bench.question());
    bench.requireAnswer(bench.module.send(packet).answer, AcknowledgeType::Ack, 1, "a good packet");
    const ByteArray response = bench.module.lastResponse;
    for (unsigned i = 0; i < 2; ++i)
        bench.require(bench.bus->read(HOSTLINK_RSP_FRAME_SIZE) == response, 81, "the same response in another read");
    bench.require(bench.bus->waitForEdge(bench.module.now() + bench.waits.message), 72, "the line falls");
    const BusExchange served = fetch(bench);
    const ByteArray again = bench.bus->read(BusLink::usualRead);
    const bool isSame =
        again.size() >= served.packet.size() && std::equal(served.packet.begin(), served.packet.end(), again.begin());
    acknowledge(bench);
    bench.require(isSame, 81, "the packet again, from its first byte, in another read; came: " + hex(again));
}

void idleBytes(Bench& bench) {
    makeItSpeak(bench);
    fetch(bench);
    acknowledge(bench);
    const ByteArray idle = bench.bus->read(BusLink::usualRead);
    const bool isMark = idle.size() >= sizeof(uint16_t) && hostLinkPacketGetSop(idle.data()) == HOSTLINK_SOP;
    bench.require(!isMark, 75, "bytes that are not FF FE when there is no answer; came: " + hex(idle));
}

void countReads(Bench& bench) {
    const auto before = bench.busLink->readCounts();
    for (unsigned i = 0; i < 50; ++i) bench.ask(bench.question(), MSG_GetStateResponse, 49);
    const auto& counts = bench.busLink->readCounts();
    std::string text = "answers by read, 1.5 ms apart:";
    for (size_t i = 0; i < BusLink::mostReads; ++i) text += " " + std::to_string(counts.at(i) - before.at(i));
    bench.notes.push_back(text + "; never: " + std::to_string(counts.back() - before.back()));
    bench.require(counts.back() == before.back(), 76, "every answer within four reads");
}

void inTime(Bench& bench) {
    countReads(bench);
}

void inThreeMilliseconds(Bench& bench) {
    const auto before = bench.busLink->readCounts();
    countReads(bench);
    const auto fourth = bench.busLink->readCounts().at(3) - before.at(3);
    bench.require(fourth == 0, 77, "every answer within 3 ms; later came " + std::to_string(fourth));
}

void afterNack(Bench& bench) {
    makeItSpeak(bench);
    const ByteArray first = fetch(bench).packet;
    answer(bench, AcknowledgeType::Nack);
    bench.require(bench.bus->waitForEdge(bench.module.now() + bench.waits.message), 78, "the line falls after a nack");
    const ByteArray second = fetch(bench).packet;
    acknowledge(bench);
    bench.require(first == second, 78, "the same bytes after a nack");
    bench.require(!bench.bus->waitForEdge(bench.module.now() + bench.waits.quiet), 78, "no edge after the ack");
}

void nothingToSay(Bench& bench) {
    const BusExchange served = bench.busLink->exchange(BusLink::usualRead);
    bench.require(!served.answer.empty() && hostLinkPacketGetFrameType(served.answer.data()) == FRT_Response, 79,
                  "a response frame in answer to an IRQ frame when there is nothing to say; came: " +
                      hex(served.answer));
}

void writeWhileLow(Bench& bench) {
    makeItSpeak(bench);
    const ByteArray packet = messagePacket(bench.module.nextId(), 0, true, bench.question());
    bench.requireAnswer(bench.module.send(packet).answer, AcknowledgeType::Ack, 80, "a write while the line is low");
    bench.require(bench.bus->lineLow(), 80, "the line stays low during a write");
    fetch(bench);
    acknowledge(bench);
    bench.require(bench.bus->waitForEdge(bench.module.now() + bench.waits.message), 73,
                  "the line falls for the second");
    fetch(bench);
    acknowledge(bench);
}

void badWrite(Bench& bench) {
    for (const ByteArray& bytes : {ByteArray(12, 0x55), headerOf(1, wholeMessage, 9), headerOf(1, wholeMessage, 40)}) {
        bench.requireAnswer(bench.module.send(bytes).answer, AcknowledgeType::Nack, 82,
                            "a write without a good packet");
    }
    bench.requireUsable(82, "writes without a good packet");
}

} // namespace

// The rows of a table stay as they are.
// clang-format off
std::vector<Check> busChecks() {
    const Wires bus = Wires::Bus;
    return {
        {"bus-line-held", busGroup, bus, false, 72, "Lets the host wait with its packet for 100 ms.", "The line stays low.", lineHeld},
        {"bus-one-edge", busGroup, bus, false, 73, "Fetches two packets.", "An edge for each; the line is high between them, and stays high behind them.", oneEdge},
        {"bus-announce", busGroup, bus, false, 74, "Asks for a packet with 14 bytes, and with its own length.", "One announcement of the length; none.", announces},
        {"bus-read-again", busGroup, bus, false, 81, "Reads a response and a packet several times.", "The same bytes from the first.", readAgain},
        {"bus-idle-bytes", busGroup, bus, false, 75, "Reads when there is nothing to answer.", "Bytes that do not begin with FF FE.", idleBytes},
        {"bus-in-time", busGroup, bus, false, 76, "Asks 50 questions.", "Every answer within four reads. Tells the distribution.", inTime},
        {"bus-in-3-ms", busGroup, bus, false, 77, "Asks 50 questions.", "Every answer within three reads.", inThreeMilliseconds},
        {"bus-after-nack", busGroup, bus, false, 78, "Refuses a packet.", "The line falls again, the same bytes come.", afterNack},
        {"bus-nothing-to-say", busGroup, bus, false, 79, "Sends an IRQ frame when the host has nothing.", "A response frame.", nothingToSay},
        {"bus-write-while-low", busGroup, bus, false, 80, "Sends a question while the line is low.", "ack; the line stays low; both answers come.", writeWhileLow},
        {"bus-bad-write", busGroup, bus, false, 82, "Writes bytes that are no packet.", "nack; the host goes on.", badWrite},
    };
}
// clang-format on

} // namespace hostcheck
