#include "hostlink/HostLinkVocabulary.h"

#include "VocabularyTables.h"

// The tables are never destroyed: threads of links may print while the process ends, and so may the program's own
// handlers. An object of static storage that is declared as it must be, a plain map, is destroyed at exit, so none is
// defined: each name is another one for bytes, in which makeVocabularyTables() makes the table. What the tables hold
// stays reachable, so leak checkers are silent.
//
// A program that is no position-independent code moves exported data into itself, by the size of its symbol: the bytes
// have the table's own size, and nothing here touches them.

namespace {

template <typename Table> struct alignas(Table) BytesOf { unsigned char bytes[sizeof(Table)]; };

} // namespace

// NOLINTBEGIN(bugprone-macro-parentheses): a name that is declared
#define ZENT_STORAGE_OF(table)                                                                                         \
    [[gnu::used]] static BytesOf<decltype(table)> table##Bytes __asm__(#table "Bytes");                                \
    extern decltype(table) table __attribute__((alias(#table "Bytes")))
// NOLINTEND(bugprone-macro-parentheses)

ZENT_STORAGE_OF(flagsToString);
ZENT_STORAGE_OF(formatToString);
ZENT_STORAGE_OF(messageIdToString);
ZENT_STORAGE_OF(stateToString);
ZENT_STORAGE_OF(encodingToString);
ZENT_STORAGE_OF(buttonStateToString);
ZENT_STORAGE_OF(tcpTunnelingStateToString);
ZENT_STORAGE_OF(tcpTunnelingStateAndValueToString);
ZENT_STORAGE_OF(dataTransferStateToString);
ZENT_STORAGE_OF(stateAndValueToString);
ZENT_STORAGE_OF(stateBitFlag);
ZENT_STORAGE_OF(messageIdToTagMap);
ZENT_STORAGE_OF(ledApiCmdToString);

namespace {

// Here and not beside the making, so that whoever links a table's name from an archive gets the table made, too.
[[maybe_unused]] const bool made = (makeVocabularyTables(), true);

} // namespace
