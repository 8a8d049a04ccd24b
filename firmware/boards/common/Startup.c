/* From reset to main: initialised data is copied, the rest cleared. There are no constructors. */
#include <string.h>

#include "Processor.h"

/* The linker's; only their addresses count. */
extern uint8_t dataBegin[], dataEnd[], dataImage[], bssBegin[], bssEnd[];

int main(void);

static size_t sizeBetween(const uint8_t* begin, const uint8_t* end) {
    return (uintptr_t)end - (uintptr_t)begin; /* to the compiler they are two objects */
}

void resetHandler(void) {
    memcpy(dataBegin, dataImage, sizeBetween(dataBegin, dataEnd));
    memset(bssBegin, 0, sizeBetween(bssBegin, bssEnd));
    main();
    strayHandler();
}

void strayHandler(void) {
    interruptsOff();
    for (;;) waitForInterrupt();
}
