/// @file
/// What the rows of the vocabulary tables are made of.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

#include "hostlink/HostLinkNumbers.h"

/// A number and the name that the log gives it.
struct Row {
    int32_t number;
    const char* name;
};

/// All rows of one table.
class Rows {
public:
    template <size_t count>
    constexpr Rows(const Row (&rows)[count]) : first(rows), last(rows + count) {} // NOLINT(*-explicit-*): see TagValues

    constexpr const Row* begin() const { return first; }
    constexpr const Row* end() const { return last; }

private:
    const Row* first;
    const Row* last;
};

/// The named values of one tag.
struct TagValues {
    uint16_t tag;
    Rows values;
};

/// Which tables name the items of one kind of message; without `values` no value has a name.
struct MessageNaming {
    MessageId id;
    const std::map<uint16_t, std::string>* tags;
    const std::map<uint16_t, std::map<int32_t, std::string>>* values;
};

constexpr bool isAscending(const Rows& rows) {
    for (const Row* row = rows.begin(); row + 1 < rows.end(); ++row) {
        if (row[0].number >= row[1].number) return false;
    }
    return true;
}
