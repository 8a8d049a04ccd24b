/* Arm MPS2: the module on UART 0, buttons as characters '1' to '9' on UART 1. What the FPGA images differ in is in a
   header each, which the build names. */
#include <boards/Board.h>
#include <boards/common/Port.h>
#include MPS2_IMAGE

enum { baudRate = 115200 };

/* SysTick, which most Cortex-M have. */
#define TICK_CONTROL REGISTER(0xE000E010)
#define TICK_RELOAD REGISTER(0xE000E014)
#define TICK_VALUE REGISTER(0xE000E018)
enum { tickOnWithInterrupt = 7 }; /* by the processor's clock */

/* CMSDK APB UART. */
typedef struct Uart {
    volatile uint32_t data;
    volatile uint32_t state;
    volatile uint32_t control;
    volatile uint32_t interrupts; /* write 1 to clear */
    volatile uint32_t baudDivider;
} Uart;

enum { stateTransmitFull = 1, stateReceived = 2 };
enum { transmitOn = 1, receiveOn = 2, transmitInterruptOn = 4, receiveInterruptOn = 8 };
enum { transmitInterrupt = 1, receiveInterrupt = 2 };

/* Of both interrupts. */
static void moduleHandler(void) {
    uint8_t byte;
    MODULE_UART->interrupts = transmitInterrupt | receiveInterrupt;
    while (MODULE_UART->state & stateReceived) portReceived((uint8_t)MODULE_UART->data);
    if (!(MODULE_UART->state & stateTransmitFull) && portNextByte(&byte)) MODULE_UART->data = byte;
}

/* The handler puts the first byte out as well. */
void portStartTransmitter(void) {
    interruptPend(moduleInterrupt);
}

static void startUart(Uart* uart, uint32_t control) {
    uart->baudDivider = clockHz / baudRate;
    (void)uart->data; /* a stale byte: once the receiver is on, it could be the first of a packet */
    uart->control = control;
}

void boardInit(void) {
    TICK_RELOAD = clockHz / 1000 - 1;
    TICK_VALUE = 0;
    TICK_CONTROL = tickOnWithInterrupt;
    startUart(MODULE_UART, transmitOn | receiveOn | transmitInterruptOn | receiveInterruptOn);
    startUart(BUTTON_UART, receiveOn);
    interruptEnable(moduleInterrupt);
    interruptEnable(moduleInterrupt + 1);
    interruptsOn();
}

uint8_t boardButton(void) {
    if (!(BUTTON_UART->state & stateReceived)) return 0;
    const uint8_t character = (uint8_t)BUTTON_UART->data;
    return character >= '1' && character <= '9' ? (uint8_t)(character - '0') : 0;
}

VECTOR_TABLE = {FIRST_VECTORS, portTick, VECTORS_BEFORE_MODULE moduleHandler, moduleHandler};
