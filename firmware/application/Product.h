/// @file
/// A product as an example: a player with a volume, a play status, a title and four buttons.
#ifndef FIRMWARE_PRODUCT_H
#define FIRMWARE_PRODUCT_H

#include "StateTable.h"

/// Its states; the table stands in the source, a line for each.
extern const StateTable productStates;

/// Lets time pass in the player, looks at the buttons, tells the module what has changed. From the main loop.
///
/// Buttons: 1 plays and pauses, 2 and 3 turn the volume up and down, the others are told and nothing else. Each is told
/// to the module as pressed and released.
void productRun(uint32_t now);

/// The module has started over.
void productReset(void);

#endif
