#include "ValueNaming.h"

const ValueMessageParsing* parsingOf(MessageId id) {
    const auto parsing = messageIdToTagMap.find(id);
    return parsing != messageIdToTagMap.end() ? &parsing->second : nullptr;
}

void appendTagName(Text& text, const ValueMessageParsing* parsing, uint16_t tag) {
    if (parsing != nullptr) {
        const auto name = parsing->tagToString.find(tag);
        if (name != parsing->tagToString.end()) {
            text += name->second;
            return;
        }
    }
    text += "Unknown (";
    appendDecimal(text, tag);
    text += ')';
}

const std::map<int32_t, std::string>* valueNames(const ValueMessageParsing* parsing, uint16_t tag) {
    if (parsing == nullptr) return nullptr;
    const auto names = parsing->tagAndValueToString.find(tag);
    return names != parsing->tagAndValueToString.end() ? &names->second : nullptr;
}
