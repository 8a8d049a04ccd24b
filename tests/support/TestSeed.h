/// @file
/// Where random tests get their seed from.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <random>
#include <vector>

/// A generator whose seed is printed. HOSTLINK_TEST_SEED in the environment takes a printed seed back.
inline std::mt19937 seededGenerator() {
    const char* given = std::getenv("HOSTLINK_TEST_SEED");
    const auto seed =
        given != nullptr ? static_cast<uint32_t>(std::strtoul(given, nullptr, 10)) : std::random_device()();
    std::cout << "repeat with HOSTLINK_TEST_SEED=" << seed << std::endl;
    return std::mt19937(seed);
}

/// That many random bytes.
inline std::vector<unsigned char> randomBytes(std::mt19937& generator, size_t count) {
    std::vector<unsigned char> bytes(count);
    for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(generator());
    return bytes;
}
