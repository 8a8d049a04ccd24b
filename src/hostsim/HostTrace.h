/// @file
/// How a host tells a spectator what it does.
#pragma once

#include <functional>

#include <hostlink/ByteArray.h>

namespace hostsim {

enum class TraceEvent { PacketReceived, PacketSent, MessageReceived, MessageSent, BadBytesReceived };

/// Called with the bytes of the packet or message, on the thread that drives the host. A packet is traced as the host
/// made it, before noise on the line. "MessageSent" is told when the module has acknowledged the last packet.
using Trace = std::function<void(TraceEvent, const ByteArray&)>;

} // namespace hostsim
