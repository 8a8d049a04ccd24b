// The text of a message by fmt.
#include <iterator>

#include <fmt/format.h>

#include <hostlink/HostLinkVocabulary.h>

#include "Peers.h"
#include "cases/Printers.h"

namespace bench {

namespace {

std::string formatted(const std::vector<uint8_t>& message) {
    fmt::memory_buffer text;
    const auto to = std::back_inserter(text);
    const ReadForPrint read(message);
    fmt::format_to(to, "0x{:04x} - message id: {}\n", read.id, messageIdToString.at(static_cast<MessageId>(read.id)));
    fmt::format_to(to, "0x{:02x} - count: {}\n", read.count, read.count);
    read.each([&](unsigned tag, unsigned encoding, unsigned value) {
        fmt::format_to(to, "0x{:04x} - tag: {}\n", tag, stateToString.at(static_cast<uint16_t>(tag)));
        fmt::format_to(to, "0x{:02x} - encoding: {}\n", encoding, encodingToString.at(static_cast<Encoding>(encoding)));
        fmt::format_to(to, "0x{:04x} - value: {}\n", value, value);
    });
    return fmt::to_string(text);
}

} // namespace

void addPrintPeers(Cases* cases) {
    addPrinter(cases, "fmt", formatted);
}

} // namespace bench
