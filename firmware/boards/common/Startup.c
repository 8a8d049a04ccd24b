/* From reset to main: initialised data is copied, the rest cleared. There are no constructors. */
#include <string.h>

#include "Processor.h"

/* The linker's; only their addresses count. */
extern uint8_t dataBegin[], dataEnd[], dataImage[], bssBegin[], bssEnd[];

int main(void);

void resetHandler(void) {
    memcpy(dataBegin, dataImage, (size_t)(dataEnd - dataBegin));
    memset(bssBegin, 0, (size_t)(bssEnd - bssBegin));
    main();
    strayHandler();
}

void strayHandler(void) {
    interruptsOff();
    for (;;) waitForInterrupt();
}
