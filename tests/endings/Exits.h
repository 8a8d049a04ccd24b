/// @file
/// Programs that end while their link is alive and busy.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

/// One way to end, as the program `exiting` names it.
struct ExitCase {
    std::string link;
    std::string way;
};
inline std::string nameOf(const ExitCase& exitCase) {
    return exitCase.link + "_" + exitCase.way;
}
inline void PrintTo(const ExitCase& exitCase, std::ostream* out) {
    *out << nameOf(exitCase);
}

/// The ways of one link.
inline std::vector<ExitCase> everyWayOf(const std::string& link) {
    std::vector<ExitCase> cases;
    for (const char* way : {"exit", "return", "static", "appender", "observer"}) cases.push_back({link, way});
    return cases;
}

/// Runs the program so often, each time ending it after a random delay: it must end on its own, in time and well. In a
/// hunt once, under a scheduler that is against it; delay and scheduler follow from the hunt's seed.
void expectGoodExits(const ExitCase& exitCase, int times);
