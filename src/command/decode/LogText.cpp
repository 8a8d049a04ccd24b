#include "LogText.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <optional>
#include <sstream>
#include <utility>

namespace command {

namespace {

// What the links write above a dump.
constexpr std::pair<const char*, Direction> titles[] = {
    {"Writing data to uart:", Direction::ToHost}, {"Writing data:", Direction::ToHost},
    {"Sending IRQ frame:", Direction::ToHost},    {"Received data from uart:", Direction::FromHost},
    {"Read slave message:", Direction::FromHost}, {"Received response:", Direction::FromHost},
};

bool isDigit(char character) {
    return std::isdigit(static_cast<unsigned char>(character)) != 0;
}

bool isHex(char character) {
    return std::isxdigit(static_cast<unsigned char>(character)) != 0;
}

std::string withoutEnd(std::string line) {
    line.erase(line.find_last_not_of(" \t\r") + 1);
    return line;
}

struct DumpLine {
    std::size_t offset = 0;
    ByteArray bytes;
};

// "0x0010: ff fe 0f", whatever stands before; none when it is another line.
std::optional<DumpLine> dumpLineIn(const std::string& whole) {
    const std::string line = withoutEnd(whole);
    const std::size_t begin = line.rfind("0x");
    if (begin == std::string::npos) return std::nullopt;
    constexpr std::size_t fewestDigits = 4;
    std::size_t at = begin + 2;
    while (at < line.size() && isHex(line[at])) ++at;
    if (at - begin - 2 < fewestDigits || line.compare(at, 2, ": ") != 0) return std::nullopt;
    DumpLine dump;
    dump.offset = std::strtoul(line.c_str() + begin, nullptr, 16);
    for (at += 1; at < line.size(); at += 3) {
        if (at + 2 >= line.size() || line[at] != ' ' || !isHex(line[at + 1]) || !isHex(line[at + 2]))
            return std::nullopt;
        dump.bytes.push_back(
            static_cast<ByteArray::value_type>(std::strtoul(line.substr(at + 1, 2).c_str(), nullptr, 16)));
    }
    return dump;
}

std::optional<Direction> directionIn(const std::string& line) {
    const std::string text = withoutEnd(line);
    for (const auto& [title, direction] : titles) {
        const std::string end = title;
        if (text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0) return direction;
    }
    return std::nullopt;
}

// Where "12:34:56" begins; the end when it does not stand there.
std::size_t clockIn(const std::string& line) {
    constexpr std::size_t length = 8;
    for (std::size_t at = 0; at + length <= line.size(); ++at) {
        bool fits = true;
        for (std::size_t i = 0; i < length && fits; ++i)
            fits = i % 3 == 2 ? line[at + i] == ':' : isDigit(line[at + i]);
        if (fits) return at;
    }
    return std::string::npos;
}

// With the date before it and the fraction behind; without a clock the number with which the line begins, the
// milliseconds of the plainest layout.
std::string timeIn(const std::string& line) {
    const std::size_t clock = clockIn(line);
    if (clock == std::string::npos) return line.substr(0, line.find_first_not_of("0123456789"));
    const auto isOfDate = [](char c) { return isDigit(c) || c == '-' || c == '/' || c == '.' || c == 'T'; };
    std::size_t begin = clock;
    if (begin > 1 && line[begin - 1] == ' ' && isOfDate(line[begin - 2])) --begin;
    while (begin > 0 && isOfDate(line[begin - 1])) --begin;
    if (line.find_first_of("-/.", begin) > clock) begin = clock; // a day without its month is no date
    std::size_t end = clock + 8;
    while (end < line.size() && (isDigit(line[end]) || line[end] == ',' || line[end] == '.' || line[end] == 'Z')) ++end;
    return line.substr(begin, end - begin);
}

constexpr auto idleByte = static_cast<ByteArray::value_type>(0xFF);

// A bus is read for as many bytes as a packet may have; the rest is idle, and no packet ends in such a byte.
void dropIdle(Piece& piece) {
    const auto last =
        std::find_if(piece.bytes.rbegin(), piece.bytes.rend(), [](auto byte) { return byte != idleByte; });
    if (last != piece.bytes.rend()) piece.bytes.erase(last.base(), piece.bytes.end());
}

} // namespace

bool isLog(const std::string& input) {
    std::istringstream lines(input);
    std::string above;
    for (std::string line; std::getline(lines, line); above = line) {
        if (directionIn(above) && dumpLineIn(line)) return true;
    }
    return false;
}

std::vector<Piece> piecesOfLog(const std::string& input) {
    std::vector<Piece> pieces;
    std::istringstream lines(input);
    std::string above;
    bool open = false; // lines that go on belong to the last piece
    std::size_t number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        const auto dump = dumpLineIn(line);
        const auto direction = directionIn(above);
        if (dump && dump->offset == 0 && direction) {
            pieces.push_back({dump->bytes, *direction, timeIn(above), number - 1});
            open = true;
        } else if (dump && open && dump->offset == pieces.back().bytes.size()) {
            pieces.back().bytes.insert(pieces.back().bytes.end(), dump->bytes.begin(), dump->bytes.end());
        } else {
            open = false;
        }
        above = line;
    }
    for (Piece& piece : pieces) {
        if (piece.direction == Direction::FromHost) dropIdle(piece);
    }
    return pieces;
}

} // namespace command
