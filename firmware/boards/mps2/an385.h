/* AN385 (Cortex-M3) and AN386 (Cortex-M4). */
enum { clockHz = 25000000 };
#define MODULE_UART ((Uart*)0x40004000)
#define BUTTON_UART ((Uart*)0x40005000)

/* Received and transmitted, of the module's UART: the first two interrupts. */
enum { moduleInterrupt = 0 };
#define VECTORS_BEFORE_MODULE
