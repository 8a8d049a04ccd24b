/// @file
/// What every Cortex-M has.
#ifndef FIRMWARE_PROCESSOR_H
#define FIRMWARE_PROCESSOR_H

#include <stdint.h>

/// A register of the board, by its address.
#define REGISTER(address) (*(volatile uint32_t*)(address))

static inline void interruptsOff(void) {
    __asm volatile("cpsid i" ::: "memory");
}

static inline void interruptsOn(void) {
    __asm volatile("cpsie i" ::: "memory");
}

/// The nested vectored interrupt controller.
static inline void interruptEnable(unsigned number) {
    REGISTER(0xE000E100 + number / 32 * 4) = UINT32_C(1) << number % 32;
}

/// Has the handler run as if the device had asked.
static inline void interruptPend(unsigned number) {
    REGISTER(0xE000E200 + number / 32 * 4) = UINT32_C(1) << number % 32;
}

/// Ends at once where one waits, also while they are off.
static inline void waitForInterrupt(void) {
    __asm volatile("wfi" ::: "memory");
}

/// @name Startup.c
/// @{
extern uint32_t stackTop; /* the linker's; its address is what counts */
void resetHandler(void);
/// Stands where nothing is expected: an image that fails stops here, where a debugger finds it.
void strayHandler(void);
/// @}

typedef void (*Handler)(void);

/// The first entries of a table of interrupts. The stack's address stands as a function because all others are.
#define FIRST_VECTORS                                                                                                  \
    (Handler)(uintptr_t) & stackTop, resetHandler, strayHandler, strayHandler, strayHandler, strayHandler,             \
        strayHandler, 0, 0, 0, 0, strayHandler, strayHandler, 0, strayHandler

/// Puts the table where the processor looks for it.
#define VECTOR_TABLE __attribute__((section(".vectors"), used)) static const Handler vectors[]

#endif
