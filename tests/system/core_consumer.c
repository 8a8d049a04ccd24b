/* A program in C over the function core alone. */
#include <stdio.h>

#include <hostlink/HostLinkLib.h>

int main(void) {
    const uint8_t packet[] = {0xFF, 0xFE, 0x08, 0x00, 0x00, 0x00, 0x00, 0x00};
    const uint8_t garbage[] = {0x55, 0xFF, 0xFE};
    const uint32_t result = hostLinkPacketVerify(packet, sizeof packet);
    const uint32_t start = hostLinkPacketHasSop(garbage, sizeof garbage);
    printf("verify %u, start of packet at %u\n", (unsigned)result, (unsigned)start);
    return start == 1 ? 0 : 1;
}
