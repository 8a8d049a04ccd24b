/// @file
/// What is measured, whatever it is measured with.
#pragma once

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace bench {

/// One piece of work. `run` does it once and returns a number made of what came out.
struct Case {
    std::string group;   ///< what is done, for example "checksum"
    std::string subject; ///< who does it: a part of the library, a competitor, or a floor
    std::string point;   ///< on what: a sample's name, or a size
    std::function<uint64_t()> run;
};

using Cases = std::vector<Case>;

/// A competitor that does not reproduce a sample is not compared with.
struct NotReproduced : std::runtime_error {
    NotReproduced(const std::string& who, const std::string& what)
        : std::runtime_error(who + " does not reproduce " + what) {}
};

/// Throws unless `holds`.
inline void prove(bool holds, const std::string& who, const std::string& what) {
    if (!holds) throw NotReproduced(who, what);
}

// What the library does, and the floors beside it. Each proves first that both give the same.
void addWholePathCases(Cases* cases);
void addLogCases(Cases* cases);
void addMessageCases(Cases* cases);
void addIndexCases(Cases* cases);
void addChecksumCases(Cases* cases);
void addScanCases(Cases* cases);
void addPrintCases(Cases* cases);
void addTransportCases(Cases* cases);
/// The work over a growing number of bytes, observers or open frames.
void addGrowthCases(Cases* cases);

/// All of the above.
Cases ownCases();

} // namespace bench
