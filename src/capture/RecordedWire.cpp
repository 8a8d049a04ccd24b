#include "RecordedWire.h"

#include <algorithm>
#include <array>
#include <utility>

namespace capture {

namespace {

constexpr std::array<std::pair<Form, std::string_view>, 3> forms{
    {{Form::Pieces, "bytes"}, {Form::Transactions, "transactions"}, {Form::Packets, "packets"}}};

std::optional<Form> formNamed(std::string_view name) {
    for (const auto& [form, word] : forms)
        if (word == name) return form;
    return {};
}

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
    const std::optional<Form> form = formNamed(std::string_view(text).substr(blank + 1, comma - blank - 1));
    if (!form) return {};
    RecordedWire wire{text.substr(0, blank), *form, interface.name};
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
    for (const std::string& comment : packet.comments)
        if (comment == lineLow) return true;
    return false;
}

} // namespace capture
