#include "HexText.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <sstream>

#include "command/UsageError.h"

namespace command {

namespace {

constexpr char hexDigits[] = "0123456789abcdefABCDEF";

bool isTextual(const std::string& input) {
    for (const char character : input) {
        const auto code = static_cast<unsigned char>(character);
        if (std::isprint(code) == 0 && std::isspace(code) == 0) return false;
    }
    return true;
}

bool isHex(const std::string& text) {
    return !text.empty() && text.find_first_not_of(hexDigits) == std::string::npos;
}

unsigned digit(char character) {
    static const std::string digits = "0123456789abcdef";
    const int lower = std::tolower(static_cast<unsigned char>(character));
    return static_cast<unsigned>(digits.find(static_cast<char>(lower)));
}

// Where the digits of an offset end with which a line of a dump begins; 0 where
// there is none.
std::size_t offsetEnd(const std::string& line) {
    constexpr std::size_t fewestDigits = 7; // od prints so many, the others eight
    std::size_t end = line.find_first_not_of(hexDigits);
    if (end == std::string::npos) end = line.size();
    const bool ends = end == line.size() || line[end] == ':' || line.compare(end, 2, "  ") == 0;
    return end >= fewestDigits && ends ? end : 0;
}

// "00000010: fffe 0f00  ....", "00000010  ff fe 0f 00  |....|": without the offset,
// and the characters behind.
std::string withoutColumns(std::string line) {
    const std::size_t end = offsetEnd(line);
    const bool colon = end < line.size() && line[end] == ':';
    line.erase(0, end + (colon ? 1 : 0));
    const std::size_t begin = line.find_first_not_of(' ');
    std::size_t characters = line.find('|');
    if (colon && begin != std::string::npos) characters = std::min(characters, line.find("  ", begin));
    if (characters != std::string::npos) line.resize(characters);
    return line;
}

void append(ByteArray& bytes, std::string word, std::size_t lineNumber) {
    if (word.size() > 2 && word[0] == '0' && (word[1] == 'x' || word[1] == 'X')) word.erase(0, 2);
    if (!isHex(word) || word.size() % 2 != 0) {
        throw UsageError("line " + std::to_string(lineNumber) + ": '" + word +
                         "' is no bytes: two hexadecimal digits each");
    }
    for (std::size_t at = 0; at < word.size(); at += 2) {
        bytes.push_back(static_cast<ByteArray::value_type>(digit(word[at]) << 4 | digit(word[at + 1])));
    }
}

} // namespace

ByteArray bytesOf(const std::string& input) {
    if (!isTextual(input)) return ByteArray(input.begin(), input.end());
    ByteArray bytes;
    std::istringstream lines(input);
    std::size_t lineNumber = 0;
    bool isDump = false;
    for (std::string line; std::getline(lines, line);) {
        ++lineNumber;
        if (lineNumber == 1) isDump = line.size() > offsetEnd(line) && offsetEnd(line) > 0;
        if (isDump && line == "*")
            throw UsageError("line " + std::to_string(lineNumber) +
                             ": the dump leaves out bytes; make it with hexdump -v -C");
        if (isDump) line = withoutColumns(line);
        std::replace_if(
            line.begin(), line.end(), [](char c) { return c == ',' || c == ':' || c == ';' || c == '-'; }, ' ');
        std::istringstream words(line);
        for (std::string word; words >> word;) append(bytes, word, lineNumber);
    }
    return bytes;
}

} // namespace command
