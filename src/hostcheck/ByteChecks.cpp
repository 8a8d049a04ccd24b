#include "Bench.h"
#include "Check.h"
#include "Packets.h"

namespace hostcheck {

namespace {

constexpr char byteGroup[] = "bytes";
constexpr uint16_t badLengths[] = {0, 1, 2, 3, 4, 5, 6, 7, 9, 10};
constexpr unsigned char markFirst = HOSTLINK_SOP & 0xFF;
constexpr unsigned char markSecond = HOSTLINK_SOP >> 8;

ByteArray noise(Bench& bench, size_t size) {
    ByteArray bytes(size);
    for (unsigned char& byte : bytes) {
        byte = static_cast<unsigned char>(bench.random());
        if (byte == markFirst) byte = 0;
    }
    return bytes;
}

// Nothing has been answered by now.
void requireSilence(Bench& bench, unsigned rule, const std::string& after) {
    bench.requireNoMessage(rule, after);
    bench.require(bench.module.strays.empty(), rule, "no answer to " + after);
}

// A good packet behind these bytes, in one write.
void requireTakenBehind(Bench& bench, const ByteArray& bytes, unsigned rule, const std::string& what) {
    bench.requireAnswer(bench.module.send(joined({bytes, bench.questionPacket()})).answer, AcknowledgeType::Ack, rule,
                        "a good packet behind " + what);
    bench.expectMessage(MSG_GetStateResponse, rule);
}

void noiseAlone(Bench& bench) {
    bench.module.put(noise(bench, 20));
    requireSilence(bench, 12, "noise");
    bench.requireUsable(12, "noise");
}

void noiseBefore(Bench& bench) {
    for (const size_t size : {1U, 7U, 8U, 40U}) requireTakenBehind(bench, noise(bench, size), 12, "noise");
}

void noiseBehind(Bench& bench) {
    bench.requireAnswer(bench.module.send(joined({bench.questionPacket(), noise(bench, 9)})).answer,
                        AcknowledgeType::Ack, 12, "a good packet with noise behind it");
    bench.expectMessage(MSG_GetStateResponse, 12);
    requireSilence(bench, 12, "noise behind a packet");
    bench.requireUsable(12, "noise behind a packet");
}

void wrongStart(Bench& bench) {
    ByteArray packet = bench.questionPacket();
    packet[1] = markSecond ^ 0x01;
    bench.module.put(packet);
    requireSilence(bench, 12, "a packet with FF FF in place of FF FE");
    packet = bench.questionPacket();
    packet[0] = markSecond;
    bench.module.put(packet);
    requireSilence(bench, 12, "a packet with FE FE in place of FF FE");
    bench.requireUsable(12, "wrong start marks");
}

void halfMark(Bench& bench) {
    requireTakenBehind(bench, {markFirst}, 14, "FF");
    requireTakenBehind(bench, {markFirst, markFirst, markFirst}, 14, "FF FF FF");
}

void impossibleLengths(Bench& bench) {
    for (const uint16_t length : badLengths) {
        const std::string what = "a start mark with length " + std::to_string(length);
        const ByteArray header = headerOf(bench.module.nextId(), wholeMessage, length);
        bench.requireAnswer(bench.module.send(header).answer, AcknowledgeType::Nack, 13, what);
        bench.requireUsable(13, what);
        bench.require(bench.module.strays.empty(), 13, "one nack to " + what);
    }
}

void goodBehindImpossible(Bench& bench) {
    const ByteArray half{markFirst, markSecond, 5, 0};
    bench.requireAnswer(bench.module.send(joined({half, bench.questionPacket()})).answer, AcknowledgeType::Nack, 13,
                        "a start mark with length 5");
    bench.requireAnswer(bench.module.awaitAnswer(), AcknowledgeType::Ack, 13, "the good packet right behind it");
    bench.expectMessage(MSG_GetStateResponse, 13);
}

void damagedHeaders(Bench& bench) {
    for (size_t at = 0; at < 4; ++at) {
        for (unsigned turn = 0; turn < 3; ++turn) {
            ByteArray packet = bench.questionPacket();
            packet[at] = static_cast<unsigned char>(packet[at] ^ (1U << (bench.random() % 8)));
            const auto size = static_cast<uint16_t>(packet.size());
            if (hostLinkPacketVerify(packet.data(), size) == HOSTLINK_SUCCESS) continue; // a shorter packet, and good
            bench.module.put(packet);
            bench.module.listen(bench.waits.cutPause);
            bench.requireUsable(17, "a packet with header byte " + std::to_string(at) + " damaged");
            for (const AcknowledgeType stray : bench.module.strays)
                bench.require(stray == AcknowledgeType::Nack, 1, "nothing but nack in answer to a damaged packet");
            bench.module.strays.clear();
        }
    }
}

void gluedPackets(Bench& bench) {
    bench.module.put(joined({bench.questionPacket(), bench.questionPacket()}));
    for (unsigned i = 0; i < 2; ++i)
        bench.requireAnswer(bench.module.awaitAnswer(), AcknowledgeType::Ack, 15, "each of two packets in a row");
    for (unsigned i = 0; i < 2; ++i) bench.expectMessage(MSG_GetStateResponse, 15);
}

// False when the machine was held up, so that the pause was longer than it should.
bool putWithPause(Bench& bench, const ByteArray& packet, size_t at) {
    const auto middle = packet.begin() + static_cast<long>(at);
    bench.module.put(ByteArray(packet.begin(), middle));
    const Time began = bench.module.now();
    bench.module.listen(bench.waits.shortPause);
    const bool isInTime = bench.module.now() - began < bench.waits.shortPause + milliseconds(8);
    bench.module.put(ByteArray(middle, packet.end()));
    // The answer to an event stands in the middle of the packet then.
    return isInTime && bench.module.eventsAnswered == 0;
}

constexpr unsigned tries = 20;

void shortPause(Bench& bench) {
    for (const size_t at : {1U, 2U, 3U, 7U, 8U, 12U}) {
        bool isInTime = false;
        for (unsigned i = 0; i < tries && !isInTime; ++i) {
            bench.module.listen(bench.waits.cutPause);
            bench.module.forget();
            isInTime = putWithPause(bench, bench.questionPacket(), at);
            if (!isInTime) continue;
            bench.requireAnswer(bench.module.awaitAnswer(), AcknowledgeType::Ack, 16,
                                "a packet with a pause of 40 ms behind byte " + std::to_string(at));
            bench.expectMessage(MSG_GetStateResponse, 16);
        }
        if (!isInTime) throw Skip{"this machine, or the host with its events, is too busy for a pause of 40 ms"};
    }
}

void byteByByte(Bench& bench) {
    const ByteArray packet = bench.questionPacket();
    for (const unsigned char byte : packet) {
        bench.module.put({byte});
        bench.module.listen(milliseconds(2));
    }
    bench.require(bench.module.strays.size() <= 1, 1, "one answer");
    const Answer answer =
        bench.module.strays.empty() ? bench.module.awaitAnswer() : Answer(bench.module.strays.front());
    bench.requireAnswer(answer, AcknowledgeType::Ack, 16, "a packet that comes byte by byte");
    bench.expectMessage(MSG_GetStateResponse, 16);
}

// Bytes, and the pause in which the host gives them up. False when an event came in between: its answer stands behind
// them.
bool putAlone(Bench& bench, const ByteArray& bytes) {
    bench.module.forget();
    bench.module.put(bytes);
    bench.module.listen(bench.waits.cutPause);
    return bench.module.eventsAnswered == 0;
}

void cutPackets(Bench& bench) {
    const ByteArray whole = bench.questionPacket();
    for (size_t size = 1; size < whole.size(); ++size) {
        const std::string what = "a packet that stops after " + std::to_string(size) + " bytes";
        for (unsigned i = 0;
             i < tries && !putAlone(bench, ByteArray(whole.begin(), whole.begin() + static_cast<long>(size))); ++i) {
            bench.requireUsable(17, what);
        }
        const auto& strays = bench.module.strays;
        if (size > 1) {
            bench.requireAnswer(strays.empty() ? Answer() : Answer(strays.front()), AcknowledgeType::Nack, 17, what);
        }
        bench.require(strays.size() <= 1, 17, "one answer to " + what);
        bench.module.strays.clear();
        bench.requireUsable(17, what);
    }
}

void packetInACutOne(Bench& bench) {
    ByteArray header = headerOf(bench.module.nextId(), wholeMessage, 60);
    bench.module.put(joined({header, bench.questionPacket()}));
    bench.requireAnswer(bench.module.awaitAnswer(bench.waits.cutPause + bench.waits.answer), AcknowledgeType::Ack, 17,
                        "a good packet inside one that stopped");
    bench.expectMessage(MSG_GetStateResponse, 17);
}

void longestLength(Bench& bench) {
    const ByteArray header = headerOf(bench.module.nextId(), wholeMessage, UINT16_MAX);
    bench.module.put(joined({header, ByteArray(100)}));
    bench.module.listen(bench.waits.cutPause);
    const auto& strays = bench.module.strays;
    bench.requireAnswer(strays.empty() ? Answer() : Answer(strays.front()), AcknowledgeType::Nack, 18,
                        "a packet of 65535 bytes that stops after 108");
    bench.requireUsable(18, "a packet of 65535 bytes");
}

void randomBytes(Bench& bench) {
    for (unsigned turn = 0; turn < 10; ++turn) {
        ByteArray bytes(1 + bench.random() % 60);
        for (unsigned char& byte : bytes) {
            const auto dice = bench.random() % 4;
            byte = static_cast<unsigned char>(dice == 0 ? markFirst : dice == 1 ? markSecond : bench.random());
        }
        // Nothing that would be a whole packet and mean something.
        if (bytes.size() > 4) bytes[4] = 0;
        bench.module.put(bytes);
        bench.module.listen(bench.waits.cutPause);
        bench.module.strays.clear();
        bench.requireUsable(71, "random bytes");
    }
}

} // namespace

// The rows of a table stay as they are.
// clang-format off
std::vector<Check> byteChecks() {
    const Wires serial = Wires::Serial;
    return {
        {"noise-alone", byteGroup, serial, false, 12, "Sends 20 random bytes without FF.", "No answer; a good packet is taken.", noiseAlone},
        {"noise-before", byteGroup, serial, false, 12, "Sends random bytes and a good packet in one write.", "The packet is taken.", noiseBefore},
        {"noise-behind", byteGroup, serial, false, 12, "Sends a good packet and random bytes in one write.", "One ack, and nothing for the noise.", noiseBehind},
        {"wrong-start", byteGroup, serial, false, 12, "Sends packets that start with FF FF and with FE FE.", "No answer; a good packet is taken.", wrongStart},
        {"half-mark", byteGroup, serial, false, 14, "Sends FF, and FF FF FF, right before a good packet.", "The packet is taken.", halfMark},
        {"impossible-lengths", byteGroup, serial, false, 13, "Sends headers with length 0 to 7, 9 and 10.", "One nack to each; a good packet is taken after each.", impossibleLengths},
        {"good-behind-impossible", byteGroup, serial, false, 13, "Sends a start mark with length 5 and a good packet right behind.", "nack, ack.", goodBehindImpossible},
        {"damaged-headers", byteGroup, serial, false, 17, "Sends packets with a bit of start mark or length turned over.", "Nothing but nack; a good packet is taken after 250 ms.", damagedHeaders},
        {"glued-packets", byteGroup, serial, false, 15, "Sends two questions in one write.", "Two acks, two answers.", gluedPackets},
        {"short-pause", byteGroup, serial, false, 16, "Pauses for 40 ms at six places of a packet.", "The packet is taken.", shortPause},
        {"byte-by-byte", byteGroup, serial, false, 16, "Sends a packet byte by byte, 2 ms apart.", "It is taken.", byteByByte},
        {"cut-packets", byteGroup, serial, false, 17, "Cuts a packet behind each of its bytes and pauses for 250 ms.", "One nack; a good packet is taken.", cutPackets},
        {"packet-in-a-cut-one", byteGroup, serial, false, 17, "Sends the header of a packet of 60 bytes and a good packet of fewer.", "The good one is taken after the pause.", packetInACutOne},
        {"longest-length", byteGroup, serial, false, 18, "Sends the first 108 bytes of a packet of 65535.", "nack; a good packet is taken.", longestLength},
        {"random-bytes", byteGroup, serial, false, 71, "Sends random bytes rich in start marks, ten times.", "A good packet is taken each time.", randomBytes},
    };
}
// clang-format on

} // namespace hostcheck
