/// @file
/// The protocol's vocabulary: numbers as they travel on the wire, and the tables that name them.
///
/// The tables are built in the order below while the library loads, are never destroyed, and are only read afterwards,
/// from any thread, with one exception: `HostLinkPrinter::printHostLinkPacket` gives an unknown frame format an entry
/// with an empty name in `formatToString`. The printer does that under a lock of its own; a program that reads
/// `formatToString` itself while other threads print packets with unknown formats must not do so at the same time.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "HostLinkExport.h"
#include "HostLinkLib.h"
#include "HostLinkVocabularyNumbers.h"

/// How the items of one kind of value message are named. Owns copies of the tables it was made from.
struct HOSTLINK_EXPORT ValueMessageParsing {
    std::map<uint16_t, std::string> tagToString; ///< name of each tag
    std::map<uint16_t, std::map<int32_t, std::string>>
        tagAndValueToString; ///< names of enumerated values; may be empty
};

/// Control flags of a packet, in ascending order of the bit.
HOSTLINK_EXPORT extern std::map<LinkPacketCtrlFlags, std::string> flagsToString;
/// Frame formats. The one table that may grow: see above.
HOSTLINK_EXPORT extern std::map<LinkFrameFormat, std::string> formatToString;
/// Message ids. The tunnelling response is 0x8009, although its request is 8.
HOSTLINK_EXPORT extern std::map<MessageId, std::string> messageIdToString;
/// State ids.
HOSTLINK_EXPORT extern std::map<uint16_t, std::string> stateToString;
/// Encodings of tagged values.
HOSTLINK_EXPORT extern std::map<Encoding, std::string> encodingToString;
/// Tags of "InputEventMessage".
HOSTLINK_EXPORT extern std::map<uint16_t, std::string> buttonStateToString;
/// Tags of tunnelling messages.
HOSTLINK_EXPORT extern std::map<uint16_t, std::string> tcpTunnelingStateToString;
/// Values of the tags of tunnelling messages.
HOSTLINK_EXPORT extern std::map<uint16_t, std::map<int32_t, std::string>> tcpTunnelingStateAndValueToString;
/// Tags of data-transfer messages.
HOSTLINK_EXPORT extern std::map<uint16_t, std::string> dataTransferStateToString;
/// Values of the states that are enumerations or bit fields.
HOSTLINK_EXPORT extern std::map<uint16_t, std::map<int32_t, std::string>> stateAndValueToString;
/// States whose value is a bit field.
HOSTLINK_EXPORT extern std::set<uint16_t> stateBitFlag;
/// Which tables name the items of which message; message ids without an entry show numbers only.
HOSTLINK_EXPORT extern std::map<MessageId, ValueMessageParsing> messageIdToTagMap;
/// Tags of "SetLedApi".
HOSTLINK_EXPORT extern std::map<LedApiCmd, std::string> ledApiCmdToString;
