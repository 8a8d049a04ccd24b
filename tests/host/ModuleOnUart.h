/// @file
/// The module's end of a serial line, made of the library's own machines: `UartStream` cuts, `HostLinkMsgFrame` cuts up
/// and `HostLinkFrame` puts together; between them the rules of the link and the transport.
#pragma once

#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <hostlink/HostLinkFrame.h>
#include <hostlink/HostLinkLib.h>
#include <hostlink/HostLinkMsgFrame.h>
#include <hostlink/HostLinkPacket.h>
#include <hostlink/HostLinkRspFrame.h>
#include <hostlink/machines/UartStream.h>

#include "support/Bytes.h"

class ModuleOnUart {
public:
    static constexpr uint32_t responseTimeout = 300;
    static constexpr uint32_t retryDelay = 10;
    static constexpr int attempts = 4;

    explicit ModuleOnUart(int packetSize, uint8_t firstFrameId = 0)
        : maxPacketSize(packetSize), nextFrameId(firstFrameId) {}

    /// Of those bytes that the host has sent.
    void receive(const ByteArray& content, uint32_t now) {
        stream.append(content);
        for (UartStream::Step step = stream.next(); step.event != UartStream::Event::NeedBytes; step = stream.next()) {
            if (step.event == UartStream::Event::Packet) take(step.packet, now);
            if (step.event == UartStream::Event::BadPacket) respond(AcknowledgeType::Nack);
        }
    }

    void send(const ByteArray& message) { queue.push_back(message); }

    /// What goes onto the line by now.
    ByteArray transmit(uint32_t now) {
        advance(now);
        ByteArray line = std::move(answers);
        answers.clear();
        if (queue.empty() || isWaiting || (isPausing && static_cast<int32_t>(now - readyAt) < 0)) return line;
        isPausing = false;
        if (!frame) {
            frame.emplace(queue.front(), nextFrameId++, maxPacketSize);
            packetIndex = 0;
            attempt = 0;
        }
        isWaiting = true;
        ++attempt;
        dueAt = now + responseTimeout;
        return line + frame->serializePacket(packetIndex);
    }

    bool isAtRest() const { return queue.empty() && answers.empty(); }

    std::vector<std::string> received; ///< whole messages
    std::vector<std::string> accepted; ///< messages of which every packet was acknowledged
    std::vector<std::string> failed;

private:
    void take(const ByteArray& packet, uint32_t now) {
        switch (HostLinkPacket::frameType(packet)) {
        case FRT_Response: takeResponse(hostLinkFrameRspDeserialize(packet.data()), now); break;
        case FRT_Message:
            respond(AcknowledgeType::Ack);
            gather(packet);
            break;
        default: respond(AcknowledgeType::Nack); break;
        }
    }

    void gather(const ByteArray& packet) {
        const uint8_t id = hostLinkPacketGetFrameId(packet.data());
        HostLinkFrame& part = frames[id];
        part.addPacket(packet);
        if (!part.complete()) return;
        received.push_back(hex(part.data()));
        frames.erase(id);
    }

    void respond(AcknowledgeType type) { answers = answers + HostLinkRspFrame::create(nextFrameId++, type); }

    void takeResponse(AcknowledgeType type, uint32_t now) {
        if (!isWaiting) return;
        isWaiting = false;
        if (type == AcknowledgeType::Ack) {
            attempt = 0;
            if (++packetIndex == frame->packetCount()) end(accepted);
        } else if (type == AcknowledgeType::Nack && attempt < attempts) {
            readyAt = now + retryDelay;
            isPausing = true;
        } else {
            end(failed);
        }
    }

    void advance(uint32_t now) {
        if (!isWaiting || static_cast<int32_t>(now - dueAt) < 0) return;
        isWaiting = false;
        end(failed);
    }

    void end(std::vector<std::string>& outcome) {
        outcome.push_back(hex(queue.front()));
        queue.pop_front();
        frame.reset();
    }

    const int maxPacketSize;
    UartStream stream;
    std::map<uint8_t, HostLinkFrame> frames;
    std::deque<ByteArray> queue;
    std::optional<HostLinkMsgFrame> frame;
    ByteArray answers;
    int packetIndex = 0;
    int attempt = 0;
    bool isWaiting = false;
    bool isPausing = false;
    uint32_t readyAt = 0;
    uint32_t dueAt = 0;
    uint8_t nextFrameId;
};
