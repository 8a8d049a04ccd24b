/// @file
/// The host as device on an I2C or SPI bus with an interrupt line.
///
/// The module is master. What it writes is a packet; what it reads is the answer to what it has written last, from its
/// first byte in each read, however often; before there is an answer, and behind it, the bus reads idle bytes.
///
/// An I2C port, all handlers at one priority (after each of them: `setLine(hostLinkHostBusLine(&bus, now))`):
///
///     address matched, write    hostLinkHostBusWriteBegins(&bus, now)
///     byte received             hostLinkHostBusByteReceived(&bus, byte)
///     address matched, read     hostLinkHostBusReadBegins(&bus, now)
///     byte requested            hostLinkHostBusByteRequested(&bus)
///     stop                      hostLinkHostBusStops(&bus, now)
///     a tick, 1 to 10 ms        hostLinkHostBusAdvance(&bus, now)
///
/// An SPI port: `hostLinkHostBusSelected`, `hostLinkHostBusExchanged`, `hostLinkHostBusDeselected`. A port whose driver
/// hands over whole phases: `hostLinkHostBusWrite`, `hostLinkHostBusRead`.
#ifndef HOSTLINK_HOST_BUS_H
#define HOSTLINK_HOST_BUS_H

#include "HostLinkHost.h"

#ifdef __cplusplus
extern "C" {
#endif

/// What an idle bus reads as, and what stands behind an answer.
#define HOSTLINK_HOST_IDLE_BYTE 0xFF

typedef struct HostLinkHostBusSetup {
    uint8_t* received;        ///< the bytes of a write phase
    uint16_t receivedSize;    ///< longest packet that is received, in bytes, 14 or more: an IRQ frame
    uint16_t interruptRepeat; ///< milliseconds that the line stays low without an IRQ frame; then it goes up for the
                              ///< gap and falls again: the edge may have come before the module listened. 0 never; 250
    uint16_t interruptGap;    ///< milliseconds, 1 or more; 1
} HostLinkHostBusSetup;

/// One bus; its members are the engine's.
typedef struct HostLinkHostBus {
    HostLinkHost* host;
    HostLinkHostBusSetup setup;
    const uint8_t* reply; // the answer to the write that came last
    const uint8_t* out;   // what is left of it in this read
    uint32_t lineSince;
    uint16_t replyLength;
    uint16_t outLeft;
    uint16_t receivedCount;
    uint8_t phase;
    uint8_t replyIsPacket; // and not handed out yet
    uint8_t asking;        // how the line is, since `lineSince`
    uint8_t answer[HOSTLINK_IRQ_FRAME_SIZE];
} HostLinkHostBus;

/// Fills in the times and nothing else.
void hostLinkHostBusDefaults(HostLinkHostBusSetup* setup);

/// Puts a host on a bus. Before any other function of it, with the interrupts off.
/// @param host set up already; not owned, must live longer
/// @return 24 a pointer is null; 10 no room for an IRQ frame (14 bytes); 0 ready.
uint32_t hostLinkHostBusInit(HostLinkHostBus* bus, HostLinkHost* host, const HostLinkHostBusSetup* setup);

/// @name Functions of the link: whole phases
/// @{

/// The bytes of one write phase. None of them: nothing happens, it is how a bus is scanned.
void hostLinkHostBusWrite(HostLinkHostBus* bus, const uint8_t* bytes, uint32_t count, uint32_t now);

/// The bytes of one read phase, all `count` of them.
void hostLinkHostBusRead(HostLinkHostBus* bus, uint8_t* bytes, uint32_t count, uint32_t now);
/// @}

/// @name Functions of the link: I2C, byte by byte
/// @{

void hostLinkHostBusWriteBegins(HostLinkHostBus* bus, uint32_t now);
/// A byte of a write; those beyond the longest packet are dropped.
void hostLinkHostBusByteReceived(HostLinkHostBus* bus, uint8_t byte);
/// After a write without a stop between (a repeated start) what was written is looked at first; so the answer stands in
/// the same transaction. Takes as long as copying a packet: stretch the clock, or let the module read again.
void hostLinkHostBusReadBegins(HostLinkHostBus* bus, uint32_t now);
/// The byte that goes out next.
uint8_t hostLinkHostBusByteRequested(HostLinkHostBus* bus);
/// What was written is looked at now, if it has not been.
void hostLinkHostBusStops(HostLinkHostBus* bus, uint32_t now);
/// @}

/// @name Functions of the link: SPI, byte by byte
/// SPI does not tell a write from a read: while the module reads, it sends zeros. A transaction that begins with two
/// zeros is a read and gets the answer; any other is a write, idle bytes go out beside it, and what was written is
/// looked at when the transaction ends: the module reads again 1.5 ms later and finds the answer.
/// @{

/// The transaction begins.
/// @return the first byte that goes out
uint8_t hostLinkHostBusSelected(HostLinkHostBus* bus);
/// A byte has come in.
/// @return the byte that goes out next
uint8_t hostLinkHostBusExchanged(HostLinkHostBus* bus, uint8_t byte);
/// The transaction is over.
void hostLinkHostBusDeselected(HostLinkHostBus* bus, uint32_t now);
/// @}

/// @name Functions of the link: time and the interrupt line
/// @{

/// Gives up waiting for an acknowledgement when it is time for it.
void hostLinkHostBusAdvance(HostLinkHostBus* bus, uint32_t now);

/// Whether the line is to be low at this moment: 0 or 1. To be asked after every function of the link, after
/// `hostLinkHostSend`, and when `hostLinkHostBusWait` is over.
uint8_t hostLinkHostBusLine(HostLinkHostBus* bus, uint32_t now);

/// Milliseconds until `hostLinkHostBusAdvance` or `hostLinkHostBusLine` has something to do although nothing has
/// happened on the bus; `HOSTLINK_HOST_NEVER`: not before the module or the application acts. After
/// `hostLinkHostBusLine` with the same time.
uint32_t hostLinkHostBusWait(const HostLinkHostBus* bus, uint32_t now);
/// @}

#ifdef __cplusplus
}
#endif

#endif
