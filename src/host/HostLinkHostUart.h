/// @file
/// The host on a serial line.
///
/// An interrupt-driven port, all handlers at one priority:
///
///     receive interrupt      hostLinkHostUartReceive(&uart, &byte, 1, now);  then: transmitter on
///     transmit interrupt     hostLinkHostUartTransmit(&uart, &byte, 1, now) ? put it out : transmitter off
///     a tick, 1 to 10 ms     hostLinkHostUartAdvance(&uart, now);            then: transmitter on
///     main loop              while (hostLinkHostDeliver(&host)) {}           hostLinkHostSend, then: transmitter on
///
/// A port with rings or DMA hands in and fetches as many bytes at a time as it likes, from its main loop if it likes.
#ifndef HOSTLINK_HOST_UART_H
#define HOSTLINK_HOST_UART_H

#include "HostLinkHost.h"

#ifdef __cplusplus
extern "C" {
#endif

/// How many answers wait at most while a packet is on its way out. The module waits for one at a time; where there are
/// more of them (noise), the oldest goes.
#define HOSTLINK_HOST_ANSWERS 4

typedef struct HostLinkHostUartSetup {
    uint8_t* received;      ///< bytes that have come and are not a whole packet yet
    uint16_t receivedSize;  ///< longest packet that is received, in bytes, 11 or more
    uint16_t packetTimeout; ///< longest pause inside a packet, in milliseconds; 100
} HostLinkHostUartSetup;

/// The engine's own: how bytes become packets.
typedef struct HostLinkHostStream {
    uint8_t* bytes;
    uint32_t lastByteAt;
    uint32_t skipped;
    uint16_t size;
    uint16_t used;
    uint16_t taken; // bytes at the front that were handed out as a packet
    uint16_t timeout;
} HostLinkHostStream;

/// One serial line; its members are the engine's.
typedef struct HostLinkHostUart {
    HostLinkHost* host;
    HostLinkHostStream stream;
    const uint8_t* out; // what is being transmitted
    uint16_t outLeft;
    uint8_t answerCount;
    uint8_t answers[HOSTLINK_HOST_ANSWERS][2]; // frame id and type, oldest first
    uint8_t answer[HOSTLINK_RSP_FRAME_SIZE];
} HostLinkHostUart;

/// Fills in the time-out and nothing else.
void hostLinkHostUartDefaults(HostLinkHostUartSetup* setup);

/// Puts a host on a line. Before any other function of it, with the interrupts off.
/// @param host set up already; not owned, must live longer
/// @return 24 a pointer is null; 10 packets shorter than 11 bytes; 0 ready.
uint32_t hostLinkHostUartInit(HostLinkHostUart* uart, HostLinkHost* host, const HostLinkHostUartSetup* setup);

/// @name Functions of the link
/// @{

/// Bytes that have come in; any number of them. Takes about as long as copying them.
void hostLinkHostUartReceive(HostLinkHostUart* uart, const uint8_t* bytes, uint32_t count, uint32_t now);

/// The bytes to put onto the line next, up to `room` of them: answers first, never inside a packet. The time that the
/// module has to answer a packet begins when the packet's last byte has been fetched.
/// @return how many; fewer than `room`: there is nothing more by now.
uint16_t hostLinkHostUartTransmit(HostLinkHostUart* uart, uint8_t* bytes, uint16_t room, uint32_t now);

/// Whether there is anything to transmit by now: 0 or 1.
uint8_t hostLinkHostUartHasOutput(const HostLinkHostUart* uart, uint32_t now);

/// Does what the time has come for: gives up half packets and responses that did not come. Bytes that have come
/// already are handed in before it.
void hostLinkHostUartAdvance(HostLinkHostUart* uart, uint32_t now);

/// Milliseconds until `hostLinkHostUartAdvance` or `hostLinkHostUartTransmit` has something to do although nothing has
/// come in: 0 at once, `HOSTLINK_HOST_NEVER` not before the module or the application acts.
uint32_t hostLinkHostUartWait(const HostLinkHostUart* uart, uint32_t now);

/// Bytes that came in and belonged to no packet.
uint32_t hostLinkHostUartSkipped(const HostLinkHostUart* uart);
/// @}

#ifdef __cplusplus
}
#endif

#endif
