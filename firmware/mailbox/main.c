/* The engine on a board's line, without an application: messages come from a mailbox and go there, and what the host is
   doing stands in it. */
#include <boards/Board.h>
#include <host/HostLinkHostUart.h>

#include "Mailbox.h"

enum { packetSize = 64, longestPacket = 256, openFrames = 8, queueLength = 4, bytesAtATime = 64 };

#define MAILBOX ((Mailbox*)MAILBOX_ADDRESS)

static HOSTLINK_HOST_STORAGE(longestPacket, MAILBOX_LONGEST, openFrames, queueLength) storage;
static HostLinkHost host;
static HostLinkHostUart uart;
static uint8_t order[MAILBOX_LONGEST]; /* that has found no room in the queue yet */
static uint16_t orderLength;
static uint32_t received, sent, taken;

static void require(int isTrue) {
    if (!isTrue) __builtin_trap();
}

static void onMessage(void* context, const uint8_t* bytes, uint32_t length) {
    (void)context;
    require(mailboxPut(&MAILBOX->fromHost, MAILBOX_RECEIVED, bytes, (uint16_t)length));
}

static void onOutcome(void* context, uint32_t ticket, HostLinkHostOutcome outcome) {
    (void)context;
    (void)ticket;
    require(mailboxPut(&MAILBOX->fromHost, MAILBOX_OUTCOME, &outcome, 1));
}

static void hostInit(void) {
    HostLinkHostSetup setup;
    hostLinkHostDefaults(&setup);
    HOSTLINK_HOST_USE_STORAGE(&setup, storage);
    setup.packetSize = packetSize;
    setup.responseTimeout = MAILBOX->responseTimeout;
    setup.repeatWindow = (uint16_t)MAILBOX->repeatWindow;
    setup.events.message = onMessage;
    setup.events.outcome = onOutcome;
    require(hostLinkHostInit(&host, &setup) == HOSTLINK_SUCCESS);

    HostLinkHostUartSetup line;
    hostLinkHostUartDefaults(&line);
    line.received = storage.received;
    line.receivedSize = sizeof storage.received;
    line.packetTimeout = (uint16_t)MAILBOX->packetTimeout;
    require(hostLinkHostUartInit(&uart, &host, &line) == HOSTLINK_SUCCESS);
}

static void receive(uint32_t now) {
    uint8_t bytes[bytesAtATime];
    for (uint16_t count; (count = boardSerialRead(bytes, sizeof bytes)) != 0; received += count)
        hostLinkHostUartReceive(&uart, bytes, count, now);
}

static void transmit(uint32_t now) {
    uint8_t bytes[bytesAtATime];
    for (;;) {
        const uint16_t room = boardSerialRoom();
        const uint16_t wanted = room < sizeof bytes ? room : (uint16_t)sizeof bytes;
        const uint16_t count = hostLinkHostUartTransmit(&uart, bytes, wanted, now);
        if (count == 0) return;
        boardSerialWrite(bytes, count);
        sent += count;
    }
}

static void takeOrders(void) {
    while (orderLength != 0 || mailboxTake(&MAILBOX->toHost, order, &orderLength) == MAILBOX_SEND) {
        uint32_t ticket;
        const uint32_t result = hostLinkHostSend(&host, order, orderLength, &ticket);
        if (result == HOSTLINK_NO_ROOM) return;
        require(result == HOSTLINK_SUCCESS);
        if (ticket == 0) onOutcome(0, ticket, OUT_Reset);
        orderLength = 0;
        ++taken;
    }
}

static uint32_t isIdle(uint32_t now) {
    return orderLength == 0 && hostLinkHostQueued(&host) == 0 && !hostLinkHostUartHasOutput(&uart, now) &&
           hostLinkHostUartWait(&uart, now) == HOSTLINK_HOST_NEVER;
}

static void publish(uint32_t now) {
    Mailbox* mailbox = MAILBOX;
    const uint32_t generation = mailbox->generation;
    __atomic_store_n(&mailbox->generation, generation + 1, __ATOMIC_SEQ_CST);
    __atomic_store_n(&mailbox->received, received, __ATOMIC_SEQ_CST);
    __atomic_store_n(&mailbox->sent, sent, __ATOMIC_SEQ_CST);
    __atomic_store_n(&mailbox->taken, taken, __ATOMIC_SEQ_CST);
    __atomic_store_n(&mailbox->isIdle, isIdle(now), __ATOMIC_SEQ_CST);
    __atomic_store_n(&mailbox->generation, generation + 2, __ATOMIC_SEQ_CST);
}

int main(void) {
    hostInit();
    boardInit();
    for (;;) {
        const uint32_t now = boardMilliseconds();
        receive(now);
        hostLinkHostUartAdvance(&uart, now);
        transmit(now);
        while (hostLinkHostDeliver(&host)) {
        }
        takeOrders();
        transmit(now);
        publish(now);
        boardWait();
    }
}
