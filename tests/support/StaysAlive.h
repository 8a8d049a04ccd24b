/// @file
/// What would take the whole program with it, or never come back, if it went wrong: tried in a process of its own.
#pragma once

#include <cstdlib>

#include <unistd.h>

#include <gtest/gtest.h>

/// From now on the copy is a new start of the program that runs the same test: one thread, whatever this one has.
inline void startAlone() {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
}

/// Runs `statement` in a copy of this process and fails when that crashes, or hangs for far longer than it takes.
/// A test that starts threads belongs to a suite with "DeathTest" at the end of its name and calls startAlone() first.
#define EXPECT_STAYS_ALIVE(statement)                                                                                  \
    EXPECT_EXIT(                                                                                                       \
        {                                                                                                              \
            alarm(30);                                                                                                 \
            statement;                                                                                                 \
            std::_Exit(EXIT_SUCCESS);                                                                                  \
        },                                                                                                             \
        testing::ExitedWithCode(EXIT_SUCCESS), "")
