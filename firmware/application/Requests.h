/// @file
/// What the product does with a message of the module.
#ifndef FIRMWARE_REQUESTS_H
#define FIRMWARE_REQUESTS_H

#include <stdint.h>

/// | message | answer |
/// |---|---|
/// | "SetStateMessage", "GetStateMessage", "SubscribeStateMessage", "UnsubscribeStateMessage" | `StateTable.h` |
/// | "DataTransfer" | `Transfer.h` |
/// | "TcpTunnelingMessage" | `Tunnel.h` |
/// | any other request, and one that cannot be read | "UnsupportedMessageResponse" |
/// | any response | none |
void handleMessage(const uint8_t* bytes, uint32_t length);

#endif
