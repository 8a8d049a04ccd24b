/// @file
/// Packets and messages as text for the log.
#pragma once

#include <string>

#include "ByteArray.h"
#include "HostLinkExport.h"
#include "HostLinkVocabulary.h"

/// Renders host-link bytes as lines of text; malformed fields become words that begin with "Invalid". Any thread.
class HOSTLINK_EXPORT HostLinkPrinter {
public:
    /// One packet with its payload: the header lines, then the message of a message packet or the payload of an IRQ.
    static std::string print(const ByteArray& packet);

    /// The eight header bytes, one line each field. An unknown frame format gains an entry with an empty name in
    /// `formatToString`, under a lock of the printer's own.
    static std::string printHostLinkPacket(const ByteArray& packet);

    /// One message, without a packet around it.
    static std::string printHostLinkMessage(const ByteArray& message);

    /// The payload of an IRQ packet.
    static std::string printHostLinkIrqFrame(const ByteArray& packet);

    /// "Invalid (" and the number, whatever the state.
    static std::string printHostLinkState(State state);
};
