#include "MessageLayout.h"

uint16_t hostLinkMessageId(const uint8_t* message, uint16_t count) {
    return count >= 2 ? load16le(message + messageIdAt) : uint16_t{MSG_Invalid};
}

uint8_t hostLinkIsResponseMessageId(uint16_t id) {
    return (id & responseBit) != 0 ? 1 : 0;
}

uint16_t hostLinkMessageDataLen(const HostLinkLL* buffer) {
    return static_cast<uint16_t>(buffer->used);
}
