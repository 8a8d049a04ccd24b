/* Arm MPS2, FPGA images AN385 and AN386: the module on UART 0, buttons as characters '1' to '9' on UART 1. */
#include "../Board.h"

#include "../common/Port.h"

enum { clockHz = 25000000, baudRate = 115200 };

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

#define MODULE_UART ((Uart*)0x40004000)
#define BUTTON_UART ((Uart*)0x40005000)
enum { stateTransmitFull = 1, stateReceived = 2 };
enum { transmitOn = 1, receiveOn = 2, transmitInterruptOn = 4, receiveInterruptOn = 8 };
enum { transmitInterrupt = 1, receiveInterrupt = 2 };

/* Numbers of the interrupts. */
enum { moduleReceived, moduleTransmitted };

static void moduleReceivedHandler(void) {
    MODULE_UART->interrupts = receiveInterrupt;
    while (MODULE_UART->state & stateReceived) portReceived((uint8_t)MODULE_UART->data);
}

static void moduleTransmittedHandler(void) {
    uint8_t byte;
    MODULE_UART->interrupts = transmitInterrupt;
    if (!(MODULE_UART->state & stateTransmitFull) && portNextByte(&byte)) MODULE_UART->data = byte;
}

/* It puts the first byte out as well: it runs as if one had just left. */
void portStartTransmitter(void) {
    interruptPend(moduleTransmitted);
}

static void startUart(Uart* uart, uint32_t control) {
    uart->baudDivider = clockHz / baudRate;
    uart->control = control;
    (void)uart->data; /* a stale byte; and the emulator begins to look for input at this read */
}

void boardInit(void) {
    TICK_RELOAD = clockHz / 1000 - 1;
    TICK_VALUE = 0;
    TICK_CONTROL = tickOnWithInterrupt;
    startUart(MODULE_UART, transmitOn | receiveOn | transmitInterruptOn | receiveInterruptOn);
    startUart(BUTTON_UART, receiveOn);
    interruptEnable(moduleReceived);
    interruptEnable(moduleTransmitted);
    interruptsOn();
}

uint8_t boardButton(void) {
    if (!(BUTTON_UART->state & stateReceived)) return 0;
    const uint8_t character = (uint8_t)BUTTON_UART->data;
    return character >= '1' && character <= '9' ? (uint8_t)(character - '0') : 0;
}

VECTOR_TABLE = {FIRST_VECTORS, portTick, moduleReceivedHandler, moduleTransmittedHandler};
