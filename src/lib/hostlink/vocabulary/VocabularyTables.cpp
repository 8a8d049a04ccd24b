#include "VocabularyTables.h"

#include <new>

#include "VocabularyRows.h"
#include "hostlink/HostLinkVocabulary.h"

namespace {

template <typename Key> void fill(std::map<Key, std::string>& names, const Rows& rows) {
    for (const Row& row : rows) names.emplace_hint(names.end(), static_cast<Key>(row.number), row.name);
}

template <typename Key> void make(std::map<Key, std::string>& table, const Rows& rows) {
    fill(*new (&table) std::map<Key, std::string>, rows);
}

template <size_t count>
void make(std::map<uint16_t, std::map<int32_t, std::string>>& table, const TagValues (&rows)[count]) {
    new (&table) std::map<uint16_t, std::map<int32_t, std::string>>;
    for (const TagValues& row : rows) fill(table[row.tag], row.values);
}

template <size_t count> void make(std::set<uint16_t>& table, const uint16_t (&numbers)[count]) {
    new (&table) std::set<uint16_t>(numbers, numbers + count);
}

// Copies tables that are made already.
template <size_t count> void make(std::map<MessageId, ValueMessageParsing>& table, const MessageNaming (&rows)[count]) {
    new (&table) std::map<MessageId, ValueMessageParsing>;
    for (const MessageNaming& row : rows) {
        ValueMessageParsing& parsing = table[row.id];
        parsing.tagToString = *row.tags;
        if (row.values != nullptr) parsing.tagAndValueToString = *row.values;
    }
}

} // namespace

void makeVocabularyTables() {
    make(flagsToString, flagsRows);
    make(formatToString, formatRows);
    make(messageIdToString, messageIdRows);
    make(stateToString, stateRows);
    make(encodingToString, encodingRows);
    make(buttonStateToString, buttonStateRows);
    make(tcpTunnelingStateToString, tcpTunnelingStateRows);
    make(tcpTunnelingStateAndValueToString, tcpTunnelingStateAndValueRows);
    make(dataTransferStateToString, dataTransferStateRows);
    make(stateAndValueToString, stateAndValueRows);
    make(stateBitFlag, stateBitFlagRows);
    make(messageIdToTagMap, messageNamings);
    make(ledApiCmdToString, ledApiCmdRows);
}
