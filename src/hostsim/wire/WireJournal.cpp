#include "WireJournal.h"

#include <sstream>
#include <stdexcept>
#include <utility>

namespace faultywire {

namespace {

constexpr const char* noBytes = "-";

std::string toText(const ByteArray& bytes) {
    static const char digits[] = "0123456789abcdef";
    if (bytes.empty()) return noBytes;
    std::string text;
    for (const unsigned char byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

ByteArray bytesOf(const std::string& text) {
    if (text == noBytes) return {};
    ByteArray bytes;
    for (size_t i = 0; i + 1 < text.size(); i += 2) {
        bytes.push_back(static_cast<unsigned char>(std::stoi(text.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

} // namespace

void WireJournal::add(Entry entry) {
    if (!keeping) return;
    entry.at = std::chrono::steady_clock::now();
    entries.push_back(std::move(entry));
}

std::vector<Entry> WireJournal::take() {
    return std::exchange(entries, {});
}

std::string asText(const std::vector<Entry>& entries) {
    std::string text;
    for (const Entry& entry : entries) {
        if (!text.empty()) text += ' ';
        text += static_cast<char>(entry.kind);
        text += ' ' + std::to_string(entry.at.time_since_epoch().count());
        text += std::string(" ") + nameOf(entry.fault) + ' ' + std::to_string(entry.position);
        text += ' ' + toText(entry.sent) + ' ' + toText(entry.arrived);
    }
    return text;
}

std::vector<Entry> entriesFromText(const std::string& text) {
    std::istringstream stream(text);
    std::vector<Entry> entries;
    char kind = 0;
    while (stream >> kind) {
        Entry entry;
        entry.kind = static_cast<EntryKind>(kind);
        Moment::rep at = 0;
        std::string fault;
        std::string sent;
        std::string arrived;
        if (!(stream >> at >> fault >> entry.position >> sent >> arrived)) {
            throw std::invalid_argument("a journal that breaks off");
        }
        entry.at = Moment(Moment::duration(at));
        entry.fault = faultNamed(fault);
        entry.sent = bytesOf(sent);
        entry.arrived = bytesOf(arrived);
        entries.push_back(std::move(entry));
    }
    return entries;
}

} // namespace faultywire
