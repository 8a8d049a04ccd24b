/// @file
/// When a packet is the one before it, sent again.
#pragma once

#include "HostLinkHost.h"

namespace hostlink {

/// The module sends a packet again, same bytes, when it believes that it was refused; a host that has taken it must not
/// take it twice. The same bytes are a repetition of the packet taken most recently when all of this holds:
///
/// - They are not packet 0 of frame 0: with that begins a module that starts over, and a restart must be heard.
/// - Since that packet, the module has sent none with a frame id from before that packet's. It draws one id after
///   another, so such an id means that it has started over, or drawn all the others. The id right before does not
///   count, unless it is 0: two threads of the module may send the ids that they have drawn in the other order.
/// - They come within the window.
///
/// Anything else is a new packet. This is the one place that decides it.
///
/// Of the packet taken most recently only a digest of 32 bits is kept, which costs no storage: that two packets with
/// the same ids and length, one after the other, have the same one by chance is not to be expected.
bool isRepetition(const HostLinkHostLast& last, const uint8_t* packet, uint16_t length, uint32_t now, uint16_t window);

/// The packet has been taken.
void rememberTaken(HostLinkHostLast& last, const uint8_t* packet, uint16_t length, uint32_t now);

/// The module has sent this packet, of whatever kind: before `isRepetition` is asked about it.
void noteHeard(HostLinkHostLast& last, const uint8_t* packet);

/// Forgets a packet that is out of the window, before the clock has come round to it again.
void forgetOld(HostLinkHostLast& last, uint32_t now, uint16_t window);

} // namespace hostlink
