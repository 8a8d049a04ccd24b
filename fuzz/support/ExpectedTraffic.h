/// @file
/// What a transport delivers and sends, as plain arrays.
#pragma once

#include <chrono>
#include <map>
#include <vector>

#include <hostlink/HostLinkPhysicalLayer.h>

#include "WireReference.h"

/// Messages that come of packets, in order.
struct ExpectedMessages {
    /// `packet` may be anything.
    void take(const ByteArray& packet) {
        if (reference::packetCode(packet) != 0) return;
        const reference::Packet parts(packet);
        if (!parts.isMessage()) return;
        ByteArray& frame = open[parts.frameId];
        frame = frame + parts.payload;
        if (!parts.isLast()) return;
        messages.push_back(frame);
        open.erase(parts.frameId);
    }

    std::map<unsigned, ByteArray> open; // frames that are not complete, by id
    std::vector<ByteArray> messages;
};

/// One message that is sent: what goes onto the link when `result`, asked once for each packet written, says how the
/// host answers.
struct ExpectedSending {
    template <typename Results>
    ExpectedSending(const ByteArray& message, size_t room, unsigned frameId, Results result) {
        for (const ByteArray& packet : reference::packetsOf(message, room, frameId)) {
            if (success) success = sent(packet, result);
        }
    }

    std::vector<ByteArray> written;
    bool success = true;
    std::chrono::milliseconds waited{0};

private:
    template <typename Results> bool sent(const ByteArray& packet, Results& result) {
        for (int attempt = 1; attempt <= 4; ++attempt) {
            written.push_back(packet);
            const WriteDataResponse response = result(packet);
            if (response != Rejected) return response == Accepted;
            if (attempt < 4) waited += std::chrono::milliseconds(10);
        }
        return false;
    }
};
