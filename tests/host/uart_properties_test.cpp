// Properties of the host on a serial line: any cut, any garbage, and the module's own machines at the other end.
#include <algorithm>

#include <gtest/gtest.h>

#include "ModuleOnUart.h"
#include "UartLine.h"
#include "support/Packets.h"
#include "support/Properties.h"

namespace {

using Texts = std::vector<std::string>;

ByteArray anyMessage(size_t longest) {
    return *rc::gen::nonEmpty(bytesNearMarks(longest));
}

/// Packets of all kinds, broken ones and noise.
ByteArray anyTraffic() {
    ByteArray line;
    const int pieces = *rc::gen::inRange(1, 12);
    for (int i = 0; i < pieces; ++i) {
        const auto id = *rc::gen::inRange(0U, 4U);
        switch (*rc::gen::inRange(0, 6)) {
        case 0: line = line + messageEnd(id, *rc::gen::inRange(0U, 2U), anyMessage(20)); break;
        case 1: line = line + messagePart(id, *rc::gen::inRange(0U, 3U), anyMessage(20)); break;
        case 2: line = line + responseFrame(*rc::gen::element(0x23U, 0x63U, 0xA3U, 0xE3U), id); break;
        case 3: line = line + packetOf(*rc::gen::inRange(0U, 256U), id, 0, anyMessage(20)); break;
        case 4: line = line + ByteArray{0xFF, 0xFE, 8, 0, 0x21, static_cast<unsigned char>(id), 0, 0}; break;
        default: line = line + *bytesNearMarks(30); break;
        }
    }
    return line;
}

/// Carries bytes one way in pieces of any size.
template <typename Receiver> void carry(const ByteArray& line, Receiver&& receiver) {
    for (size_t from = 0; from < line.size();) {
        const size_t to = std::min(line.size(), from + *rc::gen::inRange<size_t>(1, 40));
        receiver(slice(line, from, to));
        from = to;
    }
}

} // namespace

TEST(HostUartProperties, TheCutOfTheBytesDoesNotMatter) {
    holds("any traffic, any cut", [] {
        const ByteArray traffic = anyTraffic();
        UartLine whole({32, 64, 3, 2});
        UartLine cut({32, 64, 3, 2});
        for (UartLine* line : {&whole, &cut}) {
            line->send(patternBytes(40));
            line->transmit();
        }
        whole.receive(traffic);
        carry(traffic, [&cut](const ByteArray& piece) { cut.receive(piece); });
        for (UartLine* line : {&whole, &cut}) line->advance(line->now + 100);
        RC_ASSERT(whole.transmit() == cut.transmit(*rc::gen::inRange<uint16_t>(1, 20)));
        whole.deliver();
        cut.deliver();
        RC_ASSERT(whole.told == cut.told);
        RC_ASSERT(whole.outcomes == cut.outcomes);
    });
}

TEST(HostUartProperties, AfterAnyGarbageAndAPauseAPacketIsTaken) {
    holds("any traffic before a packet", [] {
        UartLine line({32, 64, 1, 1}, *rc::gen::inRange<uint16_t>(17, 70));
        carry(anyTraffic(), [&line](const ByteArray& piece) {
            line.receive(piece);
            line.deliver();
        });
        line.advance(line.now + 600);
        line.deliver();
        line.transmit();
        line.told.clear();
        line.receive(messageEnd(0x99, 0, {9, 9, 9, 9, 9, 9, 9}));
        RC_ASSERT(line.transmit() == hex(responseFrame(0xA3, 0x99)));
        line.deliver();
        RC_ASSERT(line.told == Texts{"09 09 09 09 09 09 09"});
    });
}

TEST(HostUartProperties, WhatEachSideSendsTheOtherHasInOrder) {
    holds("a clean line, any cut", [] {
        const auto hostPacket = *rc::gen::inRange<uint16_t>(11, 80);
        const auto modulePacket = *rc::gen::inRange(11, 80);
        UartLine host({hostPacket, 60, *rc::gen::inRange<uint8_t>(1, 4), 3}, 80);
        host.now = *rc::gen::element(0U, 0xFFFFFF00U, 0x7FFFFF00U);
        ModuleOnUart module(modulePacket);
        Texts fromHost;
        Texts fromModule;
        const int count = *rc::gen::inRange(1, 12);
        for (int i = 0; i < count; ++i) {
            const ByteArray toHost = anyMessage(60);
            module.send(toHost);
            fromModule.push_back(hex(toHost));
            const ByteArray toModule = anyMessage(60);
            if (host.send(toModule) == 0U) fromHost.push_back(hex(toModule));
        }
        for (int step = 0; step < 3000 && !(module.isAtRest() && hostLinkHostQueued(&host.host) == 0); ++step) {
            carry(module.transmit(host.now), [&host](const ByteArray& piece) { host.receive(piece); });
            if (step % 4 == 0 || *rc::gen::inRange(0, 3) == 0) host.deliver();
            const ByteArray out = host.fetch();
            RC_ASSERT(out.size() < 200U); // one packet in flight, and a few answers
            carry(out, [&](const ByteArray& piece) { module.receive(piece, host.now); });
            host.advance(host.now + 5);
        }
        host.deliver();
        RC_ASSERT(module.accepted == fromModule);
        RC_ASSERT(host.told == fromModule);
        RC_ASSERT(module.received == fromHost);
        RC_ASSERT(host.outcomes.size() == fromHost.size());
        RC_ASSERT(std::all_of(host.outcomes.begin(), host.outcomes.end(),
                              [](const std::string& text) { return text.find("sent") != std::string::npos; }));
    });
}

// What the module believes to have arrived has arrived once, whatever stood between the packets: noise makes the host
// refuse bytes, the module takes that for the answer to its packet and sends it again.
TEST(HostUartProperties, NoiseBetweenPacketsNeverDoublesAMessage) {
    holds("noise between the module's packets", [] {
        UartLine host({64, 60, 4, 1});
        ModuleOnUart module(*rc::gen::inRange(11, 60), 1); // frame 0 is heard each time
        const int count = *rc::gen::inRange(1, 8);
        for (int i = 0; i < count; ++i) {
            ByteArray message = anyMessage(40);
            message.insert(message.begin(), static_cast<unsigned char>(i)); // no two are the same
            module.send(message);
        }
        for (int step = 0; step < 4000 && !module.isAtRest(); ++step) {
            ByteArray line = module.transmit(host.now);
            if (!line.empty() && *rc::gen::inRange(0, 3) == 0)
                line = *rc::gen::element(bytes("FF FE 09 00"), bytes("FF FE 00 00"), bytes("12 FF")) + line;
            host.receive(line);
            host.deliver();
            module.receive(host.fetch(), host.now);
            host.advance(host.now + 10);
        }
        RC_ASSERT(module.isAtRest());
        Texts once = host.told;
        std::sort(once.begin(), once.end());
        RC_ASSERT(std::adjacent_find(once.begin(), once.end()) == once.end());
        for (const std::string& message : module.accepted)
            RC_ASSERT(std::count(host.told.begin(), host.told.end(), message) == 1);
    });
}
