/// @file
/// The host's engine on the board's serial line: storage, and what the main loop does for it.
#ifndef FIRMWARE_HOST_H
#define FIRMWARE_HOST_H

#include <hostlink/HostLinkLib.h>

/// Sizes, in bytes. A build may choose others: -DHOST_PACKET_SIZE=64.
#ifndef HOST_PACKET_SIZE
#define HOST_PACKET_SIZE 256 /* what the module's MaxPacketSize says, or more */
#endif
#ifndef HOST_MESSAGE_SIZE
#define HOST_MESSAGE_SIZE                                                                                              \
    1408 /* what the module sends of a file at a time, 1208 bytes in packets of 256, and its items */
#endif
/// Milliseconds that the module has to acknowledge a packet.
#ifndef HOST_RESPONSE_TIMEOUT
#define HOST_RESPONSE_TIMEOUT 1000
#endif

enum {
    HOST_MESSAGES_AT_ONCE = 3, ///< sent for one message or event, at most
    HOST_QUEUE_LENGTH = 4      ///< of the longest messages: one may still be on its way
};

/// The application's: takes a message; its bytes are there until it returns.
typedef void (*HostMessageHandler)(const uint8_t* message, uint32_t length);
/// The application's: the module has started over.
typedef void (*HostResetHandler)(void);

void hostInit(HostMessageHandler message, HostResetHandler reset);

/// Moves bytes between line and engine, and hands one message over; from the main loop.
/// @return whether there may be another one
uint8_t hostRun(void);

/// Whether `HOST_MESSAGES_AT_ONCE` can be sent now, however long.
uint8_t hostHasRoom(void);

/// Begins a message in the one buffer that there is; what it held is gone.
HostLinkLL* hostVariantMessage(uint16_t id);
HostLinkLL* hostListMessage(uint16_t id);

/// Sends what was begun last. Only while there is room; where a message is being handled there is.
void hostSend(void);

#endif
