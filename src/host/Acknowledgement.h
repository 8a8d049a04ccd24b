/// @file
/// What a host answers to a packet.
#pragma once

#include "HostLinkHost.h"

namespace hostlink {

/// A response frame to be sent, or none.
struct Answer {
    bool any;
    uint8_t frameId;
    AcknowledgeType type;
};

/// Takes what the module has sent: exactly a packet, or bytes that do not verify.
///
/// - A message packet: ack; nack when packets before it are missing or there is no room for it.
/// - The same message packet again: ack, and nothing else happens.
/// - A response frame: none; it answers the packet in flight.
/// - A reset frame: ack; open frames and queued messages are dropped, the application is told.
/// - Any other format, and bytes that do not verify: nack. An IRQ frame too, which only a bus knows.
///
/// An answer carries the frame id of the packet that it answers, 0 for bytes that do not verify.
Answer takePacket(HostLinkHost& host, const uint8_t* packet, uint16_t length, uint32_t now);
Answer refuseBytes(HostLinkHost& host);

/// Notes a packet that verifies and that the caller answers itself; `takePacket` does it too.
void notePacket(HostLinkHost& host, const uint8_t* packet);

/// Does what the time has come for behind any wire.
/// @return true when a message was given up
bool advanceHost(HostLinkHost& host, uint32_t now);

} // namespace hostlink
