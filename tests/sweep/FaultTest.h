/// @file
/// For tests that make one certain call fail and look at what it leads to.
#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "CallLog.h"
#include "PlayedKernel.h"
#include "support/LogCapture.h"

namespace sweep {

/// The call number `number` of this name, from now on, fails with that errno value.
inline void failNext(const std::string& call, int error, std::size_t number = 1) {
    CallLog::instance().begin(Fault{call, number, {Failure::Kind::Error, error}});
}

/// ... or in another way.
inline void failNext(const std::string& call, const Failure& failure, std::size_t number = 1) {
    CallLog::instance().begin(Fault{call, number, failure});
}

/// Calls the function with its system calls under test.
template <typename Function> auto underTest(Function function) {
    const UnderTest now;
    return function();
}

/// A played kernel for one test, and the log of the code under test.
template <typename Kernel> class FaultTest : public testing::Test {
protected:
    explicit FaultTest(const std::string& logger) : log(logger) {
        playKernel(&kernel);
        CallLog::instance().begin();
    }
    ~FaultTest() override { playKernel(nullptr); }

    std::vector<std::string> errors() const { return log.texts(log4cplus::ERROR_LOG_LEVEL); }
    static std::size_t calls(const std::string& name) { return CallLog::instance().count(name); }

    Kernel kernel;
    LogCapture log;
};

} // namespace sweep
