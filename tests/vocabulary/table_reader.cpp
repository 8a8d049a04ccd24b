// Reads every vocabulary table, and prints a message with them, at each time at which a program can: from a static
// object's constructor, from main, from handlers of exit() that were registered after and before the library's own
// start, and from a static object's destructor. Ends with 1 and a line for the first thing that differs.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include <dlfcn.h>
#include <unistd.h>

#include <hostlink/HostLinkPrinter.h>
#include <hostlink/HostLinkVocabulary.h>

namespace {

#include "vectors/state_names.inc"
#include "vectors/state_value_names.inc"

const char* when = "";
int readings = 0;

// Not exit(): one of its handlers may be the caller.
void require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "%s: %s\n", when, what);
    _exit(1);
}

template <typename Key>
void requireNames(const std::map<Key, std::string>& table, size_t size, long number, const char* name) {
    require(table.size() == size, name);
    const auto found = table.find(static_cast<Key>(number));
    require(found != table.end() && found->second == name, name);
    size_t letters = 0;
    for (const auto& row : table) letters += row.second.size();
    require(letters >= size, name);
}

void requireStates(const std::map<uint16_t, std::string>& table) {
    requireNames(table, 126, 0xF316, "VolumeMode");
    for (const StateName& row : stateNames) require(table.at(row.id) == row.name, row.name);
}

void requireStateValues(const std::map<uint16_t, std::map<int32_t, std::string>>& table) {
    require(table.size() == 16, "states with named values");
    for (const StateValueName& row : stateValueNames) require(table.at(row.state).at(row.value) == row.name, row.name);
}

void requireNamings() {
    require(messageIdToTagMap.size() == 8, "messages whose items are named");
    for (const MessageId id : {MSG_SetState, MSG_StateChanged, MSG_SetStateResponse, MSG_GetStateResponse}) {
        requireStates(messageIdToTagMap.at(id).tagToString);
        requireStateValues(messageIdToTagMap.at(id).tagAndValueToString);
    }
    requireNames(messageIdToTagMap.at(MSG_InputEvent).tagToString, 3, 1, "BUT_KeyPressed");
    requireNames(messageIdToTagMap.at(MSG_DataTransfer).tagToString, 7, 6, "DTT_FileSize");
    for (const MessageId id : {MSG_TcpTunneling, MSG_TcpTunnelingResponse}) {
        requireNames(messageIdToTagMap.at(id).tagToString, 3, 2, "TCP_Command");
        requireNames(messageIdToTagMap.at(id).tagAndValueToString.at(1), 5, 3, "TCP_TranferFailed");
    }
}

// StateChanged, one Uint8 with tag 3 and value 10.
void requirePrint() {
    const std::string text = HostLinkPrinter::printHostLinkMessage({0x04, 0x00, 1, 0x03, 0x00, 0xCC, 10});
    require(text == "0x0004 - message id: StateChangedMessage\n"
                    "0x01 - count: 1\n"
                    "0x0003 - tag: PowerState\n"
                    "0xcc - encoding: Uint8\n"
                    "0x0a - value: Online\n",
            "a message in words");
}

void readTables(const char* now) {
    when = now;
    requireNames(flagsToString, 3, 0x80, "ack");
    requireNames(formatToString, 3, 2, "irq");
    requireNames(messageIdToString, 17, 0x8009, "TcpTunnelingResponseMessage");
    requireStates(stateToString);
    requireNames(encodingToString, 10, 197, "Bin16");
    requireNames(buttonStateToString, 3, 2, "BUT_KeyRepeated");
    requireNames(tcpTunnelingStateToString, 3, 0, "TCP_Connection");
    require(tcpTunnelingStateAndValueToString.size() == 1, "tunnelling tags with named values");
    requireNames(tcpTunnelingStateAndValueToString.at(1), 5, 4, "TCP_InvalidCommand");
    requireNames(dataTransferStateToString, 7, 5, "DTT_AbortTransfer");
    requireStateValues(stateAndValueToString);
    require(stateBitFlag.size() == 1 && stateBitFlag.count(0x26) == 1, "states of bits");
    requireNamings();
    requireNames(ledApiCmdToString, 2, 1, "LED_SetPattern");
    requirePrint();
    ++readings;
}

// Runs when all else of the program and of its libraries is over: the only handler that is older than the libraries.
void readAtTheVeryEnd(int, void*) {
    readTables("handler registered before the libraries");
    require(readings == 5, "not read at each time");
    std::puts("read five times");
    std::fflush(stdout);
}

// Not atexit(): its handlers belong to the program and run before the libraries end, however old they are.
void registerBeforeTheLibraries() {
    on_exit(readAtTheVeryEnd, nullptr);
}

// The dynamic linker calls these before it starts any library.
[[gnu::section(".preinit_array"), gnu::used]] void (*const beforeTheLibraries)() = registerBeforeTheLibraries;

struct StaticReader {
    StaticReader() { readTables("static object's constructor"); }
    ~StaticReader() { readTables("static object's destructor"); }
};
const StaticReader staticReader;

// The library's data is moved into a program that is no position-independent code.
bool tablesAreInTheProgram() {
    Dl_info table;
    Dl_info program;
    require(dladdr(&stateToString, &table) != 0 && dladdr(&when, &program) != 0, "address of a table");
    return table.dli_fbase == program.dli_fbase;
}

} // namespace

int main() {
#ifdef TABLES_ARE_IN_THE_PROGRAM
    require(tablesAreInTheProgram(), "the tables stayed in the library, which is not what this program is for");
#else
    (void)tablesAreInTheProgram;
#endif
    std::atexit([] { readTables("handler registered in main"); });
    readTables("main");
}
