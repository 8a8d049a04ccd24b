/// @file
/// The module's end of a bus, made of the library's own machines: `IrqExchange` decides about replies,
/// `HostLinkMsgFrame` cuts up and `HostLinkFrame` puts together; between them the rules of the link and the transport.
#pragma once

#include <map>
#include <string>
#include <vector>

#include <hostlink/HostLinkFrame.h>
#include <hostlink/HostLinkIrqFrame.h>
#include <hostlink/HostLinkLib.h>
#include <hostlink/HostLinkMsgFrame.h>
#include <hostlink/HostLinkPacket.h>
#include <hostlink/HostLinkRspFrame.h>
#include <hostlink/machines/IrqExchange.h>

#include "support/Bytes.h"

/// The bus as the module's serial library offers it.
class MasterPort {
public:
    virtual ~MasterPort() = default;
    virtual void write(const ByteArray& bytes) = 0;
    virtual ByteArray read(size_t count) = 0;
    virtual ByteArray writeRead(const ByteArray& bytes, size_t count) = 0;
    /// Passes the time between two reads, or before a repetition.
    virtual void sleep() = 0;
};

class ModuleOnBus {
public:
    ModuleOnBus(MasterPort& master, int packetSize) : port(master), maxPacketSize(packetSize) {}

    /// Sends one message; whether every packet was acknowledged.
    bool send(const ByteArray& message) {
        HostLinkMsgFrame frame(message, nextFrameId++, maxPacketSize);
        for (int i = 0; i < frame.packetCount(); ++i)
            if (!sendPacket(frame.serializePacket(i))) return false;
        return true;
    }

    /// Serves one falling edge; how many IRQ frames it took.
    int serve() {
        int rounds = 0;
        for (int size = 64; size > 0 && rounds < 64; ++rounds) size = exchange(size);
        return rounds;
    }

    std::vector<std::string> received; ///< whole messages
    int reported = 0;                  ///< replies to IRQ frames that were none of the good ones

private:
    bool sendPacket(const ByteArray& packet) {
        for (int attempt = 1; attempt <= 4; ++attempt) {
            const ByteArray response = transfer(packet, 8);
            if (!HostLinkPacket::verify(response) || HostLinkPacket::frameType(response) != FRT_Response) return false;
            const AcknowledgeType type = hostLinkFrameRspDeserialize(response.data());
            if (type == AcknowledgeType::Ack) return true;
            if (type != AcknowledgeType::Nack) return false;
            port.sleep();
        }
        return false;
    }

    // How many bytes to ask for next; 0: the exchange is over.
    int exchange(int size) {
        const ByteArray irq = HostLinkIrqFrame::create(nextFrameId++, static_cast<unsigned>(size));
        const ByteArray reply = transfer(irq, static_cast<size_t>(size));
        const IrqExchange::Decision decision = machine.decide(reply);
        switch (decision.verdict) {
        case IrqExchange::Verdict::Announcement: return decision.value;
        case IrqExchange::Verdict::Retry: return size;
        case IrqExchange::Verdict::Message:
            respond(AcknowledgeType::Ack);
            gather(reply);
            return 0;
        case IrqExchange::Verdict::Invalid: respond(AcknowledgeType::Nack); break;
        default: break;
        }
        ++reported;
        return 0;
    }

    ByteArray transfer(const ByteArray& packet, size_t count) {
        ByteArray result = port.writeRead(packet, count);
        for (int again = 0; again < 3 && hostLinkPacketHasSop(result.data(), 2) != 0; ++again) {
            port.sleep();
            result = port.read(count);
        }
        return result;
    }

    void respond(AcknowledgeType type) { port.write(HostLinkRspFrame::create(nextFrameId++, type)); }

    void gather(const ByteArray& reply) {
        const uint8_t id = hostLinkPacketGetFrameId(reply.data());
        HostLinkFrame& part = frames[id];
        part.addPacket(slice(reply, 0, hostLinkPacketGetLength(reply.data())));
        if (!part.complete()) return;
        received.push_back(hex(part.data()));
        frames.erase(id);
    }

    MasterPort& port;
    const int maxPacketSize;
    IrqExchange machine;
    std::map<uint8_t, HostLinkFrame> frames;
    uint8_t nextFrameId = 0;
};
