/// @file
/// A bound for what a test has started and cannot do without.
#pragma once

#include <chrono>
#include <cstdlib>
#include <future>
#include <iostream>

#include <gtest/gtest.h>

#include "Pause.h"

/// Waits until what runs behind `future` is through. Where it is not, in far more time than it takes, the test has
/// failed and the program ends there: what still runs uses what the test has made, so the test can neither go on nor
/// return, and a future that goes would wait for ever.
template <typename Result> void mustEnd(const std::future<Result>& future, const char* what) {
    if (future.wait_for(std::chrono::seconds(20)) == std::future_status::ready) return;
    ADD_FAILURE() << what << " does not end";
    std::cout << std::flush;
    std::_Exit(EXIT_FAILURE);
}

/// The same for what is true at some time. Asks for it again and again.
template <typename Condition> void mustBecomeTrue(Condition condition, const char* what) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            ADD_FAILURE() << "never: " << what;
            std::cout << std::flush;
            std::_Exit(EXIT_FAILURE);
        }
        pauseBetweenLooks();
    }
}
