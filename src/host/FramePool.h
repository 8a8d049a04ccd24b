/// @file
/// Puts the module's messages together again, several at a time.
#pragma once

#include "HostLinkHost.h"

namespace hostlink {

/// The pool has a fixed number of places. Each is free, open (packets are still to come) or complete (to be delivered).
///
/// Packets are added by frame id, strictly in the order of their packet ids; packet 0 begins its frame anew, whatever
/// has been there of it. A packet that is not the next one of its frame, or for which the message has no room, ends its
/// frame. Where a new frame finds no place free, the open one to which nothing has been added for longest goes: its
/// sender has most likely given it up. A complete message never goes, because it was acknowledged; where all places
/// hold one, the new frame is refused and the module tries again.
enum class Addition : uint8_t { Taken, Refused };

Addition addToPool(HostLinkHost& host, const uint8_t* packet, uint16_t length);

/// The module starts over: open frames are dropped, complete messages are not.
void resetPool(HostLinkHost& host);

/// @name For the task
/// @{

/// The complete message that is next; null when there is none, or when a reset comes before it.
const HostLinkHostFrame* nextComplete(const HostLinkHost& host);
const uint8_t* payloadOf(const HostLinkHost& host, const HostLinkHostFrame& frame);
/// It has been delivered; its place is free.
void releaseNextComplete(HostLinkHost& host);
/// Whether the module has started over, and the application does not know yet.
bool isResetUntold(const HostLinkHost& host);
/// Whether the module has started over behind the messages delivered so far; true once for each time.
bool takeReset(HostLinkHost& host);
/// @}

} // namespace hostlink
