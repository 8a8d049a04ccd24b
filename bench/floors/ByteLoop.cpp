#include "ByteLoop.h"

#include <hostlink/HostLinkNumbers.h>

uint32_t bench::scanByteByByte(const uint8_t* bytes, uint16_t count) {
    for (uint32_t i = 0; i + 1 < count; ++i) {
        if (bytes[i] == 0xFF && bytes[i + 1] == 0xFE) return i;
    }
    return HOSTLINK_NO_SOP;
}
