/// @file
/// A ring of bytes between an interrupt handler and the main loop. One puts in, the other takes out; each writes one
/// end and only reads the other, so nothing is locked.
#ifndef FIRMWARE_RING_H
#define FIRMWARE_RING_H

#include <stdint.h>

enum { RING_SIZE = 512 }; /* a power of two; at 115200 baud 44 ms of line */

typedef struct Ring {
    uint8_t bytes[RING_SIZE];
    volatile uint16_t head; /* written by who puts in; counts on, and wraps */
    volatile uint16_t tail; /* written by who takes out */
} Ring;

static inline uint16_t ringUsed(const Ring* ring) {
    return (uint16_t)(ring->head - ring->tail);
}

static inline uint16_t ringRoom(const Ring* ring) {
    return (uint16_t)(RING_SIZE - ringUsed(ring));
}

/* The byte is there before it counts. The processor has one core and keeps its order; the compiler is told to. */
static inline void ringBarrier(void) {
    __asm volatile("" ::: "memory");
}

/// Only where there is room.
static inline void ringPut(Ring* ring, uint8_t byte) {
    ring->bytes[ring->head % RING_SIZE] = byte;
    ringBarrier();
    ring->head = (uint16_t)(ring->head + 1);
}

/// Only where one is used.
static inline uint8_t ringTake(Ring* ring) {
    const uint8_t byte = ring->bytes[ring->tail % RING_SIZE];
    ringBarrier();
    ring->tail = (uint16_t)(ring->tail + 1);
    return byte;
}

#endif
