#include "Words.h"

#include <sstream>

#include <hostlink/HostLinkPacket.h>
#include <hostlink/HostLinkPrinter.h>
#include <hostlink/HostLinkVocabulary.h>

#include "command/Hex.h"

namespace command {

std::string indented(const std::string& text, const char* by) {
    std::istringstream lines(text);
    std::string result;
    for (std::string line; std::getline(lines, line);) result += by + line;
    return result;
}

namespace {

constexpr std::size_t packetIdOffset = 6;

const char* nameOf(Direction direction) {
    switch (direction) {
    case Direction::ToHost: return "toHost";
    case Direction::FromHost: return "fromHost";
    case Direction::Unknown: break;
    }
    return "";
}

// "12:00:00,123 to the host (line 7), "; empty where nothing is known.
std::string originOf(const Piece& piece) {
    std::string text = piece.time;
    const auto add = [&text](const std::string& more) { text += (text.empty() ? "" : " ") + more; };
    if (piece.direction == Direction::ToHost) add("to the host");
    if (piece.direction == Direction::FromHost) add("from the host");
    if (piece.line != 0) add("(line " + std::to_string(piece.line) + ")");
    return text.empty() ? "" : text + ", ";
}

std::string textOf(const ByteArray& packet) {
    std::string text = HostLinkPrinter::printHostLinkPacket(packet);
    if (HostLinkPacket::frameType(packet) == FRT_Irq) text += HostLinkPrinter::printHostLinkIrqFrame(packet);
    return text;
}

} // namespace

void Words::tellAll(const Piece& piece) {
    from = piece;
    for (const Stretch& stretch : findPackets(piece.bytes)) tell(stretch);
}

void Words::tellMessage(const ByteArray& message) {
    const std::string text = HostLinkPrinter::printHostLinkMessage(message);
    json::Object object = json::Object().number("at", 0).number("bytes", message.size());
    object.text("kind", "message").text("text", text).text("hex", hexOf(message, " "));
    out.line("message of " + std::to_string(message.size()) + " bytes" + indented(text), object);
}

void Words::tell(const Stretch& stretch) {
    if (stretch.kind == Stretch::Kind::Packet) return tellPacket(stretch);
    clean = false;
    const bool cutOff = stretch.kind == Stretch::Kind::CutOff;
    json::Object object = objectOf(stretch.at, stretch.bytes);
    object.text("kind", cutOff ? "cut off" : "no packet").text("hex", hexOf(stretch.bytes, " "));
    out.line(head(stretch) + (cutOff ? " of a packet that is cut off" : " that belong to no packet") +
                 indented(hexOf(stretch.bytes, " ")),
             object);
}

json::Object Words::objectOf(std::size_t at, const ByteArray& bytes) const {
    json::Object object;
    if (!from.time.empty()) object.text("time", from.time);
    if (from.direction != Direction::Unknown) object.text("direction", nameOf(from.direction));
    if (from.line != 0) object.number("line", from.line);
    return object.number("at", at).number("bytes", bytes.size());
}

std::string Words::head(const Stretch& stretch) const {
    return originOf(from) + "at " + std::to_string(stretch.at) + ": " + std::to_string(stretch.bytes.size()) + " bytes";
}

void Words::tellPacket(const Stretch& packet) {
    const std::string text = textOf(packet.bytes);
    json::Object object = objectOf(packet.at, packet.bytes);
    object.text("kind", "packet").number("frameType", HostLinkPacket::frameType(packet.bytes));
    object.number("frame", HostLinkPacket::frameId(packet.bytes)).truth("last", HostLinkPacket::isLast(packet.bytes));
    object.text("text", text).text("hex", hexOf(packet.bytes, " "));
    out.line(head(packet) + indented(text), object);
    if (HostLinkPacket::frameType(packet.bytes) == FRT_Message) gather(packet);
}

void Words::gather(const Stretch& packet) {
    const int id = HostLinkPacket::frameId(packet.bytes);
    auto& begun = frames[from.direction];
    if (packet.bytes[packetIdOffset] == 0) begun.erase(id);
    HostLinkFrame& frame = begun[id];
    if (frame.addPacket(packet.bytes) != 0 || !frame.complete()) return;
    const ByteArray message = frame.data();
    begun.erase(id);
    const std::string text = HostLinkPrinter::printHostLinkMessage(message);
    json::Object object = objectOf(packet.at, message);
    object.text("kind", "message").number("frame", id);
    object.text("text", text).text("hex", hexOf(message, " "));
    out.line("    message of " + std::to_string(message.size()) + " bytes" + indented(text, "\n        "), object);
}

} // namespace command
