#include "hostlink/HostLinkPrinter.h"

#include <mutex>
#include <string_view>
#include <type_traits>

#include "ValueNaming.h"
#include "hostlink/HostLinkIrqFrame.h"
#include "hostlink/HostLinkMessage.h"
#include "hostlink/HostLinkPacket.h"
#include "hostlink/HostLinkUInt16Message.h"
#include "hostlink/core/WireNumbers.h"

namespace {

// "0x" and at least `width` lower-case digits; wider numbers are not cut.
void appendHex(Text& text, uint64_t value, unsigned width) {
    unsigned digits = width;
    while (digits < 16 && value >> 4 * digits != 0) ++digits;
    char* at = text.roomFor(2 + 16);
    at[0] = '0';
    at[1] = 'x';
    for (unsigned i = 2 + digits; i-- > 2; value >>= 4) at[i] = "0123456789abcdef"[value & 15];
    text.wrote(2 + digits);
}

// A line begins with the number in hexadecimal, " - " and a label; the label brings the " - " along.
template <size_t size> void appendField(Text& text, uint64_t value, unsigned width, const char (&label)[size]) {
    appendHex(text, value, width);
    text += std::string_view(label, size - 1);
}

// ... and goes on with the same number in decimal, or with a name.
template <size_t size> void appendNumberLine(Text& text, uint64_t value, unsigned width, const char (&label)[size]) {
    appendField(text, value, width, label);
    appendDecimal(text, value);
    text += '\n';
}

template <size_t size>
void appendNameLine(Text& text, uint64_t value, unsigned width, const char (&label)[size], std::string_view name) {
    appendField(text, value, width, label);
    text += name;
    text += '\n';
}

template <typename Table>
std::string_view nameOr(const Table& table, typename Table::key_type key, std::string_view otherwise) {
    const auto name = table.find(key);
    return name != table.end() ? std::string_view(name->second) : otherwise;
}

// Guards formatToString among printing threads: an unknown format gains an entry with an empty name.
std::mutex& formatMutex() {
    static std::mutex mutex;
    static_assert(std::is_trivially_destructible_v<std::mutex>); // threads may print while the process ends
    return mutex;
}

void appendFormatName(Text& text, uint8_t flags) {
    const auto format = static_cast<LinkFrameFormat>(flags & formatMask);
    const std::lock_guard lock(formatMutex());
    text += formatToString[format];
}

void appendFlagsLine(Text& text, uint8_t flags) {
    appendField(text, flags, 2, " - flags: ");
    for (const auto& [bit, name] : flagsToString) {
        if ((flags & bit) == 0) continue;
        text += name;
        text += ' ';
    }
    appendFormatName(text, flags);
    text += '\n';
}

void appendListBody(Text& text, const ByteArray& bytes) {
    const HostLinkUInt16Message message(bytes);
    appendNumberLine(text, static_cast<uint64_t>(message.size()), 2, " - count: ");
    for (int i = 0; i < message.size(); ++i) {
        bool ok = false;
        const unsigned short state = message.get(i, &ok);
        appendNameLine(text, state, 4, " - state: ", ok ? nameOr(stateToString, state, "Unknown") : "Invalid");
    }
}

// A value of the item's own width, in place of the wire bytes.
template <typename T> T valueOf(const HostLinkVariant& item) {
    uint64_t value = 0;
    for (size_t i = 0; i < sizeof(T); ++i) value |= uint64_t{item.value.bytes[i]} << 8 * i;
    return static_cast<T>(value);
}

template <typename T>
void appendValueLine(Text& text, const ValueMessageParsing* parsing, const HostLinkVariant& item) {
    const T value = valueOf<T>(item);
    // A signed byte is printed through an int, so a negative one shows eight digits; the wider ones show their own
    // width.
    using Printed = std::conditional_t<sizeof(T) == 1, int, T>;
    const auto raw = static_cast<std::make_unsigned_t<Printed>>(static_cast<Printed>(value));
    appendField(text, raw, 2 * sizeof(T), " - value: ");
    appendValueName(text, parsing, item.tag, value);
    text += '\n';
}

void appendItem(Text& text, const ValueMessageParsing* parsing, const HostLinkVariant& item) {
    appendField(text, item.tag, 4, " - tag: ");
    appendTagName(text, parsing, item.tag);
    text += '\n';
    const auto encoding = static_cast<Encoding>(item.encoding);
    appendNameLine(text, encoding, 2, " - encoding: ", nameOr(encodingToString, encoding, "Unknown"));
    switch (encoding) {
    case ENC_Uint8: appendValueLine<uint8_t>(text, parsing, item); break;
    case ENC_Uint16: appendValueLine<uint16_t>(text, parsing, item); break;
    case ENC_Uint32: appendValueLine<uint32_t>(text, parsing, item); break;
    case ENC_Uint64: appendValueLine<uint64_t>(text, parsing, item); break;
    case ENC_Int8: appendValueLine<int8_t>(text, parsing, item); break;
    case ENC_Int16: appendValueLine<int16_t>(text, parsing, item); break;
    case ENC_Int32: appendValueLine<int32_t>(text, parsing, item); break;
    case ENC_Int64: appendValueLine<int64_t>(text, parsing, item); break;
    case ENC_Bin16: appendNumberLine(text, item.value.bin16.firstLength, 4, " - size: "); break;
    case ENC_Nil: break;
    }
}

void appendValueBody(Text& text, MessageId id, const ByteArray& bytes) {
    const auto size = static_cast<uint32_t>(bytes.size());
    const HostLinkLL buffer{const_cast<uint8_t*>(bytes.data()), size, size}; // only read from here on
    HostLinkVariantIter items{};
    const bool valid = hostLinkVariantIterator(&buffer, &items) == HOSTLINK_SUCCESS;
    const int count = valid ? items.count : 0;
    const ValueMessageParsing* parsing = parsingOf(id);
    appendNumberLine(text, static_cast<uint64_t>(count), 2, " - count: ");
    // An item that cannot be read hides its tag, and so do all behind it: where they start is not known.
    for (int i = 0; i < count; ++i) {
        HostLinkVariant item;
        if (hostLinkVariantIteratorGetNext(&items, &item) == HOSTLINK_SUCCESS) {
            appendItem(text, parsing, item);
        } else {
            text += "Invalid tag\n";
        }
    }
}

void appendBody(Text& text, MessageId id, const ByteArray& message) {
    switch (id) {
    case MSG_SetState:
    case MSG_StateChanged:
    case MSG_InputEvent:
    case MSG_DataTransfer:
    case MSG_TcpTunneling:
    case MSG_SetStateResponse:
    case MSG_GetStateResponse:
    case MSG_DataTransferResponse:
    case MSG_TcpTunnelingResponse: return appendValueBody(text, id, message);
    case MSG_GetState:
    case MSG_SubscribeState:
    case MSG_UnsubscribeState:
    case MSG_SubscribeStateResponse:
    case MSG_UnsubscribeStateResponse: return appendListBody(text, message);
    default: return;
    }
}

void appendPacket(Text& text, const ByteArray& packet) {
    const uint8_t* bytes = packet.data();
    appendField(text, hostLinkPacketGetSop(bytes), 4, " - sop\n");
    appendNumberLine(text, hostLinkPacketGetLength(bytes), 4, " - length: ");
    appendFlagsLine(text, hostLinkPacketGetFlags(bytes));
    appendNumberLine(text, hostLinkPacketGetFrameId(bytes), 2, " - frame id: ");
    appendNumberLine(text, hostLinkPacketGetPacketId(bytes), 2, " - packet id: ");
    text += "0x00 - padding\n";
}

void appendMessage(Text& text, const ByteArray& message) {
    const MessageId id = HostLinkMessage::messageId(message);
    if (id == MSG_Invalid) {
        text += "Invalid message id\n";
        return;
    }
    appendNameLine(text, id, 4, " - message id: ", nameOr(messageIdToString, id, "Unknown"));
    appendBody(text, id, message);
}

void appendIrqPayload(Text& text, const ByteArray& packet) {
    bool ok = false;
    const unsigned int payload = HostLinkIrqFrame::parse(packet, &ok);
    if (ok) {
        appendNumberLine(text, payload, 8, " - payload: ");
    } else {
        text += "Invalid irq payload\n";
    }
}

constexpr char invalidPacket[] = "Invalid packet\n";

} // namespace

std::string HostLinkPrinter::print(const ByteArray& packet) {
    if (!HostLinkPacket::verify(packet)) return invalidPacket;
    Text text;
    appendPacket(text, packet);
    // The format, not the frame type: a response is shown as a message packet without a message.
    const int format = hostLinkPacketGetFlags(packet.data()) & formatMask;
    if (format == FMT_Message) {
        appendMessage(text, {packet.begin() + HOSTLINK_PACKET_HEADER_SIZE, packet.end()});
    } else if (format == FMT_Irq) {
        appendIrqPayload(text, packet);
    }
    return text.string();
}

std::string HostLinkPrinter::printHostLinkPacket(const ByteArray& packet) {
    if (!HostLinkPacket::verify(packet)) return invalidPacket;
    Text text;
    appendPacket(text, packet);
    return text.string();
}

std::string HostLinkPrinter::printHostLinkMessage(const ByteArray& message) {
    Text text;
    appendMessage(text, message);
    return text.string();
}

std::string HostLinkPrinter::printHostLinkIrqFrame(const ByteArray& packet) {
    Text text;
    appendIrqPayload(text, packet);
    return text.string();
}

std::string HostLinkPrinter::printHostLinkState(State state) {
    return "Invalid (" + std::to_string(static_cast<int32_t>(state)) + ")";
}
