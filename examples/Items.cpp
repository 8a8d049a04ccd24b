#include "Items.h"

#include <algorithm>

#include <hostlink/HostLinkMessage.h>
#include <hostlink/HostLinkUInt16Message.h>
#include <hostlink/HostLinkVocabulary.h>

bool isReadable(const ByteArray& message) {
    if (HostLinkUInt16Message(message).isValid()) return true;
    const HostLinkValueMessage values(message);
    bool ok = values.isValid();
    for (int i = 0; ok && i < values.size(); ++i) values.getEnc(i, &ok);
    return ok;
}

std::vector<uint16_t> sortedTags(const ByteArray& message) {
    std::vector<uint16_t> tags;
    bool ok = false;
    const HostLinkUInt16Message list(message);
    const HostLinkValueMessage values(message);
    tags.reserve(static_cast<size_t>(list.size()) + static_cast<size_t>(values.size())); // one of them is empty
    for (int i = 0; i < list.size(); ++i) tags.push_back(list.get(i, &ok));
    for (int i = 0; i < values.size(); ++i) tags.push_back(values.getTag(i, &ok));
    std::sort(tags.begin(), tags.end());
    return tags;
}

int lastItem(const HostLinkValueMessage& message, uint16_t tag) {
    bool ok = false;
    for (int i = message.size() - 1; i >= 0; --i) {
        if (message.getTag(i, &ok) == tag && ok) return i;
    }
    return -1;
}

long numberOf(const HostLinkValueMessage& message, int index, bool* ok) {
    switch (message.getEnc(index, ok)) {
    case ENC_Uint8: return message.getUint8(index, ok);
    case ENC_Uint16: return message.getUint16(index, ok);
    case ENC_Uint32: return message.getUint32(index, ok);
    case ENC_Uint64: return static_cast<long>(message.getUint64(index, ok));
    case ENC_Int8: return message.getInt8(index, ok);
    case ENC_Int16: return message.getInt16(index, ok);
    case ENC_Int32: return message.getInt32(index, ok);
    case ENC_Int64: return message.getInt64(index, ok);
    default: *ok = false; return 0;
    }
}

bool hasNumber(const HostLinkValueMessage& message, uint16_t tag, long number) {
    bool ok = false;
    const int index = lastItem(message, tag);
    return index >= 0 && numberOf(message, index, &ok) == number && ok;
}

std::string nameOf(uint16_t state) {
    const auto found = stateToString.find(state);
    return found == stateToString.end() ? std::to_string(state) : found->second;
}

std::string describe(uint16_t state, const HostLinkValueMessage& message, int index) {
    bool ok = false;
    const long number = numberOf(message, index, &ok);
    if (!ok) {
        const std::string text = message.getString(index, &ok);
        return ok ? '"' + text + '"' : "(no value)";
    }
    const auto values = stateAndValueToString.find(state);
    if (values == stateAndValueToString.end()) return std::to_string(number);
    const auto name = values->second.find(static_cast<int32_t>(number));
    return std::to_string(number) + (name == values->second.end() ? "" : " (" + name->second + ")");
}
