/// @file
/// The messages that wait to be sent.
#pragma once

#include "HostLinkHost.h"

namespace hostlink {

/// A ring of records, each two bytes of length and a message in one piece. The task puts them in, the link takes them
/// out; each writes one end of the ring and only reads the other. A record that does not fit before the end of the
/// storage begins at its start; length 0, or less than two bytes, at the end tells so.
struct QueuedMessage {
    const uint8_t* bytes; // null: none
    uint16_t length;
};

/// @name For the task
/// @{

/// The longest message that a queue of so many bytes takes, whatever has passed through it.
uint32_t longestQueued(uint32_t queueSize);
/// False when there is no room for it now.
bool queueMessage(HostLinkHost& host, const uint8_t* message, uint32_t length);
/// @}

/// @name For the link
/// @{

/// The message that has waited for longest; it stays.
QueuedMessage frontMessage(const HostLinkHost& host);
/// It goes, and the application is told what became of it. Only while there is one.
void finishFront(HostLinkHost& host, HostLinkHostOutcome outcome);
/// @}

} // namespace hostlink
