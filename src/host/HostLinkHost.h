/// @file
/// The host's side of the host link, for a micro-controller: what its two wires have in common. `HostLinkHostUart.h`
/// and `HostLinkHostBus.h` put it behind a serial line, or an I2C or SPI bus with an interrupt line.
///
///                    task                        |              link
///                                                |
///    message  <-- hostLinkHostDeliver <-- frames <-- acknowledge <-- cut <--  bytes from the module
///    callback                             (pool) |   refuse,              or  write phases
///                                                |   repetition?
///    hostLinkHostSend --> queue ------------------> packet in flight, ----->  bytes to the module
///                         (ring)                 |  again, give up        or  read phases, interrupt line
///
/// Nothing is allocated, nothing waits, no clock is asked. All storage is the caller's and is handed in once. Time is
/// handed in as 32-bit milliseconds of any clock that goes on; it may wrap. The source needs `memcpy`, `memmove` and
/// `memset` and no C++ library. This header reads as C99 and as C++17.
///
/// Two contexts. Functions of the *link* (receive, transmit, read, write, advance, line) may run in interrupt handlers,
/// but none of them may interrupt another one of the same host: give those interrupts one priority, or hold them off
/// where the main loop calls. Functions of the *task* (send, deliver) belong to the main loop or one thread, may not
/// interrupt each other, and may be interrupted by the link's at any place; nobody has to lock. A port without
/// interrupts calls all of them from its main loop.
#ifndef HOSTLINK_HOST_H
#define HOSTLINK_HOST_H

#include <stdint.h>

#include <hostlink/HostLinkLib.h>

#ifdef __cplusplus
extern "C" {
#endif

/// A result code beside those of `HostLinkLib.h`: the message can never be sent, now or later.
enum { HOSTLINK_HOST_TOO_LONG = 32 };

/// "Never", as a number of milliseconds.
#define HOSTLINK_HOST_NEVER UINT32_C(0xFFFFFFFF)

/// The shortest packet that carries anything, in bytes.
#define HOSTLINK_HOST_SHORTEST_PACKET 11

/// What became of a message that `hostLinkHostSend` took.
enum HostLinkHostOutcome HOSTLINK_OF_8_BITS {
    OUT_Sent = 0,       ///< the module has acknowledged its last packet
    OUT_Refused = 1,    ///< a packet was refused (nack) at every attempt
    OUT_Error = 2,      ///< a packet was answered with both ack and nack
    OUT_Neither = 3,    ///< a packet was answered with neither
    OUT_NoResponse = 4, ///< a packet was not answered in time; it may have arrived
    OUT_Reset = 5       ///< dropped, because the module asked to start over
};
#ifndef __cplusplus
typedef uint8_t HostLinkHostOutcome;
#endif

/// What a host tells its application. `context` is handed back in each call.
typedef struct HostLinkHostEvents {
    void* context;
    /// A complete message, within `hostLinkHostDeliver`; its bytes are there until the call returns. It may send.
    void (*message)(void* context, const uint8_t* message, uint32_t length);
    /// The module has asked to start over, within `hostLinkHostDeliver`: subscriptions end. May be null.
    void (*reset)(void* context);
    /// A message has left the queue, within a function of the link, so mostly in an interrupt: note it and return.
    /// Outcomes come in the order of `hostLinkHostSend`, one for each ticket. May be null.
    void (*outcome)(void* context, uint32_t ticket, HostLinkHostOutcome outcome);
} HostLinkHostEvents;

/// What a host has seen and done; each number wraps. Written by the link.
typedef struct HostLinkHostCounts {
    uint32_t packets;     ///< received, good ones of every kind
    uint32_t badPackets;  ///< received, a start mark but no packet, or a write phase that is none
    uint32_t messages;    ///< received whole
    uint32_t repetitions; ///< packets received again: acknowledged, not taken twice
    uint32_t refused;     ///< message packets refused: out of order, too long, or no place for them
    uint32_t abandoned;   ///< messages received in part only
    uint32_t sent;        ///< messages that arrived
    uint32_t givenUp;     ///< messages that did not, those dropped by a reset not counted
    uint32_t retries;     ///< packets sent again
    uint32_t strays;      ///< responses that nobody waited for
} HostLinkHostCounts;

/// @name Storage
/// The engine writes it and nobody else. `packetSize` is the longest packet in bytes, `messageSize` the longest
/// message, `openFrames` how many messages may be on their way in, or wait to be delivered, at a time, and
/// `queueLength` how many of the longest messages wait to be sent; shorter ones take less room, and more of them fit.
/// @{

/// One place of the pool of incoming messages.
typedef struct HostLinkHostFrame {
    uint32_t size;  ///< payload so far
    uint32_t order; ///< open: when it was added to; complete: which one is delivered first
    uint8_t frameId;
    uint8_t nextPacketId;
    uint8_t state; ///< free and open: the link's; complete: the task's
} HostLinkHostFrame;

/// Bytes for the payloads of the incoming messages.
#define HOSTLINK_HOST_MESSAGES_SIZE(openFrames, messageSize) ((openFrames) * (messageSize))

/// Bytes for the queue. A message needs two more than its own; one more of them is lost where the ring ends.
#define HOSTLINK_HOST_QUEUE_SIZE(queueLength, messageSize) (((queueLength) + 1) * ((messageSize) + 2))

/// All storage of one host behind one wire, as a type: `static HOSTLINK_HOST_STORAGE(64, 512, 2, 4) storage;`
#define HOSTLINK_HOST_STORAGE(packetSize, messageSize, openFrames, queueLength)                                        \
    struct {                                                                                                           \
        HostLinkHostFrame frames[openFrames];                                                                          \
        uint8_t messages[HOSTLINK_HOST_MESSAGES_SIZE(openFrames, messageSize)];                                        \
        uint8_t queue[HOSTLINK_HOST_QUEUE_SIZE(queueLength, messageSize)];                                             \
        uint8_t packet[packetSize];                                                                                    \
        uint8_t received[packetSize];                                                                                  \
    }

/// Tells a `HostLinkHostSetup` where a `HOSTLINK_HOST_STORAGE` is. Its member `received` is for the wire.
#define HOSTLINK_HOST_USE_STORAGE(setup, storage)                                                                      \
    do {                                                                                                               \
        (setup)->frames = (storage).frames;                                                                            \
        (setup)->openFrames = (uint8_t)(sizeof(storage).frames / sizeof(storage).frames[0]);                           \
        (setup)->messages = (storage).messages;                                                                        \
        (setup)->messageSize = (uint32_t)(sizeof(storage).messages / (setup)->openFrames);                             \
        (setup)->queue = (storage).queue;                                                                              \
        (setup)->queueSize = (uint32_t)sizeof(storage).queue;                                                          \
        (setup)->packet = (storage).packet;                                                                            \
        (setup)->packetSize = (uint16_t)sizeof(storage).packet;                                                        \
    } while (0)
/// @}

/// How a host is set up. `hostLinkHostDefaults` fills it; then storage and events are put in.
typedef struct HostLinkHostSetup {
    HostLinkHostEvents events;
    HostLinkHostFrame* frames; ///< `openFrames` of them
    uint8_t* messages;         ///< `openFrames` times `messageSize` bytes
    uint32_t messageSize;      ///< longest message that is received, in bytes
    uint8_t openFrames;
    uint8_t* queue;
    uint32_t queueSize;       ///< bytes; a message of up to half of it, less two, can be sent
    uint8_t* packet;          ///< the packet in flight
    uint32_t responseTimeout; ///< milliseconds that the module has to acknowledge a packet, up to 24 days; 1000
    uint16_t packetSize;      ///< longest packet that is sent, in bytes: `packet` holds one
    uint16_t retryDelay;      ///< milliseconds before a refused packet goes out again; 10
    uint16_t repeatWindow;    ///< milliseconds in which the same packet again is a repetition; 500
    uint8_t attempts;         ///< of each packet; 4
} HostLinkHostSetup;

/// @name The engine's own records
/// Complete here so that a caller can make them; nothing in them is for a caller to touch.
/// @{
typedef struct HostLinkHostPool {
    uint32_t touched;    // packets taken: what "oldest" goes by
    uint32_t completed;  // the link's alone
    uint32_t delivered;  // written by the task
    uint32_t resetAfter; // messages completed before the module's last reset; written by the link
    uint8_t resets;      // of the module; written by the link
    uint8_t resetsTold;  // written by the task
    uint8_t delivering;  // the task's: a message is being told
} HostLinkHostPool;

typedef struct HostLinkHostLast {
    uint32_t digest;
    uint32_t at;
    uint16_t length; // 0: no packet that could be repeated
    uint8_t frameId;
} HostLinkHostLast;

typedef struct HostLinkHostQueue {
    uint32_t head;     // written by the task
    uint32_t tail;     // written by the link
    uint32_t accepted; // written by the task
    uint32_t finished; // written by the link
} HostLinkHostQueue;

typedef struct HostLinkHostSender {
    uint32_t dueAt;
    uint16_t length;
    uint8_t state;
    uint8_t frameId;
    uint8_t nextFrameId;
    uint8_t packetIndex;
    uint8_t attempt;
    uint8_t heard; // whether the module answers; written by the link
    uint8_t spoiled[32];
} HostLinkHostSender;
/// @}

/// One host.
typedef struct HostLinkHost {
    HostLinkHostSetup setup;
    HostLinkHostCounts counts;
    HostLinkHostPool pool;
    HostLinkHostLast last;
    HostLinkHostQueue queue;
    HostLinkHostSender sender;
} HostLinkHost;

/// Fills in the times and attempts, and nothing else: no storage, no events.
void hostLinkHostDefaults(HostLinkHostSetup* setup);

/// Sets a host up, or anew; nothing of what it held is kept. Before any other function, with the interrupts off.
/// @return 24 a pointer or the message callback is null, or there are no frames; 10 packets shorter than 11 bytes;
///         16 no room for a message in the pool (3 bytes) or in the queue (10); 0 ready.
uint32_t hostLinkHostInit(HostLinkHost* host, const HostLinkHostSetup* setup);

/// @name Functions of the task
/// @{

/// Queues a copy of a message. Afterwards the wire has to be looked at: turn the transmitter on, set the line.
///
/// An answer to a message from before a reset, which the application has not been told yet, is dropped at once: the
/// module has forgotten the question.
/// @param ticket set to the number that the outcome bears, counted from 1, or to 0 when it was dropped at once; may be
///               null. Where the link interrupts, the outcome may come before this returns
/// @return 10 an empty message; 32 more than 65535 bytes, than 256 packets or than half of the queue; 16 no room now;
///         0 queued.
uint32_t hostLinkHostSend(HostLinkHost* host, const uint8_t* message, uint32_t length, uint32_t* ticket);

/// Tells the application of one message, or of one reset, that has come in; in their order. Call until 0.
/// @return 1 told; 0 nothing to tell.
uint8_t hostLinkHostDeliver(HostLinkHost* host);

/// Messages that were queued and have had no outcome yet.
uint32_t hostLinkHostQueued(const HostLinkHost* host);
/// @}

/// Whether the module has been heard, and has not failed since to answer a packet: 0 or 1. From anywhere.
uint8_t hostLinkHostModuleAnswers(const HostLinkHost* host);

#ifdef __cplusplus
}
#endif

#endif
