/* BBC micro:bit (nRF51822, Cortex-M0): the module on the UART of the USB connector, buttons A and B as 1 and 2. */
#include <boards/Board.h>
#include <boards/common/Port.h>

/* GPIO: the lines of the UART and of the buttons, which pull low. */
#define GPIO_IN REGISTER(0x50000510)
#define GPIO_DIRSET REGISTER(0x50000518)
#define GPIO_CONFIG(pin) REGISTER(0x50000700 + 4 * (pin))
enum { transmitPin = 24, receivePin = 25, buttonAPin = 17, buttonBPin = 26 };
enum { inputWithPullUp = 3 << 2 };

/* UART. Events are registers that read 1 until 0 is written. */
#define UART_START_RECEIVER REGISTER(0x40002000)
#define UART_START_TRANSMITTER REGISTER(0x40002008)
#define UART_RECEIVED REGISTER(0x40002108)
#define UART_TRANSMITTED REGISTER(0x4000211C)
#define UART_INTERRUPTS_ON REGISTER(0x40002304)
#define UART_ENABLE REGISTER(0x40002500)
#define UART_TRANSMIT_PIN REGISTER(0x4000250C)
#define UART_RECEIVE_PIN REGISTER(0x40002514)
#define UART_RECEIVE REGISTER(0x40002518)
#define UART_TRANSMIT REGISTER(0x4000251C)
#define UART_BAUD_RATE REGISTER(0x40002524)
enum { uartOn = 4, rateOf115200 = 0x01D7E000, receivedBit = 1 << 2, transmittedBit = 1 << 7 };

/* Timer 0, which counts microseconds: this processor has no SysTick. */
#define TIMER_START REGISTER(0x40008000)
#define TIMER_COMPARED REGISTER(0x40008140)
#define TIMER_SHORTCUTS REGISTER(0x40008200)
#define TIMER_INTERRUPTS_ON REGISTER(0x40008304)
#define TIMER_WIDTH REGISTER(0x40008508)
#define TIMER_PRESCALER REGISTER(0x40008510)
#define TIMER_COMPARE REGISTER(0x40008540)
enum { of32Bits = 3, divideBy16 = 4, clearWhenCompared = 1, comparedBit = 1 << 16, millisecond = 1000 };

/* Numbers of the interrupts. */
enum { uartInterrupt = 2, timerInterrupt = 8 };

enum { settleMilliseconds = 20 }; /* a button's contacts bounce for less */

static uint8_t isTransmitting; /* the handler's */

static void timerHandler(void) {
    TIMER_COMPARED = 0;
    portTick();
}

static void uartHandler(void) {
    while (UART_RECEIVED) {
        UART_RECEIVED = 0;
        portReceived((uint8_t)UART_RECEIVE);
    }
    if (UART_TRANSMITTED) {
        UART_TRANSMITTED = 0;
        isTransmitting = 0;
    }
    uint8_t byte;
    if (!isTransmitting && portNextByte(&byte)) {
        isTransmitting = 1;
        UART_TRANSMIT = byte;
    }
}

void portStartTransmitter(void) {
    interruptPend(uartInterrupt);
}

static void startUart(void) {
    GPIO_DIRSET = UINT32_C(1) << transmitPin;
    UART_TRANSMIT_PIN = transmitPin;
    UART_RECEIVE_PIN = receivePin;
    UART_BAUD_RATE = rateOf115200;
    UART_ENABLE = uartOn;
    UART_INTERRUPTS_ON = receivedBit | transmittedBit;
    UART_START_TRANSMITTER = 1;
    UART_START_RECEIVER = 1;
}

static void startTick(void) {
    TIMER_WIDTH = of32Bits;
    TIMER_PRESCALER = divideBy16;
    TIMER_COMPARE = millisecond;
    TIMER_SHORTCUTS = clearWhenCompared;
    TIMER_INTERRUPTS_ON = comparedBit;
    TIMER_START = 1;
}

void boardInit(void) {
    GPIO_CONFIG(buttonAPin) = inputWithPullUp;
    GPIO_CONFIG(buttonBPin) = inputWithPullUp;
    startUart();
    startTick();
    interruptEnable(uartInterrupt);
    interruptEnable(timerInterrupt);
    interruptsOn();
}

/* Told once when it goes down, and again only after it has been up for a while. */
static uint8_t goesDown(uint8_t pin, uint32_t* lastDown, uint8_t* isDown) {
    const uint8_t down = !(GPIO_IN >> pin & 1);
    const uint8_t goes = down && !*isDown;
    if (down) *lastDown = boardMilliseconds();
    if (down || boardMilliseconds() - *lastDown >= settleMilliseconds) *isDown = down;
    return goes;
}

uint8_t boardButton(void) {
    static uint32_t lastDown[2];
    static uint8_t isDown[2];
    if (goesDown(buttonAPin, &lastDown[0], &isDown[0])) return 1;
    return goesDown(buttonBPin, &lastDown[1], &isDown[1]) ? 2 : 0;
}

/* Interrupts 0 and 1, 2; 3 to 7, 8. Before them SysTick, which is not there. */
VECTOR_TABLE = {FIRST_VECTORS, strayHandler, strayHandler, strayHandler, uartHandler, strayHandler,
                strayHandler,  strayHandler, strayHandler, strayHandler, timerHandler};
