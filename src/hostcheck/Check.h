/// @file
/// The checks.
#pragma once

#include <vector>

namespace hostcheck {

class Bench;

enum class Wires { All, Serial, Bus };

struct Check {
    const char* name;
    const char* group;
    Wires wires;
    bool destructive; ///< changes states or writes files
    unsigned rule;    ///< that it is about
    const char* does;
    const char* expects;
    void (*run)(Bench&); ///< @throw Failure, Skip
};

/// In the order in which they are made.
const std::vector<Check>& allChecks();

/// @name The groups of the table
/// @{
std::vector<Check> answerChecks();
std::vector<Check> byteChecks();
std::vector<Check> frameChecks();
std::vector<Check> resetChecks();
std::vector<Check> sizeChecks();
std::vector<Check> ownPacketChecks();
std::vector<Check> messageChecks();
std::vector<Check> stateChecks();
std::vector<Check> transferChecks();
std::vector<Check> loadChecks();
std::vector<Check> busChecks();
/// @}

} // namespace hostcheck
