/* The main loop: bytes, messages, the product, sleep. */
#include <boards/Board.h>

#include "Host.h"
#include "Product.h"
#include "Requests.h"
#include "Transfer.h"

int main(void) {
    transferInit();
    hostInit(handleMessage, productReset);
    boardInit();
    for (;;) {
        const uint8_t more = hostRun();
        productRun(boardMilliseconds());
        if (!more) boardWait();
    }
}
