#include "hostlink/HostLinkMessage.h"

MessageId HostLinkMessage::messageId(const ByteArray& message) {
    return static_cast<MessageId>(hostLinkMessageId(message.data(), static_cast<uint16_t>(message.size())));
}

bool HostLinkMessage::isResponseMessageId(MessageId id) {
    return hostLinkIsResponseMessageId(id) != 0;
}
