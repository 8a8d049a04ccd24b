#include "Product.h"

#include <boards/Board.h>

#include "Host.h"

/* A button is pressed by itself every so many milliseconds, where nobody can press one. */
#ifndef PRODUCT_PRESS_EVERY
#define PRODUCT_PRESS_EVERY UINT32_MAX
#endif

enum { stopped = 0, playing = 2, paused = 3 };               /* of STA_PlayerPlayStatus */
enum { commandPause = 0, commandStop = 1, commandNext = 2 }; /* of STA_PlayerControl */
enum { buttonPlay = 1, buttonLouder = 2, buttonSofter = 3, buttonByItself = 4 };
enum { online = 10, loudest = 100, volumeStep = 2, trackSeconds = 240, second = 1000 };

static const STATE_TEXT(20) systemInfo = STATE_TEXT_OF("Example product");
static const STATE_TEXT(8) firmwareVersion = STATE_TEXT_OF("1.0.0");
static STATE_TEXT(64) name = STATE_TEXT_OF("Kitchen");
static uint8_t power = online;
static uint8_t volume = 30;
static uint8_t highestVolume = loudest;
static uint8_t isMute;
static uint8_t playStatus = stopped;
static uint8_t control;
static uint32_t playTime; /* seconds */
static int8_t balance;

static void volumeLimited(void);
static void commanded(void);
static void playStatusSet(void);

/* One state a line. */
/* clang-format off */
static const StateRow rows[] = {
    TEXT_TOLD  (STA_HostSystemInfo,      systemInfo),
    TEXT_TOLD  (STA_HostFirmwareVersion, firmwareVersion),
    TEXT       (STA_FriendlyName,        name,                                     NULL),
    NUMBER_TOLD(STA_PowerState,          ENC_Uint8,  power),
    NUMBER     (STA_PlayerVolume,        ENC_Uint8,  volume,        0, loudest,    volumeLimited),
    NUMBER     (STA_MaxVolume,           ENC_Uint8,  highestVolume, 0, loudest,    volumeLimited),
    NUMBER     (STA_PlayerMute,          ENC_Uint8,  isMute,        0, 1,          NULL),
    NUMBER     (STA_PlayerPlayStatus,    ENC_Uint8,  playStatus,    stopped, paused, playStatusSet),
    NUMBER     (STA_PlayerControl,       ENC_Uint8,  control,       commandPause, commandNext, commanded),
    NUMBER_TOLD(STA_PlayerPlayTime,      ENC_Uint32, playTime),
    NUMBER     (STA_AudioBalance,        ENC_Int8,   balance,       -50, 50,       NULL),
};
/* clang-format on */

enum { stateCount = sizeof rows / sizeof rows[0] };
static uint8_t marks[stateCount];
const StateTable productStates = {rows, marks, stateCount};

static void tell(uint16_t id, int32_t number) {
    stateTell(&productStates, id, number);
}

/* ---- What follows from what the module sets. */

static void volumeLimited(void) {
    if (volume > highestVolume) tell(STA_PlayerVolume, highestVolume);
}

static void playStatusSet(void) {
    if (playStatus == stopped) tell(STA_PlayerPlayTime, 0);
}

static void commanded(void) {
    if (control == commandStop) tell(STA_PlayerPlayStatus, stopped);
    if (control == commandPause && playStatus == playing) tell(STA_PlayerPlayStatus, paused);
    if (control != commandPause) tell(STA_PlayerPlayTime, 0);
}

/* ---- What the product does by itself. */

static void tellButton(uint16_t event, uint16_t button) {
    hostLinkMessageVariantAddValue(hostVariantMessage(MSG_InputEvent), event, &button, ENC_Uint16);
    hostSend();
}

static void turnVolume(int32_t by) {
    const int32_t turned = volume + by;
    tell(STA_PlayerVolume, turned < 0 ? 0 : turned > highestVolume ? highestVolume : turned);
}

static void press(uint8_t button) {
    tellButton(BUT_KeyPressed, button);
    tellButton(BUT_KeyReleased, button);
    if (button == buttonPlay) tell(STA_PlayerPlayStatus, playStatus == playing ? paused : playing);
    if (button == buttonLouder) turnVolume(volumeStep);
    if (button == buttonSofter) turnVolume(-volumeStep);
}

static void playOn(uint32_t now) {
    static uint32_t secondAt;
    if (playStatus != playing) secondAt = now;
    if (now - secondAt < second) return;
    secondAt += second;
    tell(STA_PlayerPlayTime, (int32_t)playTime + 1);
    if (playTime < trackSeconds) return;
    tell(STA_PlayerPlayStatus, stopped);
    tell(STA_PlayerPlayTime, 0);
}

static uint8_t nextButton(uint32_t now) {
    static uint32_t pressedAt;
    if (now - pressedAt < PRODUCT_PRESS_EVERY) return boardButton();
    pressedAt = now;
    return buttonByItself;
}

/* Where nothing can be sent a button waits, and changes of one state become one. */
void productRun(uint32_t now) {
    playOn(now);
    if (!hostHasRoom()) return;
    stateSendChanges(&productStates);
    const uint8_t button = hostHasRoom() ? nextButton(now) : 0;
    if (button != 0) press(button);
}

void productReset(void) {
    stateUnsubscribeAll(&productStates);
}
