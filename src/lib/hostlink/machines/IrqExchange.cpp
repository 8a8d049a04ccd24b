#include "IrqExchange.h"

#include "hostlink/HostLinkIrqFrame.h"
#include "hostlink/HostLinkPacket.h"
#include "hostlink/HostLinkRspFrame.h"

IrqExchange::Decision IrqExchange::decide(const ByteArray& reply) {
    if (!HostLinkPacket::verify(reply)) return {Verdict::Invalid, 0, nackRetried};
    const int type = HostLinkPacket::frameType(reply);
    bool ok = false;
    switch (type) {
    case FRT_Irq:
        nackRetried = false;
        return {Verdict::Announcement, static_cast<int>(HostLinkIrqFrame::parse(reply, &ok)), false};
    case FRT_Message: nackRetried = false; return {Verdict::Message, 0, false};
    case FRT_Response: return decideResponse(reply);
    default: return {Verdict::Unsupported, type, nackRetried};
    }
}

IrqExchange::Decision IrqExchange::decideResponse(const ByteArray& reply) {
    bool ok = false;
    const AcknowledgeType ack = HostLinkRspFrame::parse(reply, &ok);
    if (ack != AcknowledgeType::Nack || nackRetried) return {Verdict::Reported, static_cast<int>(ack), nackRetried};
    nackRetried = true;
    return {Verdict::Retry, 0, true};
}
