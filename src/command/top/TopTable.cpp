#include "TopTable.h"

#include <algorithm>

#include <string.h>

namespace command {

namespace {

constexpr std::size_t ageWidth = 7;
constexpr std::size_t countWidth = 8;
constexpr std::size_t between = 2;

bool isFirstByte(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) != 0x80; // of a character in UTF-8
}

std::size_t characters(const std::string& text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), isFirstByte));
}

std::string ageText(TopTable::Time::duration age) {
    const long seconds = static_cast<long>(std::chrono::duration_cast<std::chrono::seconds>(age).count());
    if (seconds < 60) return std::to_string(seconds) + " s";
    if (seconds < 3600) return std::to_string(seconds / 60) + " min";
    return std::to_string(seconds / 3600) + " h";
}

std::string rightOf(const std::string& text, std::size_t width) {
    return text.size() < width ? std::string(width - text.size(), ' ') + text : text;
}

// Numbers by their size.
int compared(const std::string& a, const std::string& b) {
    return ::strverscmp(a.c_str(), b.c_str());
}

} // namespace

std::string fitted(const std::string& text, std::size_t width) {
    std::string result;
    std::size_t count = 0;
    for (const char byte : text) {
        if (isFirstByte(byte) && ++count > width) return result;
        result += byte;
    }
    return result + std::string(width - count, ' ');
}

void TopTable::put(const std::string& state, const std::string& value, bool isChange, Time now) {
    Row& row = rows.try_emplace(state, Row{state, value, now, 0}).first->second;
    if (row.value != value || isChange) row.changed = now;
    row.value = value;
    if (isChange) ++row.count;
}

void TopTable::sortBy(Column wanted) {
    backwards = wanted == column && !backwards;
    column = wanted;
}

void TopTable::pause(Time now) {
    paused = !paused;
    pausedAt = now;
    if (paused) still = rows;
}

void TopTable::scroll(long count) {
    const long wanted = std::max(0L, static_cast<long>(top) + count);
    top = std::min(static_cast<std::size_t>(wanted), shownRows().empty() ? 0 : shownRows().size() - 1);
}

std::vector<TopTable::Row> TopTable::sorted() const {
    std::vector<Row> all;
    for (const auto& [state, row] : shownRows()) all.push_back(row);
    const auto before = [this](const Row& a, const Row& b) {
        switch (column) {
        case Column::State: return compared(a.state, b.state) < 0;
        case Column::Value: return compared(a.value, b.value) < 0;
        case Column::Age: return a.changed > b.changed; // the newest first
        case Column::Count: break;
        }
        return a.count > b.count; // the busiest first
    };
    if (backwards)
        std::stable_sort(all.begin(), all.end(), [&](const Row& a, const Row& b) { return before(b, a); });
    else
        std::stable_sort(all.begin(), all.end(), before);
    return all;
}

std::string TopTable::head(const std::vector<std::size_t>& widths) const {
    const char* mark = backwards ? "-" : "+";
    const auto titled = [&](const char* title, Column which) {
        return title + std::string(which == column ? mark : "");
    };
    return fitted(titled("STATE", Column::State), widths[0]) + "  " +
           fitted(titled("VALUE", Column::Value), widths[1]) + "  " + rightOf(titled("AGE", Column::Age), ageWidth) +
           "  " + rightOf(titled("CHANGES", Column::Count), countWidth);
}

std::vector<std::string> TopTable::lines(std::size_t width, std::size_t height, Time now) {
    if (paused) now = pausedAt;
    std::vector<std::size_t> widths{5, 0}; // of states and of values
    for (const auto& [state, row] : shownRows()) widths[0] = std::max(widths[0], characters(state));
    const std::size_t others = ageWidth + countWidth + 3 * between;
    const std::size_t left = width > others ? width - others : 0;
    widths[0] = std::min(widths[0], left / 2);
    widths[1] = left - widths[0];

    std::vector<std::string> text{fitted(head(widths), width)};
    const std::vector<Row> all = sorted();
    const std::size_t room = height > 1 ? height - 1 : 0;
    top = std::min(top, all.size() > room ? all.size() - room : 0);
    for (std::size_t i = top; i < all.size() && i - top < room; ++i) {
        const std::string line = fitted(all[i].state, widths[0]) + "  " + fitted(all[i].value, widths[1]) + "  " +
                                 rightOf(ageText(now - all[i].changed), ageWidth) + "  " +
                                 rightOf(std::to_string(all[i].count), countWidth);
        text.push_back(fitted(line, width));
    }
    return text;
}

} // namespace command
