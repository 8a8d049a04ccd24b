#include "SysfsSetup.h"

#include <utility>

#include "Bytes.h"

namespace busrig {

namespace {

constexpr size_t maxSetupEntries = 1024;

} // namespace

void SysfsSetup::wrote(const std::string& file, const std::string& text, int writeResult) {
    remember(writeResult < 0 ? entry(file, text) + ": " + errnoName(-writeResult) : entry(file, text));
}

int SysfsSetup::result(const std::string& file, SysfsRefusal::When when, const std::string& logged) {
    const auto refusal = refusals.find(file);
    if (refusal == refusals.end() || refusal->second.when != when || !BusFaults::take(refusal->second.times)) return 0;
    ++refusedCount;
    remember(logged + ": " + errnoName(refusal->second.error));
    return -refusal->second.error;
}

std::string SysfsSetup::entry(const std::string& file, const std::string& text) {
    std::string line = file + " " + text;
    while (!line.empty() && line.back() == '\n') line.pop_back();
    for (char& character : line) {
        if (character < ' ' || character == ';') character = '?'; // the log travels on one line, separated by "; "
    }
    return line;
}

void SysfsSetup::remember(std::string text) {
    if (entries.size() == maxSetupEntries) entries.pop_front();
    entries.push_back(std::move(text));
}

} // namespace busrig
