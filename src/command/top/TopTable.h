/// @file
/// A table of states, as text.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace command {

/// Values, how old they are, and how often they have changed. Knows no terminal and no clock. Not locked.
class TopTable {
public:
    using Time = std::chrono::steady_clock::time_point;
    enum class Column { State, Value, Age, Count };

    /// A state has this value from now on.
    /// @param isChange it was told, not read: it counts
    void put(const std::string& state, const std::string& value, bool isChange, Time now);

    /// Sorts by this column; by the one by which it is sorted already, the other way round.
    void sortBy(Column wanted);
    /// Stands still, or goes on with what has come meanwhile.
    void pause(Time now);
    bool isPaused() const { return paused; }
    /// Shows rows further down, or up where it is negative.
    void scroll(long count);

    /// The table with its head: `height` lines at most, none longer than `width` characters.
    std::vector<std::string> lines(std::size_t width, std::size_t height, Time now);

private:
    struct Row {
        std::string state;
        std::string value;
        Time changed;
        std::uint64_t count;
    };

    const std::map<std::string, Row>& shownRows() const { return paused ? still : rows; }
    std::vector<Row> sorted() const;
    std::string head(const std::vector<std::size_t>& widths) const;

    std::map<std::string, Row> rows;
    std::map<std::string, Row> still; ///< as they were when the pause began
    bool paused = false;
    Time pausedAt;
    Column column = Column::State;
    bool backwards = false;
    std::size_t top = 0; ///< the first row that is shown
};

/// As many characters of it as fit, filled up with blanks.
std::string fitted(const std::string& text, std::size_t width);

} // namespace command
