#include "ValueNaming.h"

std::string nameTag(MessageId id, uint16_t tag) {
    const auto parsing = messageIdToTagMap.find(id);
    if (parsing != messageIdToTagMap.end()) {
        const auto name = parsing->second.tagToString.find(tag);
        if (name != parsing->second.tagToString.end()) return name->second;
    }
    return "Unknown (" + std::to_string(tag) + ")";
}

const std::map<int32_t, std::string>* valueNames(MessageId id, uint16_t tag) {
    const auto parsing = messageIdToTagMap.find(id);
    if (parsing == messageIdToTagMap.end()) return nullptr;
    const auto names = parsing->second.tagAndValueToString.find(tag);
    return names != parsing->second.tagAndValueToString.end() ? &names->second : nullptr;
}
