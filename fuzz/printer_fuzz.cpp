// The printer against one that writes the same text from the same tables with a string stream.
#include <cstdint>
#include <iomanip>
#include <limits>
#include <optional>
#include <sstream>
#include <string>

#include <hostlink/HostLinkPrinter.h>
#include <hostlink/HostLinkVocabulary.h>

#include "support/Input.h"
#include "support/Replies.h"
#include "support/Require.h"
#include "support/WireReference.h"

namespace {

std::string hexOf(uint64_t value, int digits) {
    std::ostringstream text;
    text << "0x" << std::hex << std::setfill('0') << std::setw(digits) << value;
    return text.str();
}

std::string numberLine(uint64_t value, int digits, const std::string& label) {
    return hexOf(value, digits) + " - " + label + ": " + std::to_string(value) + "\n";
}

template <typename Table, typename Key> std::string nameIn(const Table& table, Key key, const std::string& otherwise) {
    const auto found = table.find(static_cast<typename Table::key_type>(key));
    return found == table.end() ? otherwise : found->second;
}

std::string headerText(const ByteArray& bytes) {
    if (reference::packetCode(bytes) != 0) return "Invalid packet\n";
    const reference::Packet packet(bytes);
    std::string flags;
    for (const unsigned bit : {0x20U, 0x40U, 0x80U}) {
        if ((packet.flags & bit) != 0) flags += nameIn(flagsToString, bit, "?") + " ";
    }
    flags += packet.format() >= 1 && packet.format() <= 3 ? nameIn(formatToString, packet.format(), "?") : "";
    return "0xfeff - sop\n" + numberLine(packet.length, 4, "length") + hexOf(packet.flags, 2) + " - flags: " + flags +
           "\n" + numberLine(packet.frameId, 2, "frame id") + numberLine(packet.packetId, 2, "packet id") +
           "0x00 - padding\n";
}

std::string listText(const ByteArray& message) {
    const unsigned count = message.size() >= 3 ? message[2] : 0;
    if (3 + 2 * count > message.size() || message.size() < 3) return numberLine(0, 2, "count");
    std::string text = numberLine(count, 2, "count");
    for (unsigned i = 0; i < count; ++i) {
        const unsigned state = reference::word(message, 3 + 2 * i);
        text += hexOf(state, 4) + " - state: " + nameIn(stateToString, state, "Unknown") + "\n";
    }
    return text;
}

/// A number as it stands in an item: `width` bytes, extended to 64 bits by its sign where it has one.
struct Number {
    Number(const ByteArray& bytes, bool hasSign) : width(bytes.size()), isSigned(hasSign) {
        for (size_t i = width; i-- > 0;) raw = raw << 8 | bytes[i];
        extended = raw;
        if (hasSign && width < 8 && (bytes.back() & 0x80) != 0)
            extended |= std::numeric_limits<uint64_t>::max() << 8 * width;
    }

    std::string decimal() const {
        return isSigned ? std::to_string(static_cast<int64_t>(extended)) : std::to_string(raw);
    }
    // A negative byte shows as the 32-bit number it was widened to.
    std::string hex() const {
        const bool wide = width == 1 && isSigned;
        return hexOf(wide ? extended & 0xFFFFFFFF : raw, static_cast<int>(2 * width));
    }

    size_t width;
    bool isSigned;
    uint64_t raw = 0;
    uint64_t extended = 0;
};

// Bits 32 and up of a 64-bit value show those below once more; bit 31 stands for itself and all above.
std::string bitNames(const Number& number, const std::map<int32_t, std::string>& names) {
    std::string text;
    for (unsigned bit = 0; bit < 8 * number.width; ++bit) {
        const unsigned low = bit % 32;
        const bool set = low == 31 ? number.extended >> 31 != 0 : (number.extended >> low & 1) != 0;
        if (!set) continue;
        if (!text.empty()) text += "|";
        text += nameIn(names, static_cast<int32_t>(1U << low), "UNDEF_BIT" + std::to_string(bit));
    }
    return text.empty() ? "None" : text;
}

std::string valueName(unsigned messageId, unsigned tag, const Number& number) {
    const auto parsing = messageIdToTagMap.find(static_cast<MessageId>(messageId));
    if (parsing == messageIdToTagMap.end()) return number.decimal();
    const auto& tables = parsing->second.tagAndValueToString;
    const auto names = tables.find(static_cast<uint16_t>(tag));
    if (names == tables.end()) return number.decimal();
    const auto name = names->second.find(static_cast<int32_t>(static_cast<uint32_t>(number.extended)));
    if (name == names->second.end()) return number.decimal();
    return stateBitFlag.count(static_cast<uint16_t>(tag)) != 0 ? bitNames(number, names->second) : name->second;
}

/// The text of the item at `at`, which is moved behind it; nothing when it cannot be read.
std::optional<std::string> itemText(const ByteArray& message, unsigned id, size_t& at) {
    static const std::map<unsigned, size_t> widths{{192, 0}, {197, 0}, {204, 1}, {205, 2}, {206, 4},
                                                   {207, 8}, {208, 1}, {209, 2}, {210, 4}, {211, 8}};
    if (message.size() - at < 3) return std::nullopt;
    const unsigned tag = reference::word(message, at);
    const unsigned encoding = message[at + 2];
    const auto width = widths.find(encoding);
    if (width == widths.end()) return std::nullopt;
    size_t end = at + 3 + width->second;
    if (encoding == 197) {
        if (message.size() - at < 5) return std::nullopt;
        end = at + 5 + reference::word(message, at + 3);
    }
    if (end > message.size()) return std::nullopt;

    const auto parsing = messageIdToTagMap.find(static_cast<MessageId>(id));
    const std::string unknown = "Unknown (" + std::to_string(tag) + ")";
    std::string text = hexOf(tag, 4) + " - tag: ";
    text += (parsing == messageIdToTagMap.end() ? unknown : nameIn(parsing->second.tagToString, tag, unknown)) + "\n";
    text += hexOf(encoding, 2) + " - encoding: " + nameIn(encodingToString, encoding, "Unknown") + "\n";
    if (encoding == 197) {
        text += numberLine(reference::word(message, at + 3), 4, "size");
    } else if (width->second > 0) {
        const Number number(slice(message, at + 3, end), encoding >= 208);
        text += number.hex() + " - value: " + valueName(id, tag, number) + "\n";
    }
    at = end;
    return text;
}

std::string valuesText(const ByteArray& message, unsigned id) {
    const unsigned count = message.size() >= 3 ? message[2] : 0;
    if (message.size() < 3 || 3 + 3 * count > message.size()) return numberLine(0, 2, "count");
    std::string text = numberLine(count, 2, "count");
    size_t at = 3;
    bool readable = true;
    for (unsigned i = 0; i < count; ++i) {
        const std::optional<std::string> item = readable ? itemText(message, id, at) : std::nullopt;
        readable = item.has_value();
        text += item.value_or("Invalid tag\n");
    }
    return text;
}

std::string messageText(const ByteArray& message) {
    const unsigned id = message.size() < 2 ? 0 : reference::word(message, 0);
    if (id == 0) return "Invalid message id\n";
    std::string head = hexOf(id, 4) + " - message id: " + nameIn(messageIdToString, id, "Unknown") + "\n";
    for (const unsigned list : {2U, 3U, 5U, 0x8003U, 0x8005U}) {
        if (id == list) return head + listText(message);
    }
    for (const unsigned value : {1U, 4U, 6U, 7U, 8U, 0x8001U, 0x8002U, 0x8007U, 0x8009U}) {
        if (id == value) return head + valuesText(message, id);
    }
    return head;
}

// A frame that carries 0 reads as one that carries nothing.
std::string irqText(const ByteArray& packet) {
    const uint32_t value = reference::packetCode(packet) == 0 ? irqValue(packet) : 0;
    return value == 0 ? "Invalid irq payload\n" : numberLine(value, 8, "payload");
}

std::string packetText(const ByteArray& bytes) {
    std::string text = headerText(bytes);
    if (reference::packetCode(bytes) != 0) return text;
    const unsigned format = reference::Packet(bytes).format();
    if (format == 3) text += messageText(slice(bytes, 8, bytes.size()));
    if (format == 2) text += irqText(bytes);
    return text;
}

void checkTableOfFormats() {
    require(formatToString.size() <= 8, "there are eight formats at most");
    for (const auto& [format, name] : formatToString)
        require((format >= 1 && format <= 3) != name.empty(), "unknown formats have empty names");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    const unsigned choice = input.byte();
    ByteArray packet = choice % 4 == 0 ? input.rest() : packetOf(choice, 1, 2, input.rest());
    packet.resize(std::min(packet.size(), reference::longestPacket));
    packet.shrink_to_fit();
    const ByteArray message = slice(packet, std::min<size_t>(packet.size(), 8), packet.size());

    require(HostLinkPrinter::print(packet) == packetText(packet), "a packet with what it carries");
    require(HostLinkPrinter::printHostLinkPacket(packet) == headerText(packet), "a packet's header");
    require(HostLinkPrinter::printHostLinkMessage(packet) == messageText(packet), "a message");
    require(HostLinkPrinter::printHostLinkMessage(message) == messageText(message), "a message without its packet");
    require(HostLinkPrinter::printHostLinkIrqFrame(packet) == irqText(packet), "an IRQ frame's payload");
    const auto state = static_cast<int32_t>(choice << 24 | reference::longestPacket);
    require(HostLinkPrinter::printHostLinkState(static_cast<State>(state)) == "Invalid (" + std::to_string(state) + ")",
            "a state");
    checkTableOfFormats();
    return 0;
}
