// The text of a message for the log.
#include <iomanip>
#include <sstream>

#include <hostlink/HostLinkPrinter.h>
#include <hostlink/HostLinkVocabulary.h>

#include "Printers.h"
#include "Samples.h"

namespace bench {

void addPrinter(Cases* cases, const std::string& subject, const Print& print) {
    for (const size_t items : {1, 2, 5, 10, 20, 50, 100, 255}) {
        const std::vector<uint8_t> message = bytesOf(numbers(items));
        prove(print(message) == expectedText(items), subject, "the text of " + std::to_string(items) + " items");
        cases->push_back({"text", subject, std::to_string(items), [=] { return uint64_t{print(message).size()}; }});
    }
}

// Word by word what stands in a log, made with nothing but string literals.
std::string expectedText(size_t items) {
    const auto hex = [](unsigned number, size_t digits) {
        std::string text(digits, '0');
        for (size_t at = digits; number != 0; number /= 16) text[--at] = "0123456789abcdef"[number % 16];
        return "0x" + text;
    };
    std::string text = "0x0001 - message id: SetStateMessage\n" + hex(static_cast<unsigned>(items), 2) +
                       " - count: " + std::to_string(items) + "\n";
    for (unsigned i = 0; i < items; ++i) {
        text += "0x0013 - tag: MetaBitrate\n"
                "0xcd - encoding: Uint16\n" +
                hex(0x1000 + i, 4) + " - value: " + std::to_string(0x1000 + i) + "\n";
    }
    return text;
}

namespace {

std::string streamed(const std::vector<uint8_t>& message) {
    std::ostringstream text;
    const auto number = [&text](unsigned value, int digits) -> std::ostream& {
        return text << "0x" << std::hex << std::setw(digits) << std::setfill('0') << value << std::dec;
    };
    const ReadForPrint read(message);
    number(read.id, 4) << " - message id: " << messageIdToString.at(static_cast<MessageId>(read.id)) << '\n';
    number(read.count, 2) << " - count: " << read.count << '\n';
    read.each([&](unsigned tag, unsigned encoding, unsigned value) {
        number(tag, 4) << " - tag: " << stateToString.at(static_cast<unsigned short>(tag)) << '\n';
        number(encoding, 2) << " - encoding: " << encodingToString.at(static_cast<Encoding>(encoding)) << '\n';
        number(value, 4) << " - value: " << value << '\n';
    });
    return text.str();
}

} // namespace

void addPrintCases(Cases* cases) {
    addPrinter(cases, "printer", [](const auto& message) { return HostLinkPrinter::printHostLinkMessage(message); });
    addPrinter(cases, "ostringstream", streamed);
}

} // namespace bench
