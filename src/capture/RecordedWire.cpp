#include "RecordedWire.h"

#include <algorithm>
#include <array>
#include <utility>

namespace capture {

namespace {

constexpr std::array<std::pair<Form, std::string_view>, 3> forms{
    {{Form::Pieces, "bytes"}, {Form::Transactions, "transactions"}, {Form::Packets, "packets"}}};

} // namespace

std::string_view nameOf(Form form) {
    return std::find_if(forms.begin(), forms.end(), [form](const auto& row) { return row.first == form; })->second;
}

Interface interfaceOf(const RecordedWire& wire) {
    Interface interface;
    interface.name = wire.device;
    interface.description = wire.kind + " " + std::string(nameOf(wire.form));
    if (!wire.words.empty()) interface.description += ", " + wire.words;
    return interface;
}

std::optional<RecordedWire> wireOf(const Interface& interface) {
    const std::string& text = interface.description;
    const std::size_t blank = text.find(' ');
    if (blank == std::string::npos || blank == 0) return {};
    const std::size_t comma = std::min(text.find(','), text.size());
    if (comma < blank) return {};
    const std::string_view name = std::string_view(text).substr(blank + 1, comma - blank - 1);
    const auto form = std::find_if(forms.begin(), forms.end(), [name](const auto& row) { return row.second == name; });
    if (form == forms.end()) return {};
    RecordedWire wire{text.substr(0, blank), form->first, interface.name};
    const std::size_t words = text.find_first_not_of(", ", comma);
    if (words != std::string::npos) wire.words = text.substr(words);
    return wire;
}

std::string verdictOf(const Packet& packet) {
    for (const std::string& comment : packet.comments)
        if (comment.compare(0, verdictWord.size(), verdictWord) == 0) return comment.substr(verdictWord.size());
    return "";
}

bool isEdge(const Packet& packet) {
    return std::find(packet.comments.begin(), packet.comments.end(), lineLow) != packet.comments.end();
}

} // namespace capture
