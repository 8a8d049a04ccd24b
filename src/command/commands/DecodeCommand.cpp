// decode: bytes in words.
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>

#include <hostlink/HostLinkFrame.h>
#include <hostlink/HostLinkPacket.h>
#include <hostlink/HostLinkPrinter.h>
#include <hostlink/HostLinkVocabulary.h>

#include "Declare.h"
#include "command/Hex.h"
#include "command/UsageError.h"
#include "command/decode/InputForm.h"
#include "command/decode/PacketFinder.h"

namespace command {

namespace {

constexpr int messageFrame = 3;

struct DecodeOptions {
    std::string file;
    std::string bytes;
};

std::string readAll(const DecodeOptions& options) {
    if (!options.bytes.empty()) return options.bytes;
    const auto contentOf = [](std::istream& input) { return std::string(std::istreambuf_iterator<char>(input), {}); };
    if (options.file.empty() || options.file == "-") return contentOf(std::cin);
    std::ifstream file(options.file, std::ios::binary);
    if (!file) throw UsageError("cannot read " + options.file);
    return contentOf(file);
}

std::string indented(const std::string& text) {
    std::istringstream lines(text);
    std::string result;
    for (std::string line; std::getline(lines, line);) result += "\n    " + line;
    return result;
}

const char* nameOf(Direction direction) {
    switch (direction) {
    case Direction::ToHost: return "toHost";
    case Direction::FromHost: return "fromHost";
    case Direction::Unknown: break;
    }
    return "";
}

// "12:00:00,123 to the host, line 7, "; empty where nothing is known.
std::string originOf(const Piece& piece) {
    std::string text = piece.time;
    const auto add = [&text](const std::string& more) { text += (text.empty() ? "" : " ") + more; };
    if (piece.direction == Direction::ToHost) add("to the host");
    if (piece.direction == Direction::FromHost) add("from the host");
    if (piece.line != 0) add("(line " + std::to_string(piece.line) + ")");
    return text.empty() ? "" : text + ", ";
}

/// Prints stretches, and messages where their last packet is.
class Words {
public:
    explicit Words(Output& output) : out(output) {}

    /// All packets of a piece, in their order.
    void tellAll(const Piece& piece) {
        from = &piece;
        for (const Stretch& stretch : findPackets(piece.bytes)) tell(stretch);
    }
    /// Whether everything was packets.
    bool wereAllPackets() const { return clean; }

private:
    void tell(const Stretch& stretch) {
        if (stretch.kind == Stretch::Kind::Packet) {
            tellPacket(stretch);
            return;
        }
        clean = false;
        const bool cutOff = stretch.kind == Stretch::Kind::CutOff;
        json::Object object = objectOf(stretch.at, stretch.bytes);
        object.text("kind", cutOff ? "cut off" : "no packet").text("hex", hexOf(stretch.bytes, " "));
        out.line(head(stretch) + (cutOff ? " of a packet that is cut off" : " that belong to no packet") +
                     indented(hexOf(stretch.bytes, " ")),
                 object);
    }
    json::Object objectOf(std::size_t at, const ByteArray& bytes) const {
        json::Object object;
        if (!from->time.empty()) object.text("time", from->time);
        if (from->direction != Direction::Unknown) object.text("direction", nameOf(from->direction));
        if (from->line != 0) object.number("line", from->line);
        return object.number("at", at).number("bytes", bytes.size());
    }
    std::string head(const Stretch& stretch) const {
        return originOf(*from) + "at " + std::to_string(stretch.at) + ": " + std::to_string(stretch.bytes.size()) +
               " bytes";
    }
    void tellPacket(const Stretch& packet) {
        const std::string text = HostLinkPrinter::printHostLinkPacket(packet.bytes);
        json::Object object = objectOf(packet.at, packet.bytes);
        object.text("kind", "packet").number("frameType", HostLinkPacket::frameType(packet.bytes));
        object.number("frame", HostLinkPacket::frameId(packet.bytes))
            .truth("last", HostLinkPacket::isLast(packet.bytes));
        object.text("text", text).text("hex", hexOf(packet.bytes, " "));
        out.line(head(packet) + indented(text), object);
        if (HostLinkPacket::frameType(packet.bytes) == messageFrame) gather(packet);
    }
    void gather(const Stretch& packet) {
        const int id = HostLinkPacket::frameId(packet.bytes);
        constexpr std::size_t packetIdOffset = 6;
        auto& begun = frames[from->direction];
        if (packet.bytes[packetIdOffset] == 0) begun.erase(id);
        HostLinkFrame& frame = begun[id];
        if (frame.addPacket(packet.bytes) != 0 || !frame.complete()) return;
        const ByteArray message = frame.data();
        begun.erase(id);
        const std::string text = HostLinkPrinter::printHostLinkMessage(message);
        json::Object object = objectOf(packet.at, message);
        object.text("kind", "message").number("frame", id);
        object.text("text", text).text("hex", hexOf(message, " "));
        out.line("    message of " + std::to_string(message.size()) + " bytes" + indented(indented(text).substr(1)),
                 object);
    }

    Output& out;
    const Piece* from = nullptr;                              ///< what is told
    std::map<Direction, std::map<int, HostLinkFrame>> frames; ///< begun and not complete, by their ids
    bool clean = true;
};

ExitCode decode(Program& program, const DecodeOptions& options) {
    const std::vector<Piece> pieces = piecesOf(readAll(options));
    Words words(program.output());
    for (const Piece& piece : pieces) words.tellAll(piece);
    return words.wereAllPackets() ? ExitCode::Good : ExitCode::HostSaidNo;
}

} // namespace

void declareDecode(CLI::App& app, Run& chosen) {
    auto options = std::make_shared<DecodeOptions>();
    auto* command = declareCommand(app, chosen, "decode",
                                   "Print packets and messages in words; exit code 1 when there were bytes that belong "
                                   "to none",
                                   options, decode);
    auto* file =
        command->add_option("FILE", options->file,
                            "Hexadecimal digits, a dump as xxd or hexdump -C print it, a log of the library at TRACE, "
                            "or the bytes themselves; without it the standard input");
    file->option_text(" ");
    command->add_option("--bytes", options->bytes, "The bytes, in place of a file: \"FF FE 08 00 A3 09 00 00\"")
        ->type_name("HEX")
        ->excludes(file);
}

} // namespace command
