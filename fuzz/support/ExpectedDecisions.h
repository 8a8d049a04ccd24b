/// @file
/// What the replies of a host mean to the bus link, as a list of cases.
#pragma once

#include <hostlink/machines/IrqExchange.h>

#include "Replies.h"
#include "WireReference.h"

/// `refused` is all there is to remember.
class ExpectedDecisions {
public:
    using Verdict = IrqExchange::Verdict;

    IrqExchange::Decision of(const ByteArray& reply) {
        if (reference::packetCode(reply) != 0) return {Verdict::Invalid, 0, refused};
        const reference::Packet packet(reply);
        if (packet.isResponse()) return ofResponse(packet.acknowledgement());
        if (packet.format() != 2 && !packet.isMessage())
            return {Verdict::Unsupported, static_cast<int>(packet.format()), refused};
        refused = false;
        if (packet.isMessage()) return {Verdict::Message, 0, false};
        return {Verdict::Announcement, static_cast<int>(irqValue(reply)), false};
    }

private:
    IrqExchange::Decision ofResponse(unsigned acknowledgement) {
        if (acknowledgement == 1 && !refused) {
            refused = true;
            return {Verdict::Retry, 0, true};
        }
        return {Verdict::Reported, static_cast<int>(acknowledgement), refused};
    }

    bool refused = false;
};
