#include "Troubleshooting.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <sstream>
#include <utility>

namespace command {

namespace {

// Less than this says nothing: "`0` or `1`".
constexpr std::size_t leastLetters = 6;

std::string trimmed(const std::string& text) {
    static constexpr char blanks[] = " \t\n\v\f\r";
    const std::size_t begin = text.find_first_not_of(blanks);
    return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(blanks) + 1 - begin);
}

std::vector<std::string> cellsOf(const std::string& row) {
    std::vector<std::string> cells;
    std::istringstream text(row.substr(1));
    for (std::string cell; std::getline(text, cell, '|');) cells.push_back(trimmed(cell));
    return cells;
}

std::vector<std::string> codeIn(const std::string& cell) {
    std::vector<std::string> found;
    for (std::size_t from = cell.find('`'); from != std::string::npos;) {
        const std::size_t to = cell.find('`', from + 1);
        if (to == std::string::npos) break;
        found.push_back(cell.substr(from + 1, to - from - 1));
        from = cell.find('`', to + 1);
    }
    return found;
}

bool standsForSomething(const std::string& word) {
    static const char* const names[] = {"N", "T", "C", "P", "NAME"};
    for (const char* name : names)
        if (word == name) return true;
    return false;
}

// What a line must hold, one behind the other.
std::vector<std::string> piecesOf(const std::string& code) {
    std::vector<std::string> pieces(1);
    static const std::string more = "…";
    for (std::size_t at = 0; at < code.size();) {
        std::size_t end = at;
        while (end < code.size() && std::isalnum(static_cast<unsigned char>(code[end])) != 0) ++end;
        const std::string word = code.substr(at, end - at);
        if (!word.empty()) {
            if (standsForSomething(word))
                pieces.emplace_back();
            else
                pieces.back() += word;
            at = end;
        } else if (code.compare(at, more.size(), more) == 0) {
            pieces.emplace_back();
            at += more.size();
        } else {
            pieces.back() += code[at++];
        }
    }
    for (std::string& piece : pieces) piece = trimmed(piece);
    pieces.erase(std::remove(pieces.begin(), pieces.end(), ""), pieces.end());
    return pieces;
}

// How many letters of the line the code explains; 0 when it is another line.
std::size_t likeness(const std::string& line, const std::string& code) {
    std::size_t at = 0;
    std::size_t letters = 0;
    for (const std::string& piece : piecesOf(code)) {
        at = line.find(piece, at);
        if (at == std::string::npos) return 0;
        at += piece.size();
        letters += piece.size();
    }
    return letters < leastLetters ? 0 : letters;
}

} // namespace

std::vector<Explanation> explanationsOf(const std::string& line, const std::string& page) {
    std::vector<std::pair<std::size_t, Explanation>> found;
    std::istringstream rows(page);
    for (std::string row; std::getline(rows, row);) {
        if (row.empty() || row.front() != '|') continue;
        const std::vector<std::string> cells = cellsOf(row);
        std::size_t best = 0;
        for (const std::string& code : codeIn(cells.front())) best = std::max(best, likeness(line, code));
        if (best == 0) continue;
        const bool hasMeaning = cells.size() > 2; // the last table tells only what to do
        found.push_back({best, {cells.front(), hasMeaning ? cells[1] : "", cells.back()}});
    }
    std::stable_sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.first > b.first; });
    std::vector<Explanation> explanations;
    explanations.reserve(found.size());
    for (auto& [likenessOfIt, explanation] : found) explanations.push_back(std::move(explanation));
    return explanations;
}

} // namespace command
