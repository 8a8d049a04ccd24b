/* The host's engine, used from C99 with static storage; the C++ side of the test runs the functions. */
#include "c99_host_test.h"

#include <string.h>

#include <host/HostLinkHostBus.h>
#include <host/HostLinkHostUart.h>

static const uint8_t request[13] = {0xFF, 0xFE, 0x0D, 0x00, 0x23, 0x11, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x00};
static const uint8_t answer[3] = {0x02, 0x80, 0x00};
static const uint8_t answerPacket[13] = {0xFF, 0xFE, 0x0D, 0x00, 0x23, 0x00, 0x00, 0x00, 0x02, 0x80, 0x00, 0x00, 0x00};
static const uint8_t ack[8] = {0xFF, 0xFE, 0x08, 0x00, 0xA3, 0x11, 0x00, 0x00};
static const uint8_t irq64[14] = {0xFF, 0xFE, 0x0E, 0x00, 0x22, 0x12, 0x00, 0x00, 0x40, 0x00, 0x00, 0x00, 0x00, 0x00};

static HOSTLINK_HOST_STORAGE(64, 256, 2, 4) storage;
static HostLinkHost host;
static HostLinkHostOutcome lastOutcome;

static void onMessage(void* context, const uint8_t* message, uint32_t length) {
    if (length == 3 && message[0] == 2) hostLinkHostSend((HostLinkHost*)context, answer, sizeof answer, NULL);
}

static void onOutcome(void* context, uint32_t ticket, HostLinkHostOutcome outcome) {
    (void)context;
    if (ticket == 1) lastOutcome = outcome;
}

static uint32_t startHost(void) {
    HostLinkHostSetup setup;
    hostLinkHostDefaults(&setup);
    HOSTLINK_HOST_USE_STORAGE(&setup, storage);
    setup.events.context = &host;
    setup.events.message = onMessage;
    setup.events.outcome = onOutcome;
    lastOutcome = OUT_Reset;
    return hostLinkHostInit(&host, &setup);
}

const char* c99HoldsAConversationOnASerialLine(void) {
    HostLinkHostUart uart;
    HostLinkHostUartSetup line;
    uint8_t out[64];
    if (startHost() != HOSTLINK_SUCCESS) return "the host did not start";
    hostLinkHostUartDefaults(&line);
    line.received = storage.received;
    line.receivedSize = sizeof storage.received;
    if (hostLinkHostUartInit(&uart, &host, &line) != HOSTLINK_SUCCESS) return "the line did not start";
    hostLinkHostUartReceive(&uart, request, sizeof request, 0);
    while (hostLinkHostDeliver(&host) != 0) continue;
    if (hostLinkHostUartTransmit(&uart, out, sizeof out, 0) != 21) return "not an ack and an answer";
    if (memcmp(out, ack, sizeof ack) != 0) return "the ack differs";
    if (memcmp(out + sizeof ack, answerPacket, sizeof answerPacket) != 0) return "the answer differs";
    hostLinkHostUartReceive(&uart, ack, sizeof ack, 1);
    if (lastOutcome != OUT_Sent) return "the answer was not sent";
    hostLinkHostUartAdvance(&uart, 2);
    if (hostLinkHostUartWait(&uart, 2) != HOSTLINK_HOST_NEVER) return "there is something to wait for";
    return NULL;
}

const char* c99HoldsAConversationOnABus(void) {
    HostLinkHostBus bus;
    HostLinkHostBusSetup device;
    uint8_t in[64];
    if (startHost() != HOSTLINK_SUCCESS) return "the host did not start";
    hostLinkHostBusDefaults(&device);
    device.received = storage.received;
    device.receivedSize = sizeof storage.received;
    if (hostLinkHostBusInit(&bus, &host, &device) != HOSTLINK_SUCCESS) return "the bus did not start";
    hostLinkHostBusWrite(&bus, request, sizeof request, 0);
    hostLinkHostBusRead(&bus, in, sizeof ack, 0);
    if (memcmp(in, ack, sizeof ack) != 0) return "the ack differs";
    if (hostLinkHostBusLine(&bus, 0) != 0) return "the line asks before there is an answer";
    while (hostLinkHostDeliver(&host) != 0) continue;
    if (hostLinkHostBusLine(&bus, 0) != 1) return "the line does not ask";
    hostLinkHostBusWrite(&bus, irq64, sizeof irq64, 1);
    hostLinkHostBusRead(&bus, in, sizeof in, 1);
    if (memcmp(in, answerPacket, sizeof answerPacket) != 0) return "the answer differs";
    if (in[63] != HOSTLINK_HOST_IDLE_BYTE) return "the bus is not idle behind it";
    hostLinkHostBusWrite(&bus, ack, sizeof ack, 2);
    if (lastOutcome != OUT_Sent) return "the answer was not sent";
    return NULL;
}
