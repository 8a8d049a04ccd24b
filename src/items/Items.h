/// @file
/// Messages of states, and back.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <hostlink/ByteArray.h>
#include <hostlink/HostLinkNumbers.h>
#include <hostlinkclient/Value.h>

namespace hostlink {

/// One item of a value message.
struct Item {
    uint16_t tag;
    Value value;
};

/// All items of a value message; none when the message, or one of the items that it declares, cannot be read.
std::optional<std::vector<Item>> readItems(const ByteArray& bytes);

/// The numbers of a list message; none when it cannot be read.
std::optional<std::vector<uint16_t>> readList(const ByteArray& bytes);

/// The tags of a value message or the numbers of a list message, ascending; none when it cannot be read.
std::optional<std::vector<uint16_t>> sortedTags(const ByteArray& message);

/// Whether messages with this id have a list body.
bool isList(MessageId id);

/// A value message; none when there are more than 255 items or the message would be longer than a message can be.
std::optional<ByteArray> writeItems(MessageId id, const std::vector<Item>& items);

/// A list message; none when there are more than 255 numbers.
std::optional<ByteArray> writeList(MessageId id, const std::vector<uint16_t>& numbers);

/// The id of the message that answers one with this id; none when nothing does.
std::optional<MessageId> answerTo(MessageId id);

} // namespace hostlink
