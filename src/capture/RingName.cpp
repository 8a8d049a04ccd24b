#include "RingName.h"

#include <algorithm>
#include <string_view>

namespace capture {

namespace {

// No objects: a recorder of the whole process is the last to go.
constexpr std::string_view head = "hostlink-";
constexpr std::string_view tail = ".pcapng";
constexpr std::size_t fewestDigits = 6;
constexpr std::size_t mostDigits = 18;

constexpr std::string_view announcement = "hostlink-recorder/";
constexpr std::size_t longestSocketName = 107; // sun_path without the zero in front

bool isAllOf(const std::string& text, const char* characters) {
    return !text.empty() && text.find_first_not_of(characters) == std::string::npos;
}

} // namespace

std::string nameOf(const RingFile& file) {
    const std::string number = std::to_string(file.number);
    const std::string zeros(fewestDigits - std::min(fewestDigits, number.size()), '0');
    return std::string(head) + zeros + number + "-" + file.writer + std::string(tail);
}

std::optional<RingFile> ringFileOf(const std::string& name) {
    const std::size_t least = head.size() + tail.size();
    if (name.size() < least || name.compare(0, head.size(), head) != 0 ||
        name.compare(name.size() - tail.size(), tail.size(), tail) != 0) {
        return {};
    }
    const std::string middle = name.substr(head.size(), name.size() - least);
    const std::size_t dash = middle.find('-');
    if (dash == std::string::npos || dash < fewestDigits || dash > mostDigits) return {};
    const std::string number = middle.substr(0, dash);
    const std::string writer = middle.substr(dash + 1);
    if (!isAllOf(number, "0123456789") || !isAllOf(writer, "0123456789.")) return {};
    return RingFile{std::stoull(number), writer};
}

std::optional<std::string> announcementOf(const RunningRecorder& recorder) {
    std::string name = std::string(announcement) + recorder.writer + recorder.folder;
    if (name.size() > longestSocketName || recorder.folder.find('\n') != std::string::npos) return {};
    return name;
}

// "0000000000000000: 00000002 00000000 00000000 0001 01 12345 @hostlink-recorder/4711/var/log/link"
std::optional<RunningRecorder> runningRecorderOf(const std::string& line) {
    const std::size_t at = line.find('@' + std::string(announcement));
    if (at == std::string::npos) return {};
    const std::string rest = line.substr(at + 1 + announcement.size());
    const std::size_t slash = rest.find('/');
    if (slash == std::string::npos || !isAllOf(rest.substr(0, slash), "0123456789.")) return {};
    return RunningRecorder{rest.substr(0, slash), rest.substr(slash)};
}

} // namespace capture
