/// @file
/// The kinds of faults of a truth run, for the short tests and the long run.
#pragma once

#include <string>
#include <vector>

#include <hostsim/wire/WireFault.h>

namespace truth {

struct FaultKind {
    const char* name; ///< for test names and tables
    std::vector<faultywire::WireFault> faults;
};

/// Each alone, then all of them at once.
inline const std::vector<FaultKind>& faultKinds() {
    using faultywire::WireFault;
    static const std::vector<FaultKind> kinds{
        {"LostByte", {WireFault::LostByte}},
        {"CorruptedByte", {WireFault::CorruptedByte}},
        {"InsertedByte", {WireFault::InsertedByte}},
        {"RepeatedByte", {WireFault::RepeatedByte}},
        {"LostAnswer", {WireFault::LostAnswer}},
        {"LateAnswer", {WireFault::LateAnswer}},
        {"Nack", {WireFault::Nack}},
        {"Silence", {WireFault::Silence}},
        {"Mixed",
         {WireFault::LostByte, WireFault::CorruptedByte, WireFault::InsertedByte, WireFault::RepeatedByte,
          WireFault::LostAnswer, WireFault::LateAnswer, WireFault::Nack, WireFault::Silence}},
    };
    return kinds;
}

/// Without one.
inline FaultKind noFaults() {
    return {"None", {}};
}

} // namespace truth
