/// @file
/// Tunnels. There is no network here: the far end of each of them is an echo.
#ifndef FIRMWARE_TUNNEL_H
#define FIRMWARE_TUNNEL_H

#include <hostlink/HostLinkLib.h>

/// Answers one "TcpTunnelingMessage": `TCP_Connection` as it came, `TCP_Data` as Uint8 with `TCP_Success`; without a
/// connection `TCP_InvalidConnection`, without data and command `TCP_InvalidMessage`. Then sends the data back.
void tunnelTake(const HostLinkLL* message);

#endif
