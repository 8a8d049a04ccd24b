/// @file
/// Finding items in a value message by their tag.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <hostlink/ByteArray.h>
#include <hostlink/HostLinkValueMessage.h>

/// Whether a message is whole: each item that it declares is there and can be read.
bool isReadable(const ByteArray& message);

/// The tags of a value message in the order of their numbers, or the items of a list message. Only of a readable one.
std::vector<uint16_t> sortedTags(const ByteArray& message);

/// Index of the last item with this tag, -1 when there is none.
int lastItem(const HostLinkValueMessage& message, uint16_t tag);

/// Whether there is an item with this tag and this number in any encoding of a number.
bool hasNumber(const HostLinkValueMessage& message, uint16_t tag, long number);

/// The number of an item in whatever encoding it came; `ok` is false when the item is not a number.
long numberOf(const HostLinkValueMessage& message, int index, bool* ok);

/// A state and its value for people: the number with its name where it has one ("2 (Playing)"), or the text.
std::string describe(uint16_t state, const HostLinkValueMessage& message, int index);

/// The name of a state, or its number.
std::string nameOf(uint16_t state);
