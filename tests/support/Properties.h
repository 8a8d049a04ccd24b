/// @file
/// Properties over random input. The seed is printed; HOSTLINK_TEST_SEED takes it back.
#pragma once

#include <cstdlib>
#include <string>
#include <utility>

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <hostlink/ByteArray.h>

/// Hands HOSTLINK_TEST_SEED to rapidcheck, which reads its configuration when the first property is checked.
inline const bool propertySeedTaken = [] {
    const char* seed = std::getenv("HOSTLINK_TEST_SEED");
    const char* params = std::getenv("RC_PARAMS");
    if (seed == nullptr) return false;
    const std::string taken = std::string(params != nullptr ? params : "") + " seed=" + seed;
    return setenv("RC_PARAMS", taken.c_str(), 1) == 0;
}();

/// Checks a property on random input; rapidcheck prints its configuration, the seed in it, and a failing example.
template <typename Property> void holds(const std::string& description, Property&& property) {
    EXPECT_TRUE(rc::check(description, std::forward<Property>(property)));
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
