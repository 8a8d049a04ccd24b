/* AN505 (Cortex-M33), all of it on the secure side. */
enum { clockHz = 20000000 };
#define MODULE_UART ((Uart*)0x50200000)
#define BUTTON_UART ((Uart*)0x50201000)

/* Received and transmitted, of the module's UART. Before them are those of the subsystem. */
enum { moduleInterrupt = 32 };
#define STRAY_8                                                                                                        \
    strayHandler, strayHandler, strayHandler, strayHandler, strayHandler, strayHandler, strayHandler, strayHandler
#define VECTORS_BEFORE_MODULE STRAY_8, STRAY_8, STRAY_8, STRAY_8,
