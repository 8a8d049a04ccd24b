#include "HostResponse.h"

#include "LinkLogger.h"
#include "hostlink/HostLinkLib.h"
#include "hostlink/HostLinkPacket.h"

namespace {

WriteDataResponse toWriteDataResponse(AcknowledgeType type) {
    switch (type) {
    case AcknowledgeType::Ack: return Accepted;
    case AcknowledgeType::Nack: return Rejected;
    case AcknowledgeType::AckNack: return Error;
    case AcknowledgeType::None: break;
    }
    return NoResponse;
}

} // namespace

WriteDataResponse resultOfResponse(const ByteArray& answer, const char* noAnswer) {
    if (answer.empty()) {
        LOG4CPLUS_ERROR(logger, noAnswer);
        return NoResponse;
    }
    bool valid = false;
    const int type = HostLinkPacket::frameType(answer, &valid);
    if (type != FRT_Response || !valid) {
        LOG4CPLUS_ERROR(logger, "Expected ack, got something else: " << type << " valid: " << valid);
        return NoResponse;
    }
    const AcknowledgeType ack = hostLinkFrameRspDeserialize(answer.data()); // verified above
    LOG4CPLUS_TRACE(logger, "Received: " << static_cast<int>(ack));
    return toWriteDataResponse(ack);
}
