/// @file
/// Packets and messages of the module, good ones and others.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <hostlink/ByteArray.h>
#include <hostlink/HostLinkLib.h>

namespace hostcheck {

/// Flags of a packet that is the whole frame of a message.
constexpr uint8_t wholeMessage = uint32_t{PKT_Last} | FMT_Message;

/// One packet of a message frame, its payload as given.
ByteArray messagePacket(uint8_t frameId, uint8_t packetId, bool last, const ByteArray& payload);

/// A message cut into packets of at most `size` bytes.
std::vector<ByteArray> cut(uint8_t frameId, const ByteArray& message, uint16_t size);
ByteArray resetPacket(uint8_t frameId);
ByteArray irqPacket(uint8_t frameId, uint32_t value);
ByteArray responsePacket(uint8_t frameId, AcknowledgeType type);
/// 8 bytes of the given format that are no message.
ByteArray headerOf(uint8_t frameId, uint8_t flags, uint16_t length);

/// A list message with these ids.
ByteArray listMessage(uint16_t id, const std::vector<uint16_t>& items);
/// A message without items.
ByteArray emptyMessage(uint16_t id);
/// A value message with one binary item of so many bytes.
ByteArray binaryMessage(uint16_t id, uint16_t tag, size_t bytes);

uint16_t idOf(const ByteArray& message);
/// The items of a value message, each with its tag, encoding and value, as they stand on the wire; empty also when the
/// message cannot be read, which `isReadable` tells.
std::vector<ByteArray> rawItems(const ByteArray& message);
bool isReadable(const ByteArray& message);
/// The ids of a list message.
std::vector<uint16_t> listItems(const ByteArray& message);

ByteArray joined(const std::vector<ByteArray>& parts);

std::string hex(const ByteArray& bytes, size_t longest = 64);
/// A packet in a few words: "message, frame 4, packet 0, last: GetStateMessage".
std::string inWords(const ByteArray& packet);
/// "SetStateResponseMessage", or the number of one without a name.
std::string nameOfMessage(uint16_t id);
std::string nameOf(AcknowledgeType type);

} // namespace hostcheck
