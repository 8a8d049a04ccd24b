/// @file
/// Sends the host's messages, one packet at a time.
#pragma once

#include "HostLinkHost.h"

namespace hostlink {

///           packet is fetched         its last byte is out          ack, more packets to come
///    Idle ----------------> Sending ----------------> InFlight ----------------> Ready --> Sending
///     ^  ^     (cut)                                    |  |                       ^
///     |  |                                              |  '-- nack --> Pausing ---'
///     |  '---- last packet acknowledged ----------------'                |
///     '------- refused too often, both bits, neither, no answer: given up'
///
/// A message of which a packet is refused too often, or not acknowledged in time, or answered with anything but ack or
/// nack, is given up, as the module gives up its own: nobody knows whether it has arrived. Of a message of several
/// packets the module may then hold a part for ever, and would put it before the next frame with the same id: such an
/// id is not used again until all are such, or until the module starts over.

/// Whether there is a packet to send by now.
bool isPacketReady(const HostLinkHost& host, uint32_t now);

/// That packet, cut where it has not been yet; only when it is ready.
const uint8_t* readyPacket(HostLinkHost& host, uint16_t* length);

/// It is being put onto the wire. From here on until `packetSent`, a response answers something else.
void packetBegun(HostLinkHost& host);
/// All of it is on the wire. Nothing happens when none was begun, or when the module has started over meanwhile.
void packetSent(HostLinkHost& host, uint32_t now);

/// The module has answered.
void takeResponse(HostLinkHost& host, AcknowledgeType answer, uint32_t now);

/// Gives up waiting when it is time for it.
/// @return true when a message was given up
bool advanceSender(HostLinkHost& host, uint32_t now);

/// Milliseconds until `advanceSender` is due or a refused packet goes out again; `HOSTLINK_HOST_NEVER`: neither.
uint32_t senderWait(const HostLinkHost& host, uint32_t now);

/// Drops everything that is queued.
void resetSender(HostLinkHost& host);

} // namespace hostlink
