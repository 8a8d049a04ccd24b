#include "Host.h"

#include <boards/Board.h>
#include <host/HostLinkHostUart.h>

enum { openFrames = 2, bytesAtATime = 64 };

static HOSTLINK_HOST_STORAGE(HOST_PACKET_SIZE, HOST_MESSAGE_SIZE, openFrames, HOST_QUEUE_LENGTH) storage;
static HostLinkHost host;
static HostLinkHostUart uart;
static uint8_t outgoing[HOST_MESSAGE_SIZE];
static HostLinkLL message;
static HostMessageHandler messageHandler;
static HostResetHandler resetHandlerOfApplication;

static void onMessage(void* context, const uint8_t* bytes, uint32_t length) {
    (void)context;
    messageHandler(bytes, length);
}

static void onReset(void* context) {
    (void)context;
    resetHandlerOfApplication();
}

static void require(uint32_t result) {
    if (result != HOSTLINK_SUCCESS) __builtin_trap(); /* a size above does not fit the others */
}

void hostInit(HostMessageHandler onEachMessage, HostResetHandler onEachReset) {
    messageHandler = onEachMessage;
    resetHandlerOfApplication = onEachReset;

    HostLinkHostSetup setup;
    hostLinkHostDefaults(&setup);
    HOSTLINK_HOST_USE_STORAGE(&setup, storage);
    setup.responseTimeout = HOST_RESPONSE_TIMEOUT;
    setup.events.message = onMessage;
    setup.events.reset = onReset;
    require(hostLinkHostInit(&host, &setup));

    HostLinkHostUartSetup line;
    hostLinkHostUartDefaults(&line);
    line.received = storage.received;
    line.receivedSize = sizeof storage.received;
    require(hostLinkHostUartInit(&uart, &host, &line));
}

static void receive(uint32_t now) {
    uint8_t bytes[bytesAtATime];
    for (;;) {
        const uint16_t count = boardSerialRead(bytes, sizeof bytes);
        if (count == 0) return;
        hostLinkHostUartReceive(&uart, bytes, count, now);
    }
}

static void transmit(uint32_t now) {
    uint8_t bytes[bytesAtATime];
    for (;;) {
        const uint16_t room = boardSerialRoom();
        const uint16_t wanted = room < sizeof bytes ? room : (uint16_t)sizeof bytes;
        const uint16_t count = hostLinkHostUartTransmit(&uart, bytes, wanted, now);
        if (count == 0) return;
        boardSerialWrite(bytes, count);
    }
}

/* The order matters: what has come is handed in before time passes, else a packet that is whole would be given up. The
   answer to a packet goes out before its message is handled, however long that takes. */
uint8_t hostRun(void) {
    const uint32_t now = boardMilliseconds();
    receive(now);
    hostLinkHostUartAdvance(&uart, now);
    transmit(now);
    const uint8_t delivered = hostHasRoom() && hostLinkHostDeliver(&host);
    if (delivered) transmit(now);
    return delivered;
}

uint8_t hostHasRoom(void) {
    return hostLinkHostQueued(&host) + HOST_MESSAGES_AT_ONCE <= HOST_QUEUE_LENGTH;
}

static HostLinkLL* emptyMessage(void) {
    message.data = outgoing;
    message.capacity = sizeof outgoing;
    message.used = 0;
    return &message;
}

HostLinkLL* hostVariantMessage(uint16_t id) {
    hostLinkMessageVariantInit(emptyMessage(), id);
    return &message;
}

HostLinkLL* hostListMessage(uint16_t id) {
    hostLinkMessageUint16Init(emptyMessage(), id);
    return &message;
}

void hostSend(void) {
    require(hostLinkHostSend(&host, outgoing, message.used, 0));
}
