#include "Port.h"

#include <boards/Board.h>

#include "Ring.h"

static Ring fromModule;                /* put in by the receiver's handler, taken out by the main loop */
static Ring toModule;                  /* put in by the main loop, taken out by the transmitter's handler */
static volatile uint32_t milliseconds; /* written by the tick */
static volatile uint8_t happened;      /* set by all handlers, cleared by the main loop with interrupts off */

void portTick(void) {
    milliseconds = milliseconds + 1;
    happened = 1;
}

void portReceived(uint8_t byte) {
    if (ringRoom(&fromModule) != 0) ringPut(&fromModule, byte);
    happened = 1;
}

uint8_t portNextByte(uint8_t* byte) {
    happened = 1; /* there is more room */
    if (ringUsed(&toModule) == 0) return 0;
    *byte = ringTake(&toModule);
    return 1;
}

uint32_t boardMilliseconds(void) {
    return milliseconds;
}

uint16_t boardSerialRead(uint8_t* bytes, uint16_t room) {
    uint16_t count = 0;
    while (count < room && ringUsed(&fromModule) != 0) bytes[count++] = ringTake(&fromModule);
    return count;
}

uint16_t boardSerialRoom(void) {
    return ringRoom(&toModule);
}

void boardSerialWrite(const uint8_t* bytes, uint16_t count) {
    for (uint16_t i = 0; i < count; ++i) ringPut(&toModule, bytes[i]);
    if (count != 0) portStartTransmitter();
}

/* A handler that ran between the look and the sleep would be slept through: they are held off meanwhile, and one that
   waits ends the sleep all the same. */
void boardWait(void) {
    interruptsOff();
    if (!happened) waitForInterrupt();
    happened = 0;
    interruptsOn();
}
