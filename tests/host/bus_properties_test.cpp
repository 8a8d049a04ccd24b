// Properties of the host on a bus: any transactions, and the module's own machines as master.
#include <algorithm>

#include <gtest/gtest.h>

#include "BusLine.h"
#include "ModuleOnBus.h"
#include "support/Packets.h"
#include "support/Properties.h"

namespace {

using Texts = std::vector<std::string>;

constexpr unsigned char idle = HOSTLINK_HOST_IDLE_BYTE;

ByteArray anyMessage(size_t longest) {
    return *rc::gen::nonEmpty(bytesNearMarks(longest));
}

/// Whole phases.
class PhasePort : public MasterPort {
public:
    explicit PhasePort(BusLine& device) : host(device) {}
    void write(const ByteArray& content) override { host.write(content); }
    ByteArray read(size_t count) override { return host.readBytes(static_cast<uint32_t>(count)); }
    ByteArray writeRead(const ByteArray& content, size_t count) override {
        host.write(content);
        return read(count);
    }
    void sleep() override { host.advance(host.now + 10); }

protected:
    BusLine& host;
};

/// I2C, byte by byte, with a repeated start.
class I2cPort : public PhasePort {
public:
    using PhasePort::PhasePort;
    void write(const ByteArray& content) override {
        begin(content);
        hostLinkHostBusStops(&host.bus, host.now);
        host.look();
    }
    ByteArray read(size_t count) override {
        hostLinkHostBusReadBegins(&host.bus, host.now);
        ByteArray data(count);
        host.look();
        for (unsigned char& byte : data) byte = hostLinkHostBusByteRequested(&host.bus);
        hostLinkHostBusStops(&host.bus, host.now);
        host.look();
        return data;
    }
    ByteArray writeRead(const ByteArray& content, size_t count) override {
        begin(content);
        return read(count);
    }

private:
    void begin(const ByteArray& content) {
        hostLinkHostBusWriteBegins(&host.bus, host.now);
        for (const unsigned char byte : content) hostLinkHostBusByteReceived(&host.bus, byte);
    }
};

/// SPI: bytes go both ways at once, zeros while the module reads.
class SpiPort : public PhasePort {
public:
    using PhasePort::PhasePort;
    void write(const ByteArray& content) override { writeRead(content, 0); }
    ByteArray read(size_t count) override { return writeRead({}, count); }
    ByteArray writeRead(const ByteArray& content, size_t count) override {
        ByteArray out = content;
        out.resize(content.size() + count, 0);
        ByteArray in;
        unsigned char next = hostLinkHostBusSelected(&host.bus);
        for (const unsigned char byte : out) {
            in.push_back(next);
            next = hostLinkHostBusExchanged(&host.bus, byte);
        }
        hostLinkHostBusDeselected(&host.bus, host.now);
        host.look();
        return slice(in, content.size(), in.size());
    }
};

template <typename Port> void holdsConversation() {
    BusLine host({*rc::gen::inRange<uint16_t>(11, 200), 60, *rc::gen::inRange<uint8_t>(1, 4), 3}, 80);
    host.now = *rc::gen::element(0U, 0xFFFFFF00U, 0x7FFFFF00U);
    Port port(host);
    ModuleOnBus module(port, *rc::gen::inRange(11, 80));
    Texts fromHost;
    Texts fromModule;
    bool edge = false;
    const auto serveEdge = [&] {
        edge = host.takeEdge() || edge;
        if (!edge || !host.isLow()) return false;
        host.takeEdge();
        edge = false;
        RC_ASSERT(module.serve() <= 2);
        return true;
    };
    for (int step = *rc::gen::inRange(10, 60); step > 0; --step) {
        if (*rc::gen::inRange(0, 3) == 0) {
            const ByteArray message = anyMessage(60);
            if (host.send(message) == 0U) fromHost.push_back(hex(message));
        }
        if (*rc::gen::inRange(0, 3) == 0) {
            const ByteArray message = anyMessage(60);
            if (module.send(message)) fromModule.push_back(hex(message));
            host.deliver();
        }
        host.look();
        serveEdge();
        host.advance(host.now + 1);
    }
    // One edge for each packet, until there is none left.
    for (int turns = 0; host.isLow() || host.wait() != HOSTLINK_HOST_NEVER; ++turns) {
        RC_ASSERT(turns < 100000);
        if (!serveEdge()) host.advance(host.now + 1);
    }
    host.deliver();
    RC_ASSERT(host.told == fromModule);
    RC_ASSERT(module.received == fromHost);
    RC_ASSERT(module.reported == 0);
}

} // namespace

TEST(HostBusProperties, WhatEachSideSendsTheOtherHasInOrder) {
    holds("whole phases", holdsConversation<PhasePort>);
    holds("I2C, byte by byte", holdsConversation<I2cPort>);
    holds("SPI, byte by byte", holdsConversation<SpiPort>);
}

TEST(HostBusProperties, AReadIsAnAnswerFromItsBeginningOrIdle) {
    holds("any writes and reads", [] {
        BusLine host({32, 64, 2, 2}, *rc::gen::inRange<uint16_t>(14, 70));
        for (int step = *rc::gen::inRange(1, 40); step > 0; --step) {
            switch (*rc::gen::inRange(0, 5)) {
            case 0: host.write(*bytesNearMarks(80)); break;
            case 1:
                host.write(messageEnd(*rc::gen::inRange(0U, 256U), *rc::gen::inRange(0U, 2U), anyMessage(40)));
                break;
            case 2: host.write(packetOf(0x22, 1, 0, {*rc::gen::arbitrary<unsigned char>(), 0, 0, 0})); break;
            case 3: host.send(anyMessage(64)); break;
            default: host.advance(host.now + *rc::gen::inRange(0U, 1200U)); break;
            }
            host.isLow();
            const auto count = *rc::gen::inRange<uint32_t>(0, 80);
            const ByteArray data = host.readBytes(count);
            RC_ASSERT(data.size() == count);
            const bool isIdle = std::all_of(data.begin(), data.end(), [](unsigned char byte) { return byte == idle; });
            const bool isAnswer = count >= 2 && data[0] == 0xFF && data[1] == 0xFE;
            RC_ASSERT(isIdle || isAnswer);
            host.deliver();
        }
    });
}

TEST(HostBusProperties, AfterAnyTransactionsAPacketIsTaken) {
    holds("any bytes in any order of calls", [] {
        BusLine host({32, 64, 1, 1}, 40);
        for (const unsigned char byte : *bytesNearMarks(60)) {
            switch (*rc::gen::inRange(0, 12)) {
            case 0: hostLinkHostBusWriteBegins(&host.bus, host.now); break;
            case 1: hostLinkHostBusReadBegins(&host.bus, host.now); break;
            case 2: hostLinkHostBusStops(&host.bus, host.now); break;
            case 3: hostLinkHostBusSelected(&host.bus); break;
            case 4: hostLinkHostBusDeselected(&host.bus, host.now); break;
            case 5: hostLinkHostBusByteRequested(&host.bus); break;
            case 6: host.write(*bytesNearMarks(20)); break;
            default: hostLinkHostBusByteReceived(&host.bus, byte); break;
            }
            host.deliver();
        }
        host.advance(host.now + 600);
        host.write(messageEnd(0x99, 0, {9, 9, 9}));
        RC_ASSERT(host.read(8) == hex(responseFrame(0xA3, 0x99)));
    });
}
