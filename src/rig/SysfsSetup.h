/// @file
/// The set-up of GPIO lines through files: what was written, and which files refuse.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>

#include "BusFaults.h"

namespace busrig {

/// How a file of /sys/class/gpio refuses.
struct SysfsRefusal {
    enum class When { Open, Write };
    When when = When::Open;
    int error = 0;
    unsigned times = BusFaults::forever; ///< how often
};

/// Refusals by the name of the file ("export", "direction", "edge", "value"), and the log of all writes. Not locked.
class SysfsSetup {
public:
    void refuse(const std::string& file, SysfsRefusal refusal) { refusals[file] = refusal; }

    void forgetRefusals() { refusals.clear(); }

    /// 0, or the negative errno with which opening the file is to fail. A refusal is logged.
    int openResult(const std::string& file) { return result(file, SysfsRefusal::When::Open, "open " + file); }

    /// 0, or the negative errno with which the write is to fail. A refusal is logged.
    int writeRefusal(const std::string& file, const std::string& text) {
        return result(file, SysfsRefusal::When::Write, entry(file, text));
    }

    /// A write that was carried out with this result (bytes, or a negative errno).
    void wrote(const std::string& file, const std::string& text, int writeResult);

    /// "export 17", "edge falling", "export 17: EBUSY", "open edge: EACCES", oldest first; the latest 1024.
    const std::deque<std::string>& log() const { return entries; }

    uint64_t refused() const { return refusedCount; }

private:
    int result(const std::string& file, SysfsRefusal::When when, const std::string& logged);
    static std::string entry(const std::string& file, const std::string& text);
    void remember(std::string text);

    std::map<std::string, SysfsRefusal> refusals;
    std::deque<std::string> entries;
    uint64_t refusedCount = 0;
};

} // namespace busrig
