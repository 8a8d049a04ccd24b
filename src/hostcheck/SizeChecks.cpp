#include "Bench.h"
#include "Check.h"
#include "Packets.h"

namespace hostcheck {

namespace {

constexpr char sizeGroup[] = "sizes";
constexpr uint16_t unknownRequest = 0x001E;
constexpr uint16_t smallSizes[] = {11, 12, 13, 20, 63, 64};
constexpr size_t overhead = HOSTLINK_PACKET_HEADER_SIZE + HOSTLINK_PACKET_TRAILER_SIZE;

void requireItems(const ByteArray& answer, size_t items, unsigned rule) {
    Bench::require(answer.size() > 2 && answer[2] == items, rule, "an answer with " + std::to_string(items) + " items");
}

void smallPackets(Bench& bench) {
    for (const uint16_t size : smallSizes) {
        const size_t ids = size < 20 ? 10 : Bench::longIds;
        requireItems(bench.ask(bench.longQuestion(ids), MSG_GetStateResponse, 33, size), ids, 33);
    }
}

// One that every host answers in few bytes, however long it is.
ByteArray unknownMessage(size_t bytes) {
    constexpr size_t besidesTheValue = 8;
    return binaryMessage(unknownRequest, 1, bytes - besidesTheValue);
}

void packets256(Bench& bench) {
    constexpr uint16_t size = 256;
    bench.ask(unknownMessage(size - overhead), MSG_UnsupportedMessageResponse, 34, size);
}

// Whether a message of one packet of this size was taken. It is answered or refused, never met with silence.
bool takesPacket(Bench& bench, size_t size) {
    const ByteArray packet = messagePacket(bench.module.nextId(), 0, true, unknownMessage(size - overhead));
    const Answer answer = bench.module.send(packet, bench.waits.cutPause).answer;
    const std::string what = "a packet of " + std::to_string(size) + " bytes";
    bench.require(answer.has_value(), 18, "ack or nack in answer to " + what + "; came: nothing");
    if (answer == AcknowledgeType::Ack) bench.expectMessage(MSG_UnsupportedMessageResponse, 53);
    bench.module.settle(bench.waits.cutPause, bench.waits.message); // a host that has refused it may look at its rest
    bench.module.forget();
    bench.requireUsable(18, what);
    return answer == AcknowledgeType::Ack;
}

void largestPacket(Bench& bench) {
    size_t taken = Module::usualPacket;
    for (const size_t size : {65U, 128U, 256U, 512U, 1024U, 2048U, 4096U}) {
        if (!takesPacket(bench, size)) break;
        taken = size;
    }
    bench.notes.push_back("largest packet taken: " + std::to_string(taken) +
                          (taken == 4096 ? " bytes or more" : " bytes"));
}

void messages256(Bench& bench) {
    bench.ask(unknownMessage(256), MSG_UnsupportedMessageResponse, 35);
}

void list255(Bench& bench) {
    requireItems(bench.ask(bench.longQuestion(255), MSG_GetStateResponse, 36), 255, 36);
}

void message13k(Bench& bench) {
    const auto packets = cut(bench.module.nextId(), binaryMessage(unknownRequest, 1, 13000), Module::usualPacket);
    bool isTaken = true;
    for (size_t i = 0; i < packets.size() && isTaken; ++i) {
        Answer answer;
        for (unsigned attempt = 0; attempt < Module::attempts && answer != AcknowledgeType::Ack; ++attempt) {
            if (attempt != 0) bench.module.listen(bench.waits.retry);
            answer = bench.module.send(packets[i]).answer;
            bench.require(answer.has_value(), 37,
                          "ack or nack in answer to packet " + std::to_string(i) +
                              " of a message of 13 kB; came: nothing");
        }
        isTaken = answer == AcknowledgeType::Ack;
    }
    bench.notes.emplace_back(isTaken ? "a message of 13 kB is taken" : "a message of 13 kB is refused");
    if (isTaken) bench.expectMessage(MSG_UnsupportedMessageResponse, 53);
    bench.requireUsable(37, "a message of 13 kB");
}

void message3(Bench& bench) {
    requireItems(bench.ask(emptyMessage(MSG_GetState), MSG_GetStateResponse, 38), 0, 38);
    requireItems(bench.ask(emptyMessage(MSG_SetState), MSG_SetStateResponse, 38), 0, 38);
}

} // namespace

// The rows of a table stay as they are.
// clang-format off
std::vector<Check> sizeChecks() {
    const Wires all = Wires::All;
    return {
        {"packets-11-to-64", sizeGroup, all, false, 33, "Asks in packets of 11, 12, 13, 20, 63 and 64 bytes.", "Each is answered whole.", smallPackets},
        {"packets-256", sizeGroup, all, false, 34, "Sends a message that is unknown in one packet of 256 bytes.", "It is taken and answered.", packets256},
        {"largest-packet", sizeGroup, all, false, 18, "Sends packets of 65 to 4096 bytes until one is refused.", "Each is taken and answered, or refused; the host goes on. Tells the largest.", largestPacket},
        {"message-256", sizeGroup, all, false, 35, "Sends a message of 256 bytes that is unknown.", "It is taken and answered.", messages256},
        {"list-255", sizeGroup, all, false, 36, "Asks for 255 states.", "An answer with 255 items.", list255},
        {"message-13k", sizeGroup, all, false, 37, "Sends a message of 13 kB that is unknown.", "It is refused, or taken and answered; never silence.", message13k},
        {"message-3", sizeGroup, all, false, 38, "Sends GetState and SetState without items.", "Answers without items.", message3},
    };
}
// clang-format on

} // namespace hostcheck
