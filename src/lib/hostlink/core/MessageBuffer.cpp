#include <string.h>

#include "MessageLayout.h"

uint16_t hostLinkLLSpaceAvailable(const HostLinkLL* buffer) {
    return spaceIn(buffer);
}

void hostLinkLLAddData(HostLinkLL* buffer, const uint8_t* source, uint16_t length) {
    if (length == 0 || buffer->capacity < buffer->used || buffer->capacity - buffer->used < length) return;
    memcpy(buffer->data + buffer->used, source, length);
    buffer->used += length;
}

uint8_t* hostLinkLLGetCountPtr(const HostLinkLL* buffer) {
    return countOf(buffer);
}

uint32_t hostLinkLLIsInitialized(const HostLinkLL* buffer) {
    return isInitialized(buffer) ? HOSTLINK_SUCCESS : HOSTLINK_NOT_INITIALIZED;
}

uint16_t hostLinkLLMsgSize(const HostLinkLL* buffer) {
    return static_cast<uint16_t>(buffer->used);
}

void hostLinkLLCpy(const HostLinkLL* buffer, uint8_t* destination, uint16_t offset, uint16_t length) {
    if (offset >= buffer->capacity) return;
    const uint32_t held = buffer->capacity - offset;
    const uint32_t count = length < held ? length : held;
    if (count != 0) memcpy(destination, buffer->data + offset, count);
}

void hostLinkLLGetData(const HostLinkLL* buffer, uint16_t length, uint16_t offset, HostLinkBin16* view) {
    view->first = buffer->data + offset;
    view->firstLength = length;
    view->second = nullptr;
    view->secondLength = 0;
}
