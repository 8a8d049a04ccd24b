#include <algorithm>

#include "Bench.h"
#include "Check.h"
#include "Packets.h"
#include "Text.h"

namespace hostcheck {

namespace {

constexpr char answerGroup[] = "answers";
constexpr unsigned unusedFormats[] = {4, 5, 6, 7};

void responseForm(Bench& bench) {
    bench.requireAnswer(bench.module.send(bench.questionPacket()).answer, AcknowledgeType::Ack, 1, "a good packet");
    const ByteArray response = bench.module.lastResponse;
    bench.require((response[4] & ~0xC0) == wholeMessage && response[6] == 0 && response[7] == 0, 1,
                  "a response frame with flags A3, packet id 0 and padding 0; came: " + hex(response));
    bench.module.listen(bench.waits.quiet);
    bench.require(bench.module.strays.empty(), 1,
                  "one response frame to one packet; came: " + std::to_string(1 + bench.module.strays.size()));
}

std::string milli(Time time) {
    return inUnits(time, milliseconds(1), 2) + " ms";
}

std::vector<Time> measure(Bench& bench, unsigned samples) {
    std::vector<Time> times;
    for (unsigned i = 0; i < samples; ++i) {
        const Module::Reply reply = bench.module.send(bench.questionPacket());
        bench.requireAnswer(reply.answer, AcknowledgeType::Ack, 2, "a good packet, within its time");
        times.push_back(reply.after);
        bench.module.nextMessage(bench.waits.message);
        bench.module.inbox.clear();
    }
    std::sort(times.begin(), times.end());
    bench.notes.push_back(std::to_string(samples) + " answers: median " + milli(times[times.size() / 2]) +
                          ", 99 % within " + milli(times[times.size() * 99 / 100]) + ", longest " +
                          milli(times.back()));
    return times;
}

void responseTime(Bench& bench) {
    measure(bench, 200);
}

void responseMedian(Bench& bench) {
    const std::vector<Time> times = measure(bench, 50);
    bench.require(times[times.size() / 2] <= milliseconds(20), 3, "half of the answers within 20 ms");
}

void answerOrder(Bench& bench) {
    const ByteArray bad = headerOf(bench.module.nextId(), PKT_Last | 5, HOSTLINK_PACKET_HEADER_SIZE);
    bench.module.put(joined({bench.questionPacket(), bad, bench.questionPacket()}));
    const AcknowledgeType expected[] = {AcknowledgeType::Ack, AcknowledgeType::Nack, AcknowledgeType::Ack};
    for (const AcknowledgeType one : expected)
        bench.requireAnswer(bench.module.awaitAnswer(), one, 4, "a good packet, one of format 5, a good one, in order");
}

void responseIsNotAnswered(Bench& bench) {
    for (const auto type :
         {AcknowledgeType::Ack, AcknowledgeType::Nack, AcknowledgeType::AckNack, AcknowledgeType::None}) {
        bench.module.put(responsePacket(bench.module.nextId(), type));
    }
    bench.requireNoMessage(5, "response frames");
    bench.require(bench.module.strays.empty(), 5, "no answer to response frames");
    bench.requireUsable(5, "response frames that nobody waited for");
}

void answersWhileItWaits(Bench& bench) {
    bench.module.plan({std::nullopt});
    bench.requireAnswer(bench.module.send(bench.questionPacket()).answer, AcknowledgeType::Ack, 1, "a good packet");
    bench.require(bench.module.awaitOwn(1, bench.waits.message), 49, "the question is answered");
    bench.requireAnswer(bench.module.send(bench.questionPacket()).answer, AcknowledgeType::Ack, 6,
                        "a good packet while the host's own is not answered");
    bench.module.respond(AcknowledgeType::Ack);
}

void isTakenInTheEnd(Bench& bench) {
    for (unsigned i = 0; i < 20; ++i) {
        bench.require(bench.module.sendMessage(bench.question()), 8, "a good packet is taken within four attempts");
        bench.expectMessage(MSG_GetStateResponse, 49);
    }
}

void isTakenAtOnce(Bench& bench) {
    for (unsigned i = 0; i < 20; ++i) {
        bench.requireAnswer(bench.module.send(bench.questionPacket()).answer, AcknowledgeType::Ack, 9,
                            "the first attempt of a good packet");
        bench.expectMessage(MSG_GetStateResponse, 49);
    }
}

void irqOnSerialLine(Bench& bench) {
    bench.requireAnswer(bench.module.send(irqPacket(bench.module.nextId(), 64)).answer, AcknowledgeType::Nack, 10,
                        "an IRQ frame on a serial line");
    bench.requireNoMessage(10, "an IRQ frame");
    bench.requireUsable(10, "an IRQ frame");
}

void unknownFormats(Bench& bench) {
    for (const unsigned format : unusedFormats) {
        const ByteArray packet =
            headerOf(bench.module.nextId(), static_cast<uint8_t>(PKT_Last | format), HOSTLINK_PACKET_HEADER_SIZE);
        bench.requireAnswer(bench.module.send(packet).answer, AcknowledgeType::Nack, 10,
                            "a packet of format " + std::to_string(format));
    }
    bench.requireNoMessage(10, "packets of unknown formats");
    bench.requireUsable(10, "packets of unknown formats");
}

void uncheckedBits(Bench& bench) {
    struct Change {
        size_t at;
        unsigned char bits;
        const char* what;
    };
    const size_t size = bench.questionPacket().size();
    const Change changes[] = {{4, PKT_Ack, "with the flag \"ack\""},
                              {4, 0x18, "with bits 3 and 4 of its flags"},
                              {7, 0x55, "with another padding"},
                              {size - 1, 0xAA, "with another trailer"}};
    for (const Change& change : changes) {
        ByteArray packet = bench.questionPacket();
        packet[change.at] = static_cast<unsigned char>(packet[change.at] | change.bits);
        bench.requireAnswer(bench.module.send(packet).answer, AcknowledgeType::Ack, 11,
                            std::string("a good packet ") + change.what);
        bench.expectMessage(MSG_GetStateResponse, 11);
    }
}

} // namespace

// The rows of a table stay as they are.
// clang-format off
std::vector<Check> answerChecks() {
    return {
        {"response-form", answerGroup, Wires::All, false, 1, "Sends a good packet.", "One response frame of 8 bytes: ack.", responseForm},
        {"response-time", answerGroup, Wires::All, false, 2, "Sends 200 questions, one after the other.", "Each is acknowledged within 500 ms. Tells the distribution.", responseTime},
        {"response-median", answerGroup, Wires::All, false, 3, "Sends 50 questions.", "Half of them are acknowledged within 20 ms.", responseMedian},
        {"answer-order", answerGroup, Wires::Serial, false, 4, "Sends a good packet, one of format 5 and a good one without a pause.", "ack, nack, ack.", answerOrder},
        {"response-not-answered", answerGroup, Wires::All, false, 5, "Sends response frames of all four kinds that nobody waits for.", "Nothing comes, and the host goes on.", responseIsNotAnswered},
        {"answers-while-waiting", answerGroup, Wires::All, false, 6, "Leaves a packet of the host unanswered and sends one.", "It is acknowledged.", answersWhileItWaits},
        {"taken-in-four", answerGroup, Wires::All, false, 8, "Sends 20 questions, refused ones again after 10 ms.", "Each is taken within four attempts.", isTakenInTheEnd},
        {"taken-at-once", answerGroup, Wires::All, false, 9, "Sends 20 questions.", "Each is taken at the first attempt.", isTakenAtOnce},
        {"irq-on-serial", answerGroup, Wires::Serial, false, 10, "Sends an IRQ frame.", "nack, and the host goes on.", irqOnSerialLine},
        {"unknown-formats", answerGroup, Wires::All, false, 10, "Sends packets of the formats 4 to 7.", "nack to each, and the host goes on.", unknownFormats},
        {"unchecked-bits", answerGroup, Wires::All, false, 11, "Sends questions with the flag \"ack\", bits 3 and 4, another padding, another trailer.", "Each is taken and answered.", uncheckedBits},
    };
}
// clang-format on

} // namespace hostcheck
