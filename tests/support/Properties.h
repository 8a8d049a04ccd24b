/// @file
/// Properties over random input: the same input in every run, unless HOSTLINK_TEST_SEED or RC_PARAMS gives another
/// seed.
#pragma once

#include <cstdlib>
#include <iostream>
#include <string>
#include <utility>

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <hostlink/ByteArray.h>

#include "TestSeed.h"

/// What RC_PARAMS says; where that names no seed, the running test's.
inline rc::detail::TestParams propertyParameters() {
    static const std::string given = [] {
        const char* text = std::getenv("RC_PARAMS");
        return std::string(text == nullptr ? "" : text);
    }();
    if (given.find("seed=") != std::string::npos) return rc::detail::configuration().testParams;
    const uint32_t seed = testSeed();
    // rapidcheck reads this once and prints it: without a seed there it would draw, and print, one that nobody uses.
    setenv("RC_PARAMS", (given + " seed=" + std::to_string(seed)).c_str(), 1);
    rc::detail::TestParams parameters = rc::detail::configuration().testParams;
    parameters.seed = seed;
    return parameters;
}

/// Checks a property on random input; tells a failing example and how to bring it back.
template <typename Property> void holds(const std::string& description, Property&& property) {
    const rc::detail::TestParams parameters = propertyParameters();
    std::cerr << "- " << description << std::endl;
    rc::detail::TestMetadata metadata;
    metadata.id = nameOfRunningTest() + ": " + description;
    metadata.description = description;
    const auto result = rc::detail::checkTestable(std::forward<Property>(property), metadata, parameters);
    rc::detail::printResultMessage(result, std::cerr);
    std::cerr << std::endl;
    EXPECT_TRUE(result.template is<rc::detail::SuccessResult>());
}

inline rc::Gen<ByteArray> bytesUpTo(size_t longest) {
    return rc::gen::mapcat(rc::gen::inRange<size_t>(0, longest + 1), [](size_t count) {
        return rc::gen::container<ByteArray>(count, rc::gen::arbitrary<unsigned char>());
    });
}

/// Bytes in which whole and half start marks are frequent.
inline rc::Gen<ByteArray> bytesNearMarks(size_t longest) {
    const auto byte = rc::gen::weightedOneOf<unsigned char>({{3, rc::gen::just<unsigned char>(0xFF)},
                                                             {1, rc::gen::just<unsigned char>(0xFE)},
                                                             {4, rc::gen::arbitrary<unsigned char>()}});
    return rc::gen::mapcat(rc::gen::inRange<size_t>(0, longest + 1),
                           [byte](size_t count) { return rc::gen::container<ByteArray>(count, byte); });
}
