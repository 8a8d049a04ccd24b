/// @file
/// Where random tests get their seed from.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

/// "Suite.Name" of the running test.
inline std::string nameOfRunningTest() {
    const testing::TestInfo* test = testing::UnitTest::GetInstance()->current_test_info();
    return test == nullptr ? "" : std::string(test->test_suite_name()) + "." + test->name();
}

/// The running test's own seed, the same in every run: its name's FNV-1a sum. HOSTLINK_TEST_SEED in the environment
/// takes its place: fresh ones in `make soak`. Printed.
inline uint32_t testSeed() {
    uint32_t seed = 2166136261U;
    for (const char letter : nameOfRunningTest()) seed = (seed ^ static_cast<unsigned char>(letter)) * 16777619U;
    const char* given = std::getenv("HOSTLINK_TEST_SEED");
    if (given != nullptr) seed = static_cast<uint32_t>(std::strtoul(given, nullptr, 10));
    std::cout << "repeat with HOSTLINK_TEST_SEED=" << seed << std::endl;
    return seed;
}

/// A generator with the running test's seed.
inline std::mt19937 seededGenerator() {
    return std::mt19937(testSeed());
}

/// That many random bytes.
inline std::vector<unsigned char> randomBytes(std::mt19937& generator, size_t count) {
    std::vector<unsigned char> bytes(count);
    for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(generator());
    return bytes;
}
