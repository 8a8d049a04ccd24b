/// @file
/// What firmware and a test that shares its memory have of each other: the test is the application. For C99 and C++17.
#ifndef FIRMWARE_MAILBOX_H
#define FIRMWARE_MAILBOX_H

#include <stdint.h>

/// Where it lies in the board's memory, which is all zeros before the start: in PSRAM, beyond the firmware's data.
#define MAILBOX_ADDRESS UINT32_C(0x21100000)
#define MAILBOX_OFFSET UINT32_C(0x00100000) /* in PSRAM */

enum { MAILBOX_RING_SIZE = 65536, MAILBOX_LONGEST = 1024 };

/// What an entry of a ring is. Each is its kind, two bytes of length, little-endian, and its bytes.
enum {
    MAILBOX_SEND = 1,     ///< to the host: send this message
    MAILBOX_RECEIVED = 2, ///< from the host: a message has come whole
    MAILBOX_OUTCOME = 3   ///< from the host: what became of the oldest message that has had no outcome, one byte
};
enum { MAILBOX_HEAD_SIZE = 3 };

/// Both count on, and wrap. One side puts in, the other takes out.
typedef struct MailboxRing {
    uint32_t head; ///< written by who puts in
    uint32_t tail; ///< written by who takes out
    uint8_t bytes[MAILBOX_RING_SIZE];
} MailboxRing;

typedef struct Mailbox {
    /// @name Written by the test before the start
    /// @{
    uint32_t responseTimeout; ///< milliseconds, as the next two
    uint32_t packetTimeout;
    uint32_t repeatWindow;
    /// @}

    /// @name Written by the host after each round of its main loop
    /// @{
    uint32_t generation; ///< odd while it writes
    uint32_t received;   ///< bytes taken from the line
    uint32_t sent;       ///< bytes given to the line
    uint32_t taken;      ///< entries taken from `toHost`
    uint32_t isIdle;     ///< nothing to send, nothing half received
    /// @}

    MailboxRing toHost;
    MailboxRing fromHost;
} Mailbox;

static inline uint32_t mailboxUsed(const MailboxRing* ring) {
    return __atomic_load_n(&ring->head, __ATOMIC_ACQUIRE) - __atomic_load_n(&ring->tail, __ATOMIC_ACQUIRE);
}

/// @return 0 there is no room
static inline int mailboxPut(MailboxRing* ring, uint8_t kind, const uint8_t* bytes, uint16_t length) {
    const uint8_t front[MAILBOX_HEAD_SIZE] = {kind, (uint8_t)(length & 0xFF), (uint8_t)(length >> 8)};
    uint32_t at = ring->head;
    if (MAILBOX_RING_SIZE - mailboxUsed(ring) < (uint32_t)(MAILBOX_HEAD_SIZE + length)) return 0;
    for (uint32_t i = 0; i < MAILBOX_HEAD_SIZE; ++i) ring->bytes[at++ % MAILBOX_RING_SIZE] = front[i];
    for (uint32_t i = 0; i < length; ++i) ring->bytes[at++ % MAILBOX_RING_SIZE] = bytes[i];
    __atomic_store_n(&ring->head, at, __ATOMIC_RELEASE);
    return 1;
}

/// Takes the oldest entry out; its bytes, up to MAILBOX_LONGEST, go to `bytes`.
/// @return its kind; 0 there is none, or it is too long
static inline uint8_t mailboxTake(MailboxRing* ring, uint8_t* bytes, uint16_t* length) {
    uint32_t at = ring->tail;
    if (mailboxUsed(ring) < MAILBOX_HEAD_SIZE) return 0;
    const uint8_t kind = ring->bytes[at % MAILBOX_RING_SIZE];
    const uint8_t low = ring->bytes[(at + 1) % MAILBOX_RING_SIZE];
    *length = (uint16_t)(low | ring->bytes[(at + 2) % MAILBOX_RING_SIZE] << 8);
    if (*length > MAILBOX_LONGEST) return 0;
    at += MAILBOX_HEAD_SIZE;
    for (uint32_t i = 0; i < *length; ++i) bytes[i] = ring->bytes[at++ % MAILBOX_RING_SIZE];
    __atomic_store_n(&ring->tail, at, __ATOMIC_RELEASE);
    return kind;
}

#endif
